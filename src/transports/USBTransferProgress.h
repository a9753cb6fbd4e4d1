#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <cstdint>
#include <mutex>

namespace harrowmint {

/// Reads the progress lines of a USB backend program and finds the moment when the printer has the whole job: the exact
/// count of sent bytes, then the backend's wait for completion. Lives as long as one run. Any thread.
class USBTransferProgress {
public:
    /// `expectedBytes`: the size of the job; a job of no bytes is never acknowledged.
    explicit USBTransferProgress(std::int64_t expectedBytes);

    /// Takes the next bytes of the backend's standard error, split anywhere. Returns true exactly once: when the
    /// printer has acknowledged the whole job. An "ERROR:" line, or more than 65536 bytes waiting at once, ends all
    /// reading.
    [[nodiscard]] bool consume(QByteArrayView bytes);

private:
    bool consumeLine(QByteArrayView line);

    std::mutex m_lock; ///< guards every other field
    QByteArray m_pending; ///< received but not yet split into lines
    bool m_completeBytes = false; ///< the exact count has been reported
    bool m_acknowledged = false;
    bool m_failed = false;
    QByteArray m_completeLine; ///< the line that reports the exact count; empty when there is none
};

} // namespace harrowmint
