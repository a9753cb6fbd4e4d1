#include "render/GlyphCache.h"

#include <QGlyphRun>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <limits>

namespace harrowmint {

namespace {

constexpr int phases = 4;
/// Hinting and smoothing may reach beyond the outline's bounds.
constexpr int outlineMargin = 3;
/// No glyph reaches further from its origin, in font sizes.
constexpr int farthestReach = 16;
/// What a glyph takes beside its samples: the containers' own memory.
constexpr std::size_t bookkeepingBytes = sizeof(Glyph) + 96;

/// The dots around its origin that the glyph may touch in any phase.
QRect cellOf(const QRawFont& font, quint32 glyph)
{
    const int reach = int(font.pixelSize()) * farthestReach;
    const QRect bounds = font.boundingRect(glyph).toAlignedRect();
    return bounds.adjusted(-outlineMargin, -outlineMargin, outlineMargin + 1, outlineMargin)
        & QRect(-reach, -reach, 2 * reach, 2 * reach);
}

/// The glyph in its phases, side by side in a cell each.
QImage drawPhases(const QRawFont& font, quint32 glyph, const QRect& cell)
{
    QImage strip(cell.width() * phases, cell.height(), QImage::Format_RGB32);
    strip.fill(Qt::white);
    QList<QPointF> origins;
    for (int phase = 0; phase < phases; ++phase)
        origins.append(QPointF(cell.width() * phase - cell.left() + double(phase) / phases, -cell.top()));
    QGlyphRun run;
    run.setRawFont(font);
    run.setGlyphIndexes(QList<quint32>(phases, glyph));
    run.setPositions(origins);
    QPainter painter(&strip);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.drawGlyphRun(QPointF(), run);
    return strip;
}

/// A pixel's grey level: the level prints black exactly when the pixel does.
int levelOf(QRgb pixel)
{
    return (qRed(pixel) + qGreen(pixel) + qBlue(pixel)) / 3;
}

/// How much of `area` is neither black nor white: the less, the sharper.
qint64 greyness(const QImage& strip, const QRect& area)
{
    qint64 sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const auto* pixels = reinterpret_cast<const QRgb*>(strip.constScanLine(y));
        for (int x = area.left(); x <= area.right(); ++x) {
            const int level = levelOf(pixels[x]);
            sum += qint64(level) * (255 - level);
        }
    }
    return sum;
}

/// The smallest part of `area` that holds all its ink; empty for a blank one.
QRect inkOf(const QImage& strip, const QRect& area)
{
    QRect ink;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const auto* pixels = reinterpret_cast<const QRgb*>(strip.constScanLine(y));
        const auto isInk = [](QRgb pixel) { return levelOf(pixel) < 255; };
        const auto* end = pixels + area.right() + 1;
        const auto* first = std::find_if(pixels + area.left(), end, isInk);
        if (first == end)
            continue;
        while (!isInk(end[-1]))
            --end;
        ink |= QRect(int(first - pixels), y, int(end - first), 1);
    }
    return ink;
}

Mask maskOf(const QImage& strip, const QRect& ink, QPoint origin)
{
    std::vector<std::uint8_t> levels;
    levels.reserve(std::size_t(ink.width()) * std::size_t(ink.height()));
    for (int y = ink.top(); y <= ink.bottom(); ++y) {
        const auto* pixels = reinterpret_cast<const QRgb*>(strip.constScanLine(y));
        std::transform(pixels + ink.left(), pixels + ink.right() + 1, std::back_inserter(levels),
            [](QRgb pixel) { return std::uint8_t(levelOf(pixel)); });
    }
    return Mask::fromLevels(
        ink.left() - origin.x(), ink.top() - origin.y(), ink.width(), ink.height(), std::move(levels));
}

Glyph drawGlyph(const QRawFont& font, quint32 glyph)
{
    const QRect cell = cellOf(font, glyph);
    const QImage strip = drawPhases(font, glyph, cell);
    if (strip.isNull())
        return {};
    qint64 leastGrey = std::numeric_limits<qint64>::max();
    int best = 0;
    for (int phase = 0; phase < phases; ++phase) {
        const qint64 grey = greyness(strip, QRect(cell.width() * phase, 0, cell.width(), cell.height()));
        if (grey < leastGrey) {
            leastGrey = grey;
            best = phase;
        }
    }
    const QRect area(cell.width() * best, 0, cell.width(), cell.height());
    return {maskOf(strip, inkOf(strip, area), area.topLeft() - cell.topLeft()), double(best) / phases};
}

} // namespace

std::shared_ptr<const GlyphCache::Store> GlyphCache::store()
{
    if (m_bytes > maximumBytes) {
        m_store = std::make_shared<Store>();
        m_bytes = 0;
        m_fonts.clear();
    }
    return m_store;
}

const Glyph& GlyphCache::draw(Index& index, const QRawFont& font, quint32 glyph)
{
    const Glyph& drawn = m_store->emplace_back(drawGlyph(font, glyph));
    m_bytes += bookkeepingBytes + drawn.mask.levels.size() + drawn.mask.bits.size();
    index.emplace(glyph, &drawn);
    return drawn;
}

} // namespace harrowmint
