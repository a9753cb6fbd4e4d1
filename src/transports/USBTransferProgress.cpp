#include "transports/USBTransferProgress.h"

namespace harrowmint {

namespace {

constexpr qsizetype maximumPendingBytes = 65536;
// The backend's words are ASCII, so that comparing bytes is comparing text, whatever else its lines hold.
constexpr QByteArrayView errorPrefix("ERROR:");
constexpr QByteArrayView waitingLine("STATE: +cups-waiting-for-job-completed");

QByteArray completeLine(std::int64_t expectedBytes)
{
    return expectedBytes >= 1 ? "DEBUG: Sent " + QByteArray::number(qint64(expectedBytes)) + " bytes..." : QByteArray();
}

} // namespace

USBTransferProgress::USBTransferProgress(std::int64_t expectedBytes)
    : m_completeLine(completeLine(expectedBytes))
{
}

bool USBTransferProgress::consume(QByteArrayView bytes)
{
    const std::lock_guard guard(m_lock);
    if (m_acknowledged || m_failed)
        return false;
    m_pending.append(bytes);
    if (m_pending.size() > maximumPendingBytes) {
        m_pending.clear();
        m_failed = true;
        return false;
    }
    qsizetype start = 0;
    for (qsizetype end = 0; !m_failed && (end = m_pending.indexOf('\n', start)) >= 0; start = end + 1) {
        if (consumeLine(QByteArrayView(m_pending).sliced(start, end - start))) {
            m_pending.clear();
            return true;
        }
    }
    m_pending.remove(0, start);
    return false;
}

/// Whether this line is the acknowledgement.
bool USBTransferProgress::consumeLine(QByteArrayView line)
{
    m_failed = line.startsWith(errorPrefix);
    if (!m_completeLine.isEmpty() && line == m_completeLine)
        m_completeBytes = true;
    m_acknowledged = m_completeBytes && line == waitingLine;
    return m_acknowledged;
}

} // namespace harrowmint
