#pragma once

#include "base/JSONDocument.h"

#include <QByteArray>
#include <QString>
#include <vector>

namespace harrowmint {

/// One block of a receipt document. Fields that a type does not use keep their defaults. Lengths are dots.
struct ReceiptBlock {
    QString type; ///< "text", "pair", "rule", "space", "qr" or "image"
    QString text; ///< text, left column of a pair, or QR payload
    QString right; ///< right column of a pair
    int size = 23; ///< font size; for a QR code its printed side
    bool bold = false;
    QString align = QStringLiteral("natural"); ///< "natural", "left", "right" or "center"
    int gap = 10; ///< space below the block
    int height = 0; ///< rule thickness, space height or image height
    int width = 0; ///< image width
    QByteArray data; ///< image bitmap as base64, canonical: `height` rows of `width`/8 bytes, leftmost dot in bit 7,
                     ///< set is black
    double rightWidth = 0.45; ///< share of the usable width given to the right column

    bool operator==(const ReceiptBlock&) const = default;
};

/// A block-structured receipt, decoded and normalised. A plain value; any thread.
struct ReceiptDocument {
    int version = 1;
    std::vector<ReceiptBlock> blocks; ///< 1 to 256, in print order
    int bottomPadding = 160; ///< blank dots below the last block

    bool operator==(const ReceiptDocument&) const = default;

    /// Validates and normalises `value`. Throws PrinterError with the first failing check's sentence.
    [[nodiscard]] static ReceiptDocument decode(const JSONValue& value);
    /// The document as canonical JSON (RFC 8785) with every field written out.
    [[nodiscard]] QByteArray canonicalJSON() const;
    /// SHA-256 of `canonicalJSON`, 64 lower-case hexadecimal digits: equal for documents that differ only in omitted
    /// defaults, surrounding white space or control characters.
    [[nodiscard]] QString fingerprint() const;
};

} // namespace harrowmint
