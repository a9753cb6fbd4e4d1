#include "BareServer.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace harrowmint::bench {

namespace {

void watch(int epoll, int descriptor)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    ::epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

} // namespace

BareServer::BareServer(QByteArray reply)
    : m_reply(std::move(reply))
    , m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    , m_epoll(::epoll_create1(EPOLL_CLOEXEC))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::pipe(m_wake) != 0 || ::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) != 0
        || ::listen(m_listener, 128) != 0)
        std::abort();
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
    m_port = ntohs(address.sin_port);
    watch(m_epoll, m_listener);
    watch(m_epoll, m_wake[0]);
    m_thread = std::thread([this] { run(); });
}

BareServer::~BareServer()
{
    ::close(m_wake[1]);
    m_thread.join();
    for (const int descriptor : {m_wake[0], m_listener, m_epoll})
        ::close(descriptor);
}

void BareServer::run() const
{
    epoll_event events[64];
    while (true) {
        const int count = ::epoll_wait(m_epoll, events, 64, -1);
        for (int i = 0; i < count; ++i) {
            const int descriptor = events[i].data.fd;
            if (descriptor == m_wake[0])
                return;
            if (descriptor == m_listener)
                accept();
            else
                answer(descriptor);
        }
    }
}

void BareServer::accept() const
{
    while (true) {
        const int connection = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection < 0)
            return;
        watch(m_epoll, connection);
    }
}

/// The clients send each request in one piece, so that one read has all of it.
void BareServer::answer(int connection) const
{
    char buffer[16'384];
    const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
    if (count >= 4 && std::memcmp(buffer + count - 4, "\r\n\r\n", 4) == 0)
        ::send(connection, m_reply.constData(), static_cast<std::size_t>(m_reply.size()), MSG_NOSIGNAL);
    ::close(connection);
}

} // namespace harrowmint::bench
