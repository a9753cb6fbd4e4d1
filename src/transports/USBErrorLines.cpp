#include "transports/USBErrorLines.h"

#include "base/Text.h"

#include <algorithm>

namespace harrowmint {

namespace {

constexpr QByteArrayView errorPrefix("ERROR:");

} // namespace

USBErrorLines::USBErrorLines(std::function<void(const QString&)> tell)
    : m_tell(std::move(tell))
{
}

void USBErrorLines::consume(QByteArrayView bytes)
{
    while (!bytes.isEmpty() && m_lines < maximumLines) {
        const qsizetype end = bytes.indexOf('\n');
        const QByteArrayView piece = end < 0 ? bytes : bytes.first(end);
        m_line.append(piece.first(std::min(piece.size(), maximumLineBytes - m_line.size())));
        if (end < 0)
            return;
        endLine();
        bytes = bytes.sliced(end + 1);
    }
}

void USBErrorLines::endLine()
{
    if (m_line.startsWith(errorPrefix)) {
        ++m_lines;
        m_tell(withControlsAsSpaces(QString::fromUtf8(m_line.sliced(errorPrefix.size()))));
    }
    m_line.clear();
}

} // namespace harrowmint
