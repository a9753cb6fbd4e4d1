#pragma once

#include <QByteArray>
#include <QImage>
#include <QRect>
#include <stdexcept>
#include <string>
#include <vector>

namespace harrowmint::test {

/// A receipt as a printer would print it: dots on paper, row by row.
struct Dots {
    int width = 0;
    int height = 0;
    std::vector<int> bands; ///< rows of each raster command
    std::vector<bool> black; ///< `height` rows of `width` dots

    [[nodiscard]] bool at(int x, int y) const { return black[std::size_t(y) * std::size_t(width) + std::size_t(x)]; }
    /// The number of black dots within `area`.
    [[nodiscard]] int count(const QRect& area) const;
    [[nodiscard]] int count() const { return count(QRect(0, 0, width, height)); }
    /// The smallest rectangle around the black dots within `area`.
    [[nodiscard]] QRect ink(const QRect& area) const;
    [[nodiscard]] QRect ink() const { return ink(QRect(0, 0, width, height)); }
    /// The dots as a picture of grey samples.
    [[nodiscard]] QImage picture() const;
};

/// Why a stream is no receipt.
struct NotAReceipt : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a receipt's stream as a strict printer does: ESC @, ESC a 0, raster commands of one width and of 256 rows each
/// but for the last, ESC d 4, and nothing else. Knows nothing of the code that writes it. Throws NotAReceipt.
[[nodiscard]] Dots readReceipt(const QByteArray& stream);

} // namespace harrowmint::test
