#pragma once

#include <QByteArray>
#include <QRect>
#include <optional>
#include <vector>

namespace harrowmint {

/// A QR code of error-correction level M in byte mode, the smallest that holds its payload. A plain value.
struct QRCode {
    /// Blank modules around a code, on each side.
    static constexpr int quietZone = 4;
    /// Printers and readers lose modules smaller than this, in dots.
    static constexpr int minimumScale = 2;

    int modules = 0; ///< modules a side, without quiet zone
    QByteArray dark; ///< `modules` rows of `modules` bytes, 1 is dark, 0 is light

    /// The code of `payload`, any bytes; nothing for an empty payload or one that no code can hold (above 2331 bytes).
    [[nodiscard]] static std::optional<QRCode> encode(const QByteArray& payload);

    /// Whole dots a module when code and quiet zone must fit a square of `target` dots a side.
    [[nodiscard]] int scaleFor(int target) const { return target / (modules + 2 * quietZone); }
    /// The side of code and quiet zone, in dots.
    [[nodiscard]] int blockSide(int scale) const { return (modules + 2 * quietZone) * scale; }
    /// The dark areas of the code, its quiet zone beginning at row `top`, centred on paper `paperWidth` dots wide.
    [[nodiscard]] std::vector<QRect> areas(int scale, int paperWidth, int top) const;
};

} // namespace harrowmint
