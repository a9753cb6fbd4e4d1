#include "app/window/AlertSheet.h"

#include "app/window/WindowParts.h"

#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QStyle>
#include <utility>

namespace harrowmint {

namespace {

constexpr int textWidthInCharacters = 62;
constexpr int buttonWidthInCharacters = 18;

/// A label of the sheet's text column.
QLabel* textLabel(const QString& text, QWidget* parent)
{
    auto* const label = new QLabel(displayText(breakableText(text)), parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    alignWithLayout(label);
    label->setMinimumWidth(label->fontMetrics().averageCharWidth() * textWidthInCharacters);
    return label;
}

bool isNavigation(int key)
{
    switch (key) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_Meta:
        return true;
    default:
        return false;
    }
}

} // namespace

/// Closes its sheet unanswered, if that is still there.
class AlertSheet::Handle final : public OpenSheet {
public:
    explicit Handle(AlertSheet* sheet)
        : m_sheet(sheet)
    {
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() override
    {
        if (m_sheet)
            m_sheet->close();
    }

private:
    QPointer<AlertSheet> m_sheet;
};

std::unique_ptr<OpenSheet> AlertSheet::open(
    QWidget* parent, SerialQueue& queue, const SheetText& text, Completion completion)
{
    auto* const sheet = new AlertSheet(parent, queue, text, std::move(completion));
    static_cast<QDialog*>(sheet)->open();
    sheet->settle();
    return std::make_unique<Handle>(sheet);
}

AlertSheet::AlertSheet(QWidget* parent, SerialQueue& queue, const SheetText& text, Completion completion)
    : QDialog(parent)
    , m_queue(queue)
    , m_completion(std::move(completion))
    , m_safe(text.safe)
    , m_isDeliberate(text.isDeliberate)
{
    setWindowModality(Qt::WindowModal);
    setWindowTitle(QStringLiteral("Harrowmint Printer"));
    setAccessibleName(text.message);
    setAccessibleDescription(text.informative);
    addTexts(text);
    addButtons(text);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    installEventFilter(this);
}

void AlertSheet::addTexts(const SheetText& text)
{
    auto* const grid = new QGridLayout(this);
    const int iconSide = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const bool isQuestion = text.buttons.size() > 1;
    QIcon picture = isQuestion ? QApplication::windowIcon() : style()->standardIcon(QStyle::SP_MessageBoxWarning);
    if (picture.isNull())
        picture = style()->standardIcon(QStyle::SP_MessageBoxQuestion);
    auto* const icon = new QLabel(this);
    icon->setPixmap(picture.pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    grid->addWidget(icon, 0, 0, 2, 1, Qt::AlignTop);
    auto* const message = textLabel(text.message, this);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);
    message->setObjectName(QStringLiteral("message"));
    grid->addWidget(message, 0, 1);
    if (!text.informative.isEmpty()) {
        auto* const informative = textLabel(text.informative, this);
        informative->setObjectName(QStringLiteral("informative"));
        grid->addWidget(informative, 1, 1);
    }
    grid->setHorizontalSpacing(iconSide / 2);
    grid->setColumnStretch(1, 1);
}

void AlertSheet::addButtons(const SheetText& text)
{
    auto* const row = new QHBoxLayout;
    row->setSpacing(style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing, nullptr, this));
    row->addStretch();
    auto response = SheetResponse::first;
    for (const QString& title : text.buttons) {
        auto* const button = new QPushButton(title, this);
        button->setAutoDefault(false);
        button->setMinimumWidth(fontMetrics().averageCharWidth() * buttonWidthInCharacters);
        connect(button, &QPushButton::clicked, this, [this, response] { answer(response); });
        (response == m_safe ? m_safeButton : m_deliberateButton) = button;
        row->addWidget(button);
        button->installEventFilter(this);
        response = SheetResponse::second;
    }
    m_safeButton->setDefault(true);
    m_safeButton->setFocus();
    auto* const grid = static_cast<QGridLayout*>(layout());
    grid->setRowMinimumHeight(2, fontMetrics().height() / 2);
    grid->addLayout(row, 3, 0, 1, 2);
}

void AlertSheet::answer(SheetResponse response)
{
    const Completion completion = std::exchange(m_completion, {});
    close();
    if (completion)
        completion(response);
}

void AlertSheet::close()
{
    m_completion = {};
    m_settling.cancel();
    hide();
    deleteLater();
}

void AlertSheet::reject()
{
    answer(m_safe);
}

void AlertSheet::settle()
{
    quietKeys();
    if (!m_isDeliberate)
        return;
    m_deliberateButton->setEnabled(false);
    m_settling = m_queue.after(settleTime, [this] { m_deliberateButton->setEnabled(true); });
}

void AlertSheet::quietKeys()
{
    m_keysCountFrom = m_queue.now() + settleTime;
    m_safeButton->setFocus();
}

bool AlertSheet::event(QEvent* event)
{
    if (event->type() == QEvent::WindowActivate)
        quietKeys();
    return QDialog::event(event);
}

bool AlertSheet::eventFilter(QObject* watched, QEvent* event)
{
    const bool isPress = event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
    if (m_isDeliberate && isPress && !isMeantForThis(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

bool AlertSheet::isMeantForThis(const QKeyEvent& event)
{
    const bool isAnswer = event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter || event.key() == Qt::Key_Space
        || event.key() == Qt::Key_Escape;
    if (m_queue.now() < m_keysCountFrom || event.isAutoRepeat() || (!isAnswer && !isNavigation(event.key()))) {
        quietKeys();
        return false;
    }
    // Enter ends the filling of a form in another window; it never allows anything.
    return !isAnswer || event.key() == Qt::Key_Space || event.key() == Qt::Key_Escape
        || !m_deliberateButton->hasFocus();
}

} // namespace harrowmint
