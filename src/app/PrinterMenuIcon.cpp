#include "app/PrinterMenuIcon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <algorithm>
#include <cmath>

namespace harrowmint::PrinterMenuIcon {

namespace {

const auto themeName = QStringLiteral("harrowmint-printer");

constexpr int maximumSide = 1024;
/// Below these sides a detail would only blur.
constexpr int sideWithTornEdge = 32;
constexpr int sideWithLamp = 22;
constexpr int sideWithThreeLines = 24;
constexpr int sideWithRim = 48;

/// Measures in hundredths of the side.
constexpr qreal hundred = 100;
constexpr QRectF tileArea{3, 3, 94, 94};
constexpr qreal tileRadius = 21;
constexpr qreal rimWidth = 1.2;
constexpr QRectF paperArea{30, 13, 40, 45};
constexpr QRectF bodyArea{17, 50, 66, 34};
constexpr qreal bodyRadius = 7;
constexpr QRectF slotArea{24, 55, 52, 6};
constexpr QRectF lampArea{68, 69, 7, 7};
constexpr qreal lineHeight = 5;
constexpr int teeth = 5;
constexpr qreal toothHeight = 4;

struct Line {
    qreal left;
    qreal top;
    qreal width;
};
constexpr Line threeLines[] = {{36, 23, 28}, {36, 32, 18}, {36, 41, 23}};
constexpr Line twoLines[] = {{38, 25, 24}, {38, 38, 18}};

struct Colours {
    QColor tileTop;
    QColor tileBottom;
    QColor rim;
    QColor print;
    QColor body;
    QColor slot;
    QColor lamp;
};

Colours coloursOn(Background background)
{
    if (background == Background::Dark)
        return {0x52D9B0, 0x23A680, QColor(255, 255, 255, 90), 0x1B7F63, 0x12362E, 0x04140F, 0x7CF2C3};
    return {0x2DBB90, 0x0A6B53, QColor(0, 45, 34, 110), 0x0F6E56, 0x0D2F28, 0x03110D, 0x7CF2C3};
}

/// Draws in hundredths of a side; the edges of everything are on whole pixels.
class Drawing {
public:
    Drawing(QPainter& painter, int side, const Colours& colours)
        : m_painter(painter)
        , m_side(side)
        , m_colours(colours)
    {
        m_painter.setRenderHint(QPainter::Antialiasing);
        m_painter.setPen(Qt::NoPen);
    }

    void drawAll()
    {
        drawTile();
        fill(centred(bodyArea), bodyRadius, m_colours.body);
        fill(centred(slotArea), slotArea.height() / 2, m_colours.slot);
        drawPaper();
        drawLines();
        if (m_side >= sideWithLamp)
            fill(snapped(lampArea), lampArea.height() / 2, m_colours.lamp);
    }

private:
    [[nodiscard]] qreal scaled(qreal measure) const { return measure * m_side / hundred; }
    [[nodiscard]] qreal snapped(qreal measure) const { return std::round(scaled(measure)); }

    /// For what is in the middle: as far from the left as from the right.
    [[nodiscard]] QRectF centred(const QRectF& area) const
    {
        const qreal left = snapped(area.left());
        const qreal top = snapped(area.top());
        return {left, top, m_side - 2 * left, snapped(area.bottom()) - top};
    }

    /// For small things: at least one pixel wide and high, and like ones alike.
    [[nodiscard]] QRectF snapped(const QRectF& area) const
    {
        return {snapped(area.left()), snapped(area.top()), std::max<qreal>(snapped(area.width()), 1),
            std::max<qreal>(snapped(area.height()), 1)};
    }

    void fill(const QRectF& pixels, qreal radius, const QBrush& brush)
    {
        const qreal corner = std::min({scaled(radius), pixels.width() / 2, pixels.height() / 2});
        m_painter.setBrush(brush);
        m_painter.drawRoundedRect(pixels, corner, corner);
    }

