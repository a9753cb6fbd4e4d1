#pragma once

#include "documents/Receipt.h"

#include <QByteArray>

namespace harrowmint::bench {

/// What a receipt is drawn on before the threshold.
enum class PangoSurface {
    RGB, ///< as pictures are
    Alpha ///< coverage alone, a quarter of the memory
};

/// The baseline: the lines of `receipt` at 576 dots as one would print them with Pango and Cairo: the same font, sizes,
/// column, spacing, store code, threshold and framing, on one surface of the whole receipt.
[[nodiscard]] QByteArray pangoReceipt(const Receipt& receipt, PangoSurface surface);

} // namespace harrowmint::bench
