#pragma once

#include "render/TextBlock.h"

#include <optional>
#include <utility>

namespace harrowmint {

/// One measured piece of a receipt document's text. A value.
class DocumentText {
public:
    /// Lays `text` out in a column of `width` dots at `size` dots. `align` is "left", "right" or "center"; any other
    /// value is natural alignment.
    DocumentText(const QString& text, int size, bool bold, const QString& align, int width);

    /// The height of the laid-out text in dots; 0 for empty text.
    [[nodiscard]] int height() const { return m_block ? m_block->height() : 0; }
    /// The laid-out text, to be drawn; nothing for empty text. This piece is spent.
    [[nodiscard]] std::optional<TextBlock> take() { return std::move(m_block); }

private:
    std::optional<TextBlock> m_block;
};

} // namespace harrowmint
