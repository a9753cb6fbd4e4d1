#pragma once

#include <QByteArray>
#include <optional>
#include <utility>

namespace harrowmint {

/// Hands a receipt's bytes out in chunks, as large as allowed. A value.
class ReceiptByteCursor {
public:
    /// A cursor at the start of `bytes`.
    explicit ReceiptByteCursor(QByteArray bytes)
        : m_bytes(std::move(bytes))
    {
    }

    /// The next chunk of at most `maximum` bytes, without moving; nothing at the end, or when `maximum` is below 1.
    [[nodiscard]] std::optional<QByteArray> next(int maximum) const;
    /// Moves past `count` bytes, at least 1 and no more than are left; anything else stops the program.
    void advance(int count);
    /// Whether every byte has been handed out.
    [[nodiscard]] bool finished() const { return m_offset == m_bytes.size(); }
    /// Bytes handed out so far.
    [[nodiscard]] qsizetype offset() const { return m_offset; }
    /// The size of the last chunk, in bytes.
    [[nodiscard]] int lastCount() const { return m_lastCount; }

private:
    QByteArray m_bytes;
    qsizetype m_offset = 0;
    int m_lastCount = 0;
};

} // namespace harrowmint
