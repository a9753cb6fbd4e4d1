#pragma once

#include "documents/ReceiptDocument.h"
#include "render/DocumentText.h"
#include "render/QRCode.h"
#include "render/RasterReceipt.h"

#include <QSize>
#include <optional>

namespace harrowmint {

/// Renders block-structured receipts: measures every block into a row, then draws the rows from the top. Stateless.
class RasterDocument {
public:
    /// One measured block.
    struct Row {
        const ReceiptBlock* block; ///< of the document, which outlives the row
        int height = 0; ///< of the block with its gap, in dots
        std::optional<DocumentText> left{}; ///< of a text or pair
        std::optional<DocumentText> right{}; ///< of a pair
        int rightWidth = 0; ///< of a pair: its right column
        std::optional<QRCode> code{}; ///< of a QR code
        int scale = 0; ///< of a QR code: dots a module
        QSize image{}; ///< of an image: its size on paper
    };

    /// Draws `document` for paper of 58 or 80 millimetres. Throws PrinterError; nothing is kept on failure.
    [[nodiscard]] static RasterReceipt render(const ReceiptDocument& document, int paperWidth);

    /// Throws PrinterError when a stream of `size` bytes is larger than printers take.
    static void requireSendable(qint64 size);
};

} // namespace harrowmint
