#pragma once

#include "documents/ReceiptDocument.h"
#include "render/Mask.h"

#include <QSize>
#include <optional>

namespace harrowmint {

/// The bitmap of an image block, drawn `size` dots large: dot for dot at its own size, smoothly scaled otherwise.
/// Nothing when the block's data is not base64 of exactly its rows, or a side is below 1.
[[nodiscard]] std::optional<Mask> imageMask(const ReceiptBlock& block, QSize size);

} // namespace harrowmint
