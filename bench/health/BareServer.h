#pragma once

#include <QByteArray>
#include <cstdint>
#include <thread>

namespace harrowmint::bench {

/// The least that can answer a connection-per-request client: one thread around epoll that waits for the end of the
/// headers, writes fixed bytes and closes. No limits, no timers, no parsing, no other thread.
class BareServer {
public:
    explicit BareServer(QByteArray reply);
    ~BareServer();
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_port; }

private:
    void run() const;
    void accept() const;
    void answer(int connection) const;

    const QByteArray m_reply;
    std::uint16_t m_port = 0;
    int m_listener = -1;
    int m_epoll = -1;
    int m_wake[2] = {-1, -1};
    std::thread m_thread;
};

} // namespace harrowmint::bench
