#include "render/GlyphDrawing.h"

#include <QGlyphRun>
#include <QPainter>
#include <algorithm>

namespace harrowmint {

namespace {

/// Smoothing and fitting to the dots may reach beyond the outline's bounds.
constexpr int outlineMargin = 3;
/// No glyph is drawn further from its origin, in font sizes.
constexpr int farthestReach = 16;

QRect cellOf(const QRawFont& font, quint32 glyph)
{
    const int reach = int(font.pixelSize()) * farthestReach;
    const QRect bounds = font.boundingRect(glyph).toAlignedRect();
    if (bounds.isEmpty())
        return {};
    return bounds.adjusted(-outlineMargin, -outlineMargin, outlineMargin + 1, outlineMargin)
        & QRect(-reach, -reach, 2 * reach, 2 * reach);
}

QGlyphRun runOfPhases(const QRawFont& font, quint32 glyph, const GlyphDrawing& drawing)
{
    QList<QPointF> origins;
    for (int phase = 0; phase < GlyphDrawing::phases; ++phase) {
        const QPoint wholeDots = drawing.area(phase).topLeft() - drawing.cell.topLeft();
        origins.append(wholeDots + QPointF(double(phase) / GlyphDrawing::phases, 0));
    }
    QGlyphRun run;
    run.setRawFont(font);
    run.setGlyphIndexes(QList<quint32>(GlyphDrawing::phases, glyph));
    run.setPositions(origins);
    return run;
}

/// The mean of a pixel's samples: as a grey level it prints black exactly when the pixel does.
uchar levelOf(QRgb pixel)
{
    return uchar((qRed(pixel) + qGreen(pixel) + qBlue(pixel)) / 3);
}

} // namespace

GlyphDrawing drawGlyph(const QRawFont& font, quint32 glyph)
{
    GlyphDrawing drawing{cellOf(font, glyph), {}};
    QImage strip(drawing.cell.width() * GlyphDrawing::phases, drawing.cell.height(), QImage::Format_RGB32);
    if (strip.isNull())
        return drawing;
    strip.fill(Qt::white);
    QPainter painter(&strip);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.drawGlyphRun(QPointF(), runOfPhases(font, glyph, drawing));
    painter.end();
    drawing.levels = QImage(strip.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < strip.height(); ++y) {
        const auto* pixels = reinterpret_cast<const QRgb*>(strip.constScanLine(y));
        std::transform(pixels, pixels + strip.width(), drawing.levels.scanLine(y), levelOf);
    }
    return drawing;
}

} // namespace harrowmint
