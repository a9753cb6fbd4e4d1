#pragma once

#include <cstdint>
#include <vector>

namespace harrowmint {

/// A pixel prints black when its red, green and blue samples add up to less than this.
inline constexpr int blackThreshold = 450;

/// Whether a pixel prints as a black dot; its alpha does not matter.
[[nodiscard]] constexpr bool printsBlack(int red, int green, int blue)
{
    return red + green + blue < blackThreshold;
}

/// A grey picture that is put on paper at some place, a glyph or an image, together with the dots it prints. A plain
/// value. Masks that overlap darken each other (the lower level stays), so thresholding the finished picture and
/// joining the thresholded masks give the same dots.
struct Mask {
    int left = 0; ///< from the place to the first column, in dots
    int top = 0; ///< from the place to the first row, in dots; negative is above it
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> levels; ///< `height` rows of `width` samples, 0 is black, 255 is white
    std::vector<std::uint8_t> bits; ///< `height` rows of `stride()` bytes, leftmost dot in bit 7, set prints black

    /// Bytes of one row of `bits`.
    [[nodiscard]] int stride() const { return (width + 7) / 8; }

    /// The mask of `levels`, of which there are `width` × `height`.
    [[nodiscard]] static Mask fromLevels(int left, int top, int width, int height, std::vector<std::uint8_t> levels);
};

} // namespace harrowmint
