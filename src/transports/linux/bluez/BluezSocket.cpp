#include "transports/linux/bluez/BluezSocket.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace harrowmint {

namespace {

/// The kernel doubles it and counts its own book-keeping: room for a few packets.
constexpr int sendBufferBytes = 4096;

int copyOf(int descriptor)
{
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (copy >= 0) {
        ::fcntl(copy, F_SETFL, ::fcntl(copy, F_GETFL) | O_NONBLOCK);
        ::setsockopt(copy, SOL_SOCKET, SO_SNDBUF, &sendBufferBytes, sizeof sendBufferBytes);
    }
    return copy;
}

/// A notifier may be dropped within its own signal.
void drop(std::unique_ptr<QSocketNotifier>& notifier)
{
    notifier->setEnabled(false);
    notifier.release()->deleteLater();
}

} // namespace

BluezSocket::BluezSocket(int descriptor, BluezSocketEvents events)
    : m_descriptor(copyOf(descriptor))
    , m_events(std::move(events))
    , m_readNotifier(std::make_unique<QSocketNotifier>(QSocketNotifier::Read))
    , m_writeNotifier(std::make_unique<QSocketNotifier>(QSocketNotifier::Write))
{
    if (m_descriptor >= 0) {
        m_readNotifier->setSocket(m_descriptor);
        m_writeNotifier->setSocket(m_descriptor);
        m_readNotifier->setEnabled(true);
    }
    QObject::connect(m_readNotifier.get(), &QSocketNotifier::activated, m_readNotifier.get(), [this] { readAway(); });
    QObject::connect(m_writeNotifier.get(), &QSocketNotifier::activated, m_writeNotifier.get(), [this] {
        m_writeNotifier->setEnabled(false);
        if (const auto writable = m_events.writable)
            writable();
    });
}

BluezSocket::~BluezSocket()
{
    drop(m_readNotifier);
    drop(m_writeNotifier);
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

BluezSocket::Sent BluezSocket::send(const char* bytes, std::size_t count)
{
    ssize_t sent = -1;
    do
        sent = ::send(m_descriptor, bytes, count, MSG_DONTWAIT | MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    if (sent >= 0)
        return {static_cast<std::size_t>(sent), false};
    return {0, errno != EAGAIN && errno != EWOULDBLOCK};
}

/// A socket that could not be copied counts as writable: `send` then tells.
bool BluezSocket::isWritable() const
{
    if (m_descriptor < 0)
        return true;
    pollfd waiting{m_descriptor, POLLOUT, 0};
    return ::poll(&waiting, 1, 0) > 0;
}

bool BluezSocket::isDrained() const
{
    int unread = 0;
    return ::ioctl(m_descriptor, SIOCOUTQ, &unread) != 0 || unread == 0;
}

void BluezSocket::shutDown()
{
    silence();
    ::shutdown(m_descriptor, SHUT_RDWR);
}

void BluezSocket::silence()
{
    m_events = {};
    m_readNotifier->setEnabled(false);
    m_writeNotifier->setEnabled(false);
}

/// One piece each time: the event loop comes back while there is more.
void BluezSocket::readAway()
{
    char bytes[1024];
    const ssize_t count = ::recv(m_descriptor, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)))
        return;
    const auto closed = std::exchange(m_events, {}).closed;
    silence();
    if (closed)
        closed();
}

} // namespace harrowmint
