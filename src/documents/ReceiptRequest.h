#pragma once

#include "base/JSONDocument.h"
#include "documents/Receipt.h"

#include <QString>
#include <optional>

namespace harrowmint {

/// A request that has been read and found good. Its fingerprint, which hashes all of the content and is the dearest
/// part of decoding, is made apart. Must not outlive the JSON document.
struct ReceiptRequest {
    Receipt receipt; ///< complete but for its fingerprint
    std::optional<JSONValue> invoice; ///< what an invoice is recognised by; absent for a label job

    /// Reads a body's top level. Throws PrinterError with the first failing check's sentence.
    [[nodiscard]] static ReceiptRequest read(const JSONValue& root, const QString& currency);
    /// The label's fingerprint, else the attached document's, else the invoice's.
    [[nodiscard]] QString fingerprint() const;
};

} // namespace harrowmint
