#pragma once

#include <QByteArray>
#include <cstdint>
#include <utility>

namespace harrowmint::test {

/// How a client's connection ended as far as it can tell.
enum class End { Closed, Reset, StillOpen };

/// What a client read, and how it ended.
struct Received {
    QByteArray bytes;
    End end = End::StillOpen;
    bool operator==(const Received&) const = default;
};

/// A blocking TCP client on the loopback interface. Its waits end in a failure after a time that only a hanging server
/// needs.
class Client {
public:
    /// Connected to `port`.
    explicit Client(std::uint16_t port);
    /// Has a socket, but is not connected yet.
    Client();
    Client(Client&& other) noexcept
        : m_socket(std::exchange(other.m_socket, -1))
    {
    }
    Client& operator=(Client&&) = delete;
    ~Client();

    void connect(std::uint16_t port);
    [[nodiscard]] int descriptor() const { return m_socket; }
    /// Sends all of `bytes` unless the server resets the connection before; returns how many went out.
    qsizetype send(const QByteArray& bytes);
    /// Waits until all that was sent is with the server's system, where that can be told.
    void waitUntilDelivered();
    /// Ends the sending side; the other stays open.
    void endSending();
    /// Closes so that the server sees a reset.
    void reset();
    /// Reads until the server ends.
    Received receive();
    /// Reads nothing for `milliseconds`; returns whether nothing came and the connection is still open.
    bool staysSilent(int milliseconds);
    /// Sends single bytes until the server resets the connection.
    void sendUntilReset();

private:
    bool waitFor(short events, int milliseconds);

    int m_socket;
};

/// Sends `request` over a new connection to `port` and reads until the server ends.
Received exchange(std::uint16_t port, const QByteArray& request);

} // namespace harrowmint::test
