#pragma once

#include <cstdint>

/// The few ESC/POS commands that the agent writes.
namespace harrowmint::escpos {

/// ESC @, initialise printer.
inline constexpr std::uint8_t initialise[] = {0x1b, 0x40};
/// ESC a 0, left justification.
inline constexpr std::uint8_t justifyLeft[] = {0x1b, 0x61, 0x00};
/// GS v 0, mode 0: raster bit image at normal density; followed by xL xH (bytes a row) and yL yH (rows).
inline constexpr std::uint8_t rasterImage[] = {0x1d, 0x76, 0x30, 0x00};
/// ESC d 4, print and feed four lines.
inline constexpr std::uint8_t feedFourLines[] = {0x1b, 0x64, 0x04};

/// Bytes of a complete GS v 0 header: command, width in bytes and height in rows.
inline constexpr int rasterHeaderBytes = 8;
/// No raster command of a receipt carries more rows than this.
inline constexpr int maximumBandRows = 256;
/// The largest receipt stream that any transport accepts, in bytes.
inline constexpr int maximumJobBytes = 900000;

} // namespace harrowmint::escpos
