#pragma once

#include "server/Client.h"
#include "server/PrinterServer.h"
#include "server/ThreadQueue.h"
#include "support/Printers.h"

#include <future>
#include <gtest/gtest.h>
#include <vector>

namespace harrowmint::test {

using namespace std::chrono_literals;

/// No limit of these is reached by a test that does not mean to.
inline PrinterServerLimits patient()
{
    PrinterServerLimits limits;
    limits.idle = limits.lifetime = limits.drainTime = 10min;
    return limits;
}

inline const QByteArray health = "GET /health HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";

inline QByteArray post(const QByteArray& path, const QByteArray& body)
{
    return "POST " + path + " HTTP/1.1\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

inline Received closedAfter(int status, const QString& message)
{
    return {HTTPReply{.status = status, .message = message}.encoded(), End::Closed};
}

/// What a server said of its listener, in order.
using Statuses = std::vector<std::pair<QString, bool>>;

/// A PrinterServer on a port that the system chooses, with a thread as its main queue. The test's own thread plays the
/// clients.
class ServerTest : public testing::Test {
public:
    ~ServerTest() override { destroy(); }

protected:
    /// Makes a server; by default it answers each request with its path.
    void serve(const PrinterServerLimits& limits, PrinterServer::Handler handler = echo)
    {
        m_main.run([&] {
            m_server = std::make_unique<PrinterServer>(m_main, 0, limits);
            m_server->handler = std::move(handler);
            m_server->start();
            m_port = m_server->port();
        });
    }
    void destroy()
    {
        m_main.run([this] { m_server.reset(); });
    }
    [[nodiscard]] std::uint16_t port() const { return m_port; }
    /// A handler that keeps the reply callbacks for `takeHeld`.
    [[nodiscard]] PrinterServer::Handler holding()
    {
        return [this](const HTTPRequest&, const ReplyCallback& reply) {
            {
                const std::lock_guard guard(m_lock);
                m_held.push_back(reply);
            }
            m_arrived.notify_all();
        };
    }
    /// Waits until a request was handed over; returns its reply callback, of which no other copy stays behind.
    [[nodiscard]] ReplyCallback takeHeld()
    {
        std::unique_lock guard(m_lock);
        m_arrived.wait(guard, [this] { return !m_held.empty(); });
        ReplyCallback reply = m_held.front();
        m_held.pop_front();
        return reply;
    }
    /// Waits until all that was given to the main queue so far has run.
    void settle()
    {
        std::promise<void> done;
        m_main.async([&done] { done.set_value(); });
        done.get_future().wait();
    }

    static void echo(const HTTPRequest& request, const ReplyCallback& reply)
    {
        reply({.status = 200, .message = request.path});
    }
    static Received echoed(const QString& path) { return closedAfter(200, path); }

    ThreadQueue m_main;
    std::unique_ptr<PrinterServer> m_server;

private:
    std::uint16_t m_port = 0;
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::deque<ReplyCallback> m_held;
};

} // namespace harrowmint::test
