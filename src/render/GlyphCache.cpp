#include "render/GlyphCache.h"

#include "render/GlyphDrawing.h"

#include <algorithm>
#include <limits>

namespace harrowmint {

namespace {

/// What a glyph takes beside its samples: the containers' own memory.
constexpr std::size_t bookkeepingBytes = sizeof(Glyph) + 96;

/// How much of `area` is neither black nor white: the less, the sharper.
qint64 greyness(const QImage& levels, const QRect& area)
{
    qint64 sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar* row = levels.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x)
            sum += qint64(row[x]) * (255 - row[x]);
    }
    return sum;
}

int sharpestPhase(const GlyphDrawing& drawing)
{
    qint64 leastGrey = std::numeric_limits<qint64>::max();
    int best = 0;
    for (int phase = 0; phase < GlyphDrawing::phases; ++phase) {
        const qint64 grey = greyness(drawing.levels, drawing.area(phase));
        if (grey < leastGrey) {
            leastGrey = grey;
            best = phase;
        }
    }
    return best;
}

/// The smallest part of `area` that holds all its ink; empty for a blank one.
QRect inkOf(const QImage& levels, const QRect& area)
{
    QRect ink;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar* row = levels.constScanLine(y);
        const auto isInk = [](uchar level) { return level < 255; };
        const uchar* end = row + area.right() + 1;
        const uchar* first = std::find_if(row + area.left(), end, isInk);
        if (first == end)
            continue;
        while (!isInk(end[-1]))
            --end;
        ink |= QRect(int(first - row), y, int(end - first), 1);
    }
    return ink;
}

Mask maskOf(const QImage& image, const QRect& ink, QPoint origin)
{
    std::vector<std::uint8_t> levels;
    levels.reserve(std::size_t(ink.width()) * std::size_t(ink.height()));
    for (int y = ink.top(); y <= ink.bottom(); ++y) {
        const uchar* row = image.constScanLine(y);
        levels.insert(levels.end(), row + ink.left(), row + ink.right() + 1);
    }
    return Mask::fromLevels(
        ink.left() - origin.x(), ink.top() - origin.y(), ink.width(), ink.height(), std::move(levels));
}

Glyph glyphIn(GlyphPhase wanted, const GlyphDrawing& drawing)
{
    if (drawing.levels.isNull())
        return {};
    const int phase = wanted == GlyphPhase::Sharpest ? sharpestPhase(drawing) : int(wanted);
    const QRect area = drawing.area(phase);
    const QPoint origin = area.topLeft() - drawing.cell.topLeft();
    return {maskOf(drawing.levels, inkOf(drawing.levels, area), origin), double(phase) / GlyphDrawing::phases};
}

} // namespace

std::shared_ptr<const GlyphCache::Store> GlyphCache::store()
{
    if (m_bytes > m_largeBytes) {
        m_store = std::make_shared<Store>();
        m_bytes = 0;
        m_fonts.clear();
    }
    return m_store;
}

const Glyph& GlyphCache::draw(Index& index, const QRawFont& font, quint32 glyph, GlyphPhase phase)
{
    const Glyph& drawn = m_store->emplace_back(glyphIn(phase, drawGlyph(font, glyph)));
    m_bytes += bookkeepingBytes + drawn.mask.levels.size() + drawn.mask.bits.size();
    index.emplace(keyOf(glyph, phase), &drawn);
    return drawn;
}

} // namespace harrowmint
