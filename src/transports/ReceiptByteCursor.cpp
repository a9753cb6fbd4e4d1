#include "transports/ReceiptByteCursor.h"

namespace harrowmint {

std::optional<QByteArray> ReceiptByteCursor::next(int maximum) const
{
    if (maximum < 1 || finished())
        return std::nullopt;
    return m_bytes.mid(m_offset, maximum);
}

void ReceiptByteCursor::advance(int count)
{
    if (count < 1 || count > m_bytes.size() - m_offset)
        qFatal("a receipt's cursor cannot move by %d bytes", count);
    m_offset += count;
    m_lastCount = count;
}

} // namespace harrowmint
