#include "render/Mask.h"

#include <utility>

namespace harrowmint {

Mask Mask::fromLevels(int left, int top, int width, int height, std::vector<std::uint8_t> levels)
{
    Mask mask{left, top, width, height, std::move(levels), {}};
    mask.bits.resize(std::size_t(mask.stride()) * std::size_t(height));
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = mask.levels.data() + std::ptrdiff_t(y) * width;
        std::uint8_t* bits = mask.bits.data() + std::ptrdiff_t(y) * mask.stride();
        for (int x = 0; x < width; ++x) {
            if (printsBlack(row[x], row[x], row[x]))
                bits[x / 8] |= std::uint8_t(0x80 >> (x % 8));
        }
    }
    return mask;
}

} // namespace harrowmint