    void drawTile()
    {
        const QRectF pixels = centred(tileArea);
        QLinearGradient shade(pixels.topLeft(), pixels.bottomLeft());
        shade.setColorAt(0, m_colours.tileTop);
        shade.setColorAt(1, m_colours.tileBottom);
        m_painter.setBrush(shade);
        m_painter.drawRoundedRect(pixels, scaled(tileRadius), scaled(tileRadius));
        if (m_side < sideWithRim)
            return;
        const qreal rim = scaled(rimWidth);
        m_painter.setPen(QPen(m_colours.rim, rim));
        m_painter.setBrush(Qt::NoBrush);
        const qreal corner = scaled(tileRadius) - rim / 2;
        m_painter.drawRoundedRect(pixels.adjusted(rim / 2, rim / 2, -rim / 2, -rim / 2), corner, corner);
        m_painter.setPen(Qt::NoPen);
    }

    /// Comes out of the slot, and is torn off at its top where there is room for that.
    void drawPaper()
    {
        const QRectF pixels = centred(paperArea);
        QPainterPath sheet(pixels.bottomLeft());
        if (m_side >= sideWithTornEdge) {
            const qreal low = pixels.top() + scaled(toothHeight);
            const qreal half = pixels.width() / (2 * teeth);
            sheet.lineTo(pixels.left(), low);
            for (int i = 1; i <= 2 * teeth; ++i)
                sheet.lineTo(pixels.left() + half * i, i % 2 == 1 ? pixels.top() : low);
        } else {
            sheet.lineTo(pixels.topLeft());
            sheet.lineTo(pixels.topRight());
        }
        sheet.lineTo(pixels.bottomRight());
        m_painter.setBrush(Qt::white);
        m_painter.drawPath(sheet);
    }

    void drawLines()
    {
        const auto drawEach = [this](const auto& lines) {
            for (const Line& line : lines)
                fill(snapped(QRectF(line.left, line.top, line.width, lineHeight)), 0, m_colours.print);
        };
        if (m_side >= sideWithThreeLines)
            drawEach(threeLines);
        else
            drawEach(twoLines);
    }

    QPainter& m_painter;
    int m_side;
    const Colours& m_colours;
};

/// Draws the picture for all sides when it is first asked for one: a start with a hidden window never does.
class DrawnIcon final : public QIconEngine {
public:
    explicit DrawnIcon(Background background)
        : m_background(background)
    {
    }

    void paint(QPainter* painter, const QRect& area, QIcon::Mode mode, QIcon::State state) override
    {
        drawn().paint(painter, area, Qt::AlignCenter, mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return drawn().pixmap(size, 1, mode, state);
    }
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return drawn().actualSize(size, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        QList<QSize> sizes;
        for (const int side : sides)
            sizes.append(QSize(side, side));
        return sizes;
    }
    bool isNull() override { return false; }
    [[nodiscard]] QIconEngine* clone() const override { return new DrawnIcon(*this); }

private:
    const QIcon& drawn()
    {
        if (m_drawn.isNull()) {
            for (const int side : sides)
                m_drawn.addPixmap(QPixmap::fromImage(draw(side, m_background)));
        }
        return m_drawn;
    }

    Background m_background;
    QIcon m_drawn;
};

QIcon drawnIcon(Background background)
{
    return QIcon(new DrawnIcon(background));
}

Background paletteBackground()
{
    const QPalette palette = QGuiApplication::palette();
    const bool dark = palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
    return dark ? Background::Dark : Background::Light;
}

} // namespace

QImage draw(int side, Background background)
{
    Q_ASSERT(side >= 1 && side <= maximumSide);
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const Colours colours = coloursOn(background);
    Drawing(painter, side, colours).drawAll();
    return image;
}

QIcon make(bool forceFallback)
{
    // What a tray's colour is cannot be known; the darker picture is readable on both.
    const QIcon drawn = drawnIcon(Background::Light);
    return forceFallback ? drawn : QIcon::fromTheme(themeName, drawn);
}

QIcon applicationImage()
{
    return drawnIcon(paletteBackground());
}

} // namespace harrowmint::PrinterMenuIcon
