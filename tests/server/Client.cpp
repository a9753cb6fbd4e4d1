#include "server/Client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace harrowmint::test {

namespace {

constexpr int hangMilliseconds = 60'000;

} // namespace

Client::Client()
    : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
{
    EXPECT_GE(m_socket, 0);
    const int on = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Client::Client(std::uint16_t port)
    : Client()
{
    connect(port);
}

Client::~Client()
{
    if (m_socket >= 0)
        ::close(m_socket);
}

void Client::connect(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << errno;
}

bool Client::waitFor(short events, int milliseconds)
{
    pollfd entry{m_socket, events, 0};
    return ::poll(&entry, 1, milliseconds) == 1;
}

qsizetype Client::send(const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        if (!waitFor(POLLOUT, hangMilliseconds)) {
            ADD_FAILURE() << "the server does not read";
            return sent;
        }
        const ssize_t count =
            ::send(m_socket, bytes.data() + sent, static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (count < 0)
            return sent;
        sent += count;
    }
    return sent;
}

void Client::waitUntilDelivered()
{
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(hangMilliseconds);
    int unacknowledged = 0;
    while (::ioctl(m_socket, TIOCOUTQ, &unacknowledged) == 0 && unacknowledged > 0) {
        ASSERT_LT(std::chrono::steady_clock::now(), giveUp) << "the server's system does not take it";
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void Client::endSending()
{
    ::shutdown(m_socket, SHUT_WR);
}

void Client::reset()
{
    const linger atOnce{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    ::close(std::exchange(m_socket, -1));
}

Received Client::receive()
{
    Received received;
    char buffer[16'384];
    while (waitFor(POLLIN, hangMilliseconds)) {
        const ssize_t count = ::recv(m_socket, buffer, sizeof buffer, 0);
        if (count <= 0) {
            received.end = count == 0 ? End::Closed : End::Reset;
            return received;
        }
        received.bytes.append(buffer, count);
    }
    ADD_FAILURE() << "the server neither answers nor closes";
    return received;
}

bool Client::staysSilent(int milliseconds)
{
    return !waitFor(POLLIN, milliseconds);
}

void Client::sendUntilReset()
{
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(hangMilliseconds);
    while (send("x") == 1) {
        ASSERT_LT(std::chrono::steady_clock::now(), giveUp) << "the server keeps the connection";
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

Received exchange(std::uint16_t port, const QByteArray& request)
{
    Client client(port);
    client.send(request);
    return client.receive();
}

} // namespace harrowmint::test
