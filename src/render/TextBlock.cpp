#include "render/TextBlock.h"

#include "base/Text.h"
#include "render/Fonts.h"

#include <QGlyphRun>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>
#include <cmath>
#include <limits>

namespace harrowmint {

namespace {

Qt::Alignment sideOf(TextAlignment alignment, bool rightToLeft)
{
    switch (alignment) {
    case TextAlignment::Left:
        return Qt::AlignLeft;
    case TextAlignment::Right:
        return Qt::AlignRight;
    case TextAlignment::Center:
        return Qt::AlignHCenter;
    case TextAlignment::Natural:
        break;
    }
    return rightToLeft ? Qt::AlignRight : Qt::AlignLeft;
}

QTextOption optionFor(const QString& paragraph, TextAlignment alignment)
{
    const bool rightToLeft = paragraph.isRightToLeft();
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    option.setAlignment(sideOf(alignment, rightToLeft));
    return option;
}

bool endsParagraph(QChar character)
{
    return isNewline(character.unicode()) && character != QChar::LineSeparator;
}

/// Calls `use` with each paragraph of `text`, without its separator; once for text without any.
template <class Use>
void forEachParagraph(const QString& text, Use&& use)
{
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!endsParagraph(text[i]))
            continue;
        use(text.mid(start, i - start));
        if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            ++i;
        start = i + 1;
    }
    use(start == 0 ? text : text.mid(start));
}

int nearestDot(double position)
{
    return int(std::floor(position + 0.5));
}

GlyphPhase nearestPhase(double position)
{
    return GlyphPhase(quint32(nearestDot(position * 4)) % 4);
}

} // namespace

TextBlock::TextBlock(const QString& text, const TextStyle& style, int width)
    : m_width(width)
{
    Fonts& fonts = Fonts::ofThisThread();
    m_store = fonts.glyphs().store();
    m_glyphs.reserve(std::size_t(text.size()));
    QTextLayout layout;
    const QRawFont& font = fonts.font(style.size, style.bold);
    m_emptyLineHeight = int(std::ceil(font.ascent() + font.descent() + std::max(font.leading(), 0.0)));
    layout.setRawFont(font);
    layout.setCacheEnabled(true);
    forEachParagraph(text, [&](const QString& paragraph) { addParagraph(layout, paragraph, style.alignment); });
}

void TextBlock::addParagraph(QTextLayout& layout, const QString& text, TextAlignment alignment)
{
    layout.setTextOption(optionFor(text, alignment));
    layout.setText(text);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(m_width);
        line.setPosition(QPointF(0, m_height));
        // The layout measures a line without text in a font of its own.
        m_height += line.textLength() == 0 ? m_emptyLineHeight : int(std::ceil(line.height()));
    }
    layout.endLayout();
    GlyphCache& cache = Fonts::ofThisThread().glyphs();
    for (int i = 0; i < layout.lineCount(); ++i)
        addLine(layout.lineAt(i), cache);
}

void TextBlock::addLine(const QTextLine& line, GlyphCache& cache)
{
    const std::size_t firstGlyph = m_glyphs.size();
    const QList<QGlyphRun> runs = line.glyphRuns();
    for (const QGlyphRun& run : runs) {
        const QRawFont font = run.rawFont();
        const QList<quint32> indexes = run.glyphIndexes();
        const QList<QPointF> positions = run.positions();
        GlyphCache::Index& index = cache.indexOf(font);
        const bool joined = run.isRightToLeft();
        for (qsizetype i = 0; i < indexes.size(); ++i) {
            const GlyphPhase phase = joined ? nearestPhase(positions[i].x()) : GlyphPhase::Sharpest;
            const Glyph& glyph = cache.glyph(index, font, indexes[i], phase);
            if (glyph.mask.width > 0)
                m_glyphs.push_back(
                    {&glyph.mask, nearestDot(positions[i].x() - glyph.phase), nearestDot(positions[i].y())});
        }
    }
    keepInColumn(firstGlyph);
}

/// Moves a line's glyphs so that what overhangs its ends (the tail of a j, say) is not cut off at the column's sides.
void TextBlock::keepInColumn(std::size_t firstGlyph)
{
    if (firstGlyph == m_glyphs.size())
        return;
    int left = std::numeric_limits<int>::max();
    int right = std::numeric_limits<int>::min();
    for (std::size_t i = firstGlyph; i < m_glyphs.size(); ++i) {
        const Place& place = m_glyphs[i];
        left = std::min(left, place.x + place.mask->left);
        right = std::max(right, place.x + place.mask->left + place.mask->width);
    }
    const int shift = left < 0 ? -left : std::max(std::min(0, m_width - right), -left);
    for (std::size_t i = firstGlyph; shift != 0 && i < m_glyphs.size(); ++i)
        m_glyphs[i].x += shift;
}

} // namespace harrowmint
