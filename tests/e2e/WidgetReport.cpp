#include "e2e/WidgetReport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QSocketNotifier>
#include <cstdio>
#include <unistd.h>

namespace harrowmint::test {

namespace {

constexpr std::size_t readBytes = 256;

QString textOf(const QWidget& widget)
{
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
        return button->text().remove(QLatin1Char('&'));
    if (const auto* label = qobject_cast<const QLabel*>(&widget))
        return label->text();
    if (const auto* choice = qobject_cast<const QComboBox*>(&widget))
        return choice->currentText();
    return {};
}

QJsonArray itemsOf(const QWidget& widget)
{
    QJsonArray items;
    if (const auto* choice = qobject_cast<const QComboBox*>(&widget)) {
        for (int i = 0; i < choice->count(); ++i)
            items.append(choice->itemText(i));
    }
    return items;
}

QJsonObject describe(const QWidget& widget)
{
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    const QString text = textOf(widget);
    const QPoint corner = widget.mapToGlobal(QPoint(0, 0));
    return {
        {QStringLiteral("name"), widget.objectName().isEmpty() ? text : widget.objectName()},
        {QStringLiteral("text"), text},
        {QStringLiteral("items"), itemsOf(widget)},
        {QStringLiteral("enabled"), widget.isEnabled()},
        {QStringLiteral("checked"), button && button->isChecked()},
        {QStringLiteral("active"), widget.isActiveWindow()},
        {QStringLiteral("x"), corner.x()},
        {QStringLiteral("y"), corner.y()},
        {QStringLiteral("width"), widget.width()},
        {QStringLiteral("height"), widget.height()},
    };
}

QJsonArray visibleWidgets()
{
    QJsonArray widgets;
    for (const QWidget* widget : QApplication::allWidgets()) {
        if (widget->isVisible())
            widgets.append(describe(*widget));
    }
    return widgets;
}

void closeSettings()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == QLatin1String("window"))
            window->close();
    }
}

/// One command is read at a time: the test waits for its answer.
void answerCommand(QSocketNotifier& input)
{
    char buffer[readBytes];
    const auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
        input.setEnabled(false);
        return;
    }
    QJsonArray answer;
    if (QByteArray(buffer, count).trimmed() == "close")
        closeSettings();
    else
        answer = visibleWidgets();
    std::puts(QJsonDocument(answer).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

} // namespace

void reportWidgets()
{
    auto* const input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, qApp);
    QObject::connect(input, &QSocketNotifier::activated, input, [input] { answerCommand(*input); });
}

} // namespace harrowmint::test
