#include "app/window/WindowParts.h"

#include <QEvent>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QToolTip>
#include <QVBoxLayout>
#include <QWheelEvent>

namespace harrowmint {

namespace {

constexpr QChar leftToRightMark(0x200E);
constexpr QChar zeroWidthSpace(0x200B);
constexpr qsizetype longWord = 40;
constexpr int dotMargin = 6;

/// Between the colours of text and ground; `share` of the text's.
QColor blended(const QColor& text, const QColor& ground, double share)
{
    const auto mix = [share](int a, int b) { return static_cast<int>(a * share + b * (1 - share)); };
    return {mix(text.red(), ground.red()), mix(text.green(), ground.green()), mix(text.blue(), ground.blue())};
}

bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

void setTextColour(QLabel* label, const QColor& colour)
{
    // Setting a palette announces its change again.
    if (label->palette().color(QPalette::WindowText) == colour)
        return;
    QPalette palette;
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
}

} // namespace

QString displayText(const QString& text)
{
    if (!QGuiApplication::isRightToLeft())
        return text;
    QStringList lines = text.split(u'\n');
    for (QString& line : lines) {
        if (!line.isEmpty() && !line.isRightToLeft())
            line = leftToRightMark + line + leftToRightMark;
    }
    return lines.join(u'\n');
}

void alignWithLayout(QLabel* label)
{
    const Qt::Alignment vertical = label->alignment() & Qt::AlignVertical_Mask;
    const Qt::Alignment side = QGuiApplication::isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft;
    label->setAlignment(vertical | side | Qt::AlignAbsolute);
}

QString breakableText(const QString& text)
{
    QString result;
    qsizetype wordLength = 0;
    for (const QChar c : text) {
        result.append(c);
        wordLength = c.isSpace() ? 0 : wordLength + 1;
        if (wordLength == longWord) {
            result.append(zeroWidthSpace);
            wordLength = 0;
        }
    }
    return result;
}

QString toolTipText(const QString& text)
{
    if (text.isEmpty())
        return text; // no tool tip
    // Said to be rich text, so that nobody guesses it from what the text looks like.
    return QStringLiteral("<qt>") + text.toHtmlEscaped().replace(u'\n', QStringLiteral("<br>"))
        + QStringLiteral("</qt>");
}

NoteLabel::NoteLabel(const QString& text, QWidget* parent)
    : QLabel(displayText(text), parent)
{
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    alignWithLayout(this);
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    applyColour();
}

void NoteLabel::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        applyColour();
    QLabel::changeEvent(event);
}

void NoteLabel::applyColour()
{
    constexpr double textShare = 0.72; // keeps a contrast of more than 4.5 : 1 on every usual pair
    const QPalette palette = QGuiApplication::palette();
    setTextColour(this, blended(palette.color(QPalette::WindowText), palette.color(QPalette::Window), textShare));
}

ElidedLabel::ElidedLabel(QWidget* parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    alignWithLayout(this);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize ElidedLabel::minimumSizeHint() const
{
    constexpr int fewCharacters = 12;
    return {fontMetrics().averageCharWidth() * fewCharacters, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*)
{
    QStylePainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
    painter.drawItemText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine, palette(), isEnabled(),
        displayText(shown), foregroundRole());
}

StatusLine::StatusLine(QWidget* parent)
    : QWidget(parent)
    , m_label(new QLabel(this))
{
    m_label->setWordWrap(true);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setObjectName(QStringLiteral("status"));
    alignWithLayout(m_label);
    auto* const column = new QVBoxLayout(this);
    column->addWidget(m_label);
    makeRoom();
    applyColour();
}

/// For the mark, on the side where lines begin.
void StatusLine::makeRoom()
{
    const int room = fontMetrics().height() + dotMargin;
    layout()->setContentsMargins(isRightToLeft() ? 0 : room, 0, isRightToLeft() ? room : 0, 0);
}

void StatusLine::show(const QString& text, bool isWell)
{
    m_isWell = isWell;
    m_label->setText(displayText(text));
    applyColour();
    update();
}

QColor StatusLine::colour() const
{
    const bool dark = isDark(QGuiApplication::palette());
    if (m_isWell)
        return dark ? QColor(0x6f, 0xd9, 0x8a) : QColor(0x17, 0x6b, 0x33);
    return dark ? QColor(0xff, 0x8a, 0x80) : QColor(0xb0, 0x1c, 0x1c);
}

void StatusLine::applyColour()
{
    setTextColour(m_label, colour());
}

void StatusLine::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        applyColour();
    if (event->type() == QEvent::LayoutDirectionChange || event->type() == QEvent::FontChange)
        makeRoom();
    QWidget::changeEvent(event);
}

void StatusLine::paintEvent(QPaintEvent*)
{
    if (m_label->text().isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double side = fontMetrics().height() * 0.85;
    const double top = (fontMetrics().height() - side) / 2;
    painter.translate(isRightToLeft() ? width() - side - top : top, top);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour());
    painter.drawEllipse(QRectF(0, 0, side, side));
    QPainterPath mark;
    if (m_isWell) {
        mark.moveTo(side * 0.27, side * 0.53);
        mark.lineTo(side * 0.44, side * 0.69);
        mark.lineTo(side * 0.74, side * 0.34);
    } else {
        mark.moveTo(side * 0.33, side * 0.33);
        mark.lineTo(side * 0.67, side * 0.67);
        mark.moveTo(side * 0.67, side * 0.33);
        mark.lineTo(side * 0.33, side * 0.67);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(palette().color(QPalette::Window), side * 0.13, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(mark);
}

Popup::Popup(QWidget* parent)
    : QComboBox(parent)
{
    setFocusPolicy(Qt::StrongFocus);
}

void Popup::paintEvent(QPaintEvent*)
{
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    const QRect field = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    constexpr int textMargin = 4; // of the styles, on both sides together
    option.currentText =
        displayText(option.fontMetrics.elidedText(option.currentText, Qt::ElideRight, field.width() - textMargin));
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void Popup::wheelEvent(QWheelEvent* event)
{
    event->ignore();
}

bool Popup::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty()) {
        if (fontMetrics().horizontalAdvance(currentText()) > width() - 2 * fontMetrics().height())
            QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), toolTipText(currentText()), this);
        return true;
    }
    return QComboBox::event(event);
}

} // namespace harrowmint
