#pragma once

#include <QByteArray>
#include <optional>
#include <utility>

namespace harrowmint {

/// A job's bytes, handed out in order in chunks.
class ByteCursor {
public:
    ByteCursor() = default;
    ByteCursor(const ByteCursor&) = delete;
    ByteCursor& operator=(const ByteCursor&) = delete;
    virtual ~ByteCursor() = default;

    /// The next chunk of at most `maximum` bytes, without moving; nothing at the end or when `maximum` is too small.
    [[nodiscard]] virtual std::optional<QByteArray> next(int maximum) const = 0;
    /// Moves past `count` bytes of the chunk.
    virtual void advance(int count) = 0;
    /// Whether every byte has been handed out.
    [[nodiscard]] virtual bool finished() const = 0;
    /// Bytes handed out so far.
    [[nodiscard]] virtual qsizetype offset() const = 0;
    /// The size of the last chunk, in bytes.
    [[nodiscard]] virtual int lastCount() const = 0;
};

/// Any cursor value as a ByteCursor.
template <class Cursor>
class ByteCursorOf final : public ByteCursor {
public:
    explicit ByteCursorOf(Cursor cursor)
        : m_cursor(std::move(cursor))
    {
    }

    [[nodiscard]] std::optional<QByteArray> next(int maximum) const override { return m_cursor.next(maximum); }
    void advance(int count) override { m_cursor.advance(count); }
    [[nodiscard]] bool finished() const override { return m_cursor.finished(); }
    [[nodiscard]] qsizetype offset() const override { return m_cursor.offset(); }
    [[nodiscard]] int lastCount() const override { return m_cursor.lastCount(); }

private:
    Cursor m_cursor;
};

} // namespace harrowmint
