#pragma once

#include "base/JSONDocument.h"
#include "documents/ReceiptDocument.h"

#include <QString>
#include <optional>
#include <span>
#include <string_view>

namespace harrowmint {

/// Throws PrinterError unless `object` is there and has no keys but those of `allowed`.
void requireKeysAmong(const std::optional<JSONObject>& object, std::span<const std::string_view> allowed);

/// A whole number of a receipt document: `fallback` when the key is missing, otherwise within [minimum, maximum].
/// Throws PrinterError naming the key.
[[nodiscard]] int readDimension(const JSONObject& object, std::string_view key, int fallback, int minimum, int maximum);

/// Reads the blocks of one document in their order, and keeps count of what is limited across them all.
/// Lives as long as the decoding; any one thread.
class ReceiptBlockReader {
public:
    /// The next block, normalised. Throws PrinterError with the first failing check's sentence.
    [[nodiscard]] ReceiptBlock read(const JSONValue& value);

private:
    using Read = void (ReceiptBlockReader::*)(const JSONObject&, ReceiptBlock&);
    struct Type;
    static std::span<const Type> types();

    void readText(const JSONObject& object, ReceiptBlock& block);
    void readRule(const JSONObject& object, ReceiptBlock& block);
    void readSpace(const JSONObject& object, ReceiptBlock& block);
    void readQrCode(const JSONObject& object, ReceiptBlock& block);
    void readImage(const JSONObject& object, ReceiptBlock& block);

    int m_qrCodes = 0;
    int m_images = 0;
    qsizetype m_imageBytes = 0;
    qsizetype m_textScalars = 0;
};

} // namespace harrowmint
