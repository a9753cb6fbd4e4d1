#pragma once

#include "base/JSONDocument.h"

#include <QByteArray>
#include <QString>
#include <optional>

namespace harrowmint {

/// A finished 1-bit label bitmap. A plain value; any thread.
struct LabelDocument {
    int version = 1;
    int width = 0; ///< dots, 8 to 384, a multiple of 8
    int height = 0; ///< rows, 1 to 800
    QByteArray rows; ///< base64, canonical: `height` rows of `width`/8 bytes, leftmost dot in bit 7, set is black

    bool operator==(const LabelDocument&) const = default;

    /// Validates `value`. Throws PrinterError with the first failing check's sentence.
    [[nodiscard]] static LabelDocument decode(const JSONValue& value);
    /// The printer-ready stream: ESC @, one GS v 0 header, the pixels.
    [[nodiscard]] QByteArray bytes() const;
    /// SHA-256 over geometry and pixels, 64 lower-case hexadecimal digits.
    [[nodiscard]] QString fingerprint() const;
};

/// Hands a label's stream out in chunks: the initialise command, the raster header, then whole rows where they fit.
class LabelStreamCursor {
public:
    /// A cursor at the start of the document's stream.
    explicit LabelStreamCursor(const LabelDocument& document);

    /// The next chunk of at most `maximum` bytes, without moving; nothing at the end, or when `maximum` is below 8.
    [[nodiscard]] std::optional<QByteArray> next(int maximum) const;
    /// Records that `count` bytes of the chunk were delivered. `count` is at most what `next` returned.
    void advance(int count);
    /// Whether the whole stream has been delivered.
    [[nodiscard]] bool finished() const { return m_offset == m_bytes.size(); }
    /// The size of the last confirmed chunk, in bytes.
    [[nodiscard]] int lastCount() const { return m_lastCount; }
    /// Bytes already handed over and confirmed.
    [[nodiscard]] qsizetype offset() const { return m_offset; }

private:
    QByteArray m_bytes;
    int m_rowBytes;
    qsizetype m_offset = 0;
    int m_lastCount = 0;
};

} // namespace harrowmint
