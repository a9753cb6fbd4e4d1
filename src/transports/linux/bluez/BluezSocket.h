#pragma once

#include <QSocketNotifier>
#include <cstddef>
#include <functional>
#include <memory>

namespace harrowmint {

/// What a BluezSocket reports, from the event loop of its thread and never within a call. The receiver may destroy the
/// socket within an event.
struct BluezSocketEvents {
    std::function<void()> writable; ///< after `awaitWritable`, once
    std::function<void()> closed; ///< the other end has closed or failed; once
};

/// A descriptor that BlueZ has passed, through which data go to the printer: non-blocking, watched for its end. What
/// comes in is thrown away. Lives on one thread with a Qt event loop.
class BluezSocket {
public:
    /// What became of bytes that were to be sent.
    struct Sent {
        std::size_t count = 0; ///< taken; none: would block now
        bool closed = false; ///< the other end is gone; nothing was taken
    };

    /// Takes a copy of `descriptor`, which stays the caller's. The buffer for outgoing data is made small, so that
    /// "writable" tells of the printer and not of the computer's memory.
    BluezSocket(int descriptor, BluezSocketEvents events);
    /// Closes at once: what the other end has not read may be lost.
    ~BluezSocket();
    BluezSocket(const BluezSocket&) = delete;
    BluezSocket& operator=(const BluezSocket&) = delete;

    /// Hands out bytes without waiting: for a packet socket all of them or none.
    [[nodiscard]] Sent send(const char* bytes, std::size_t count);
    /// Whether `send` would take something now.
    [[nodiscard]] bool isWritable() const;
    /// Reports `writable` when that is so.
    void awaitWritable() { m_writeNotifier->setEnabled(true); }
    /// Whether the other end has read everything that was sent.
    [[nodiscard]] bool isDrained() const;
    /// Ends the connection behind all copies of the descriptor, after what was sent. No event comes afterwards.
    void shutDown();
    /// No event comes afterwards.
    void silence();

private:
    void readAway();

    int m_descriptor = -1;
    BluezSocketEvents m_events;
    std::unique_ptr<QSocketNotifier> m_readNotifier;
    std::unique_ptr<QSocketNotifier> m_writeNotifier;
};

} // namespace harrowmint
