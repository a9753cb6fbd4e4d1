#pragma once

#include <QImage>
#include <QRawFont>
#include <QRect>

namespace harrowmint {

/// A glyph drawn with its origin at four phases between two dots.
struct GlyphDrawing {
    static constexpr int phases = 4;

    QRect cell; ///< the dots around the origin that the glyph may touch in any phase
    QImage levels; ///< the phases side by side, a cell each, the n-th n quarters of a dot further right: 8-bit grey

    /// The n-th phase's part of `levels`.
    [[nodiscard]] QRect area(int phase) const { return {cell.width() * phase, 0, cell.width(), cell.height()}; }
};

/// Draws `glyph` with smooth edges. `levels` is null when the glyph's bounds are empty.
[[nodiscard]] GlyphDrawing drawGlyph(const QRawFont& font, quint32 glyph);

} // namespace harrowmint
