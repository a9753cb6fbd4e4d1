#include "app/SessionBus.h"

#include "app/linux/BusService.h"
#include "transports/FileDescriptor.h"

#include <QByteArray>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace harrowmint {

namespace {

/// No transport has this name: whoever opens it fails at once, instead of starting a bus.
constexpr const char* noBus = "disabled:";

/// A local socket's address as the system has it.
struct SocketAddress {
    sockaddr_un address{};
    socklen_t length = 0;
};

/// Of the first entry of a bus address; nothing when that is not a local socket.
std::optional<SocketAddress> socketAddress(const QByteArray& busAddress)
{
    const QByteArray entry = busAddress.split(';').value(0);
    if (!entry.startsWith("unix:"))
        return std::nullopt;
    for (const QByteArray& pair : entry.mid(static_cast<qsizetype>(std::strlen("unix:"))).split(',')) {
        const bool isAbstract = pair.startsWith("abstract=");
        if (!isAbstract && !pair.startsWith("path="))
            continue;
        const QByteArray name = QByteArray::fromPercentEncoding(pair.mid(pair.indexOf('=') + 1));
        SocketAddress result;
        if (name.isEmpty() || static_cast<std::size_t>(name.size()) + 1 >= sizeof result.address.sun_path)
            return std::nullopt;
        result.address.sun_family = AF_UNIX;
        std::memcpy(
            result.address.sun_path + (isAbstract ? 1 : 0), name.constData(), static_cast<std::size_t>(name.size()));
        result.length =
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size()) + 1);
        return result;
    }
    return std::nullopt;
}

/// Whether whoever listens there begins to talk as a bus does: it answers the opening of the authentication, be it by a
/// refusal.
bool answers(const SocketAddress& place)
{
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.isOpen()
        || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&place.address), place.length) != 0)
        return false;
    const QByteArray greeting =
        QByteArray("\0AUTH EXTERNAL ", 15) + QByteArray::number(::getuid()).toHex() + QByteArray("\r\n");
    if (::send(socket.get(), greeting.constData(), static_cast<std::size_t>(greeting.size()), MSG_NOSIGNAL)
        != greeting.size())
        return false;
    pollfd state{socket.get(), POLLIN, 0};
    const auto deadline = std::chrono::steady_clock::now() + sessionBusTime;
    int ready = -1;
    do {
        const auto rest =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        ready = ::poll(&state, 1, static_cast<int>(std::max<decltype(rest)>(rest, 0)));
    } while (ready < 0 && errno == EINTR);
    char byte = 0;
    return ready == 1 && ::recv(socket.get(), &byte, 1, 0) == 1;
}

} // namespace

bool settleSessionBus()
{
    const QByteArray address = BusService::sessionBusAddress().toUtf8();
    const auto place = socketAddress(address);
    // Of any other kind of address nothing is known here.
    if (!address.isEmpty() && (!place || answers(*place)))
        return true;
    qputenv("DBUS_SESSION_BUS_ADDRESS", noBus);
    return false;
}

} // namespace harrowmint
