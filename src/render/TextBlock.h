#pragma once

#include "render/GlyphCache.h"

#include <QPoint>
#include <QRect>
#include <QString>
#include <memory>
#include <vector>

class QTextLayout;
class QTextLine;

namespace harrowmint {

enum class TextAlignment {
    Natural, ///< each paragraph by its own direction: left, or right where its first strong letter is right-to-left
    Left,
    Right,
    Center
};

struct TextStyle {
    double size = 23; ///< font size in dots
    bool bold = false;
    TextAlignment alignment = TextAlignment::Natural;
};

/// Text laid out in a column: wrapped between words, and within a word that is wider than the column. What is drawn is
/// what was measured. An immutable value; it is made on a thread with fonts, and may be drawn on any.
class TextBlock {
public:
    /// Lays `text` out in a column of `width` dots. Paragraph separators and newlines end a paragraph, U+2028 a line.
    /// Empty text takes one line.
    TextBlock(const QString& text, const TextStyle& style, int width);

    /// The height of all lines, in dots.
    [[nodiscard]] int height() const { return m_height; }

    /// Draws the text, the column's top left corner at `corner`. Nothing is drawn outside of the column's sides.
    template <class Canvas>
    void drawOn(Canvas& canvas, QPoint corner) const
    {
        constexpr int farAbove = 1 << 20;
        const QRect column(corner.x(), -farAbove, m_width, 2 * farAbove);
        for (const Place& place : m_glyphs)
            canvas.stamp(*place.mask, corner + QPoint(place.x, place.y), column);
    }

private:
    struct Place {
        const Mask* mask;
        int x;
        int y;
    };

    void addParagraph(QTextLayout& layout, const QString& text, TextAlignment alignment);
    void addLine(const QTextLine& line, GlyphCache& cache);
    void keepInColumn(std::size_t firstGlyph);

    int m_width;
    int m_height = 0;
    int m_emptyLineHeight = 0;
    std::shared_ptr<const GlyphCache::Store> m_store;
    std::vector<Place> m_glyphs;
};

} // namespace harrowmint
