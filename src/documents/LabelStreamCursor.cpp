#include "base/EscPos.h"
#include "documents/LabelDocument.h"

#include <algorithm>
#include <iterator>

namespace harrowmint {

namespace {

constexpr int initialiseBytes = std::size(escpos::initialise);
/// A raster header is handed out in one piece, so no smaller chunk is any use.
constexpr int minimumChunk = escpos::rasterHeaderBytes;

} // namespace

LabelStreamCursor::LabelStreamCursor(const LabelDocument& document)
    : m_bytes(document.bytes())
    , m_rowBytes(document.width / 8)
{
    Q_ASSERT(m_rowBytes > 0);
}

std::optional<QByteArray> LabelStreamCursor::next(int maximum) const
{
    if (maximum < minimumChunk || finished())
        return std::nullopt;
    if (m_offset == 0)
        return m_bytes.first(initialiseBytes);
    if (m_offset == initialiseBytes)
        return m_bytes.sliced(m_offset, escpos::rasterHeaderBytes);
    const int wholeRows = m_rowBytes <= maximum ? maximum - maximum % m_rowBytes : maximum;
    return m_bytes.sliced(m_offset, std::min<qsizetype>(wholeRows, m_bytes.size() - m_offset));
}

void LabelStreamCursor::advance(int count)
{
    Q_ASSERT(count >= 0 && count <= m_bytes.size() - m_offset);
    m_offset += count;
    m_lastCount = count;
}

} // namespace harrowmint
