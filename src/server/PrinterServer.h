#pragma once

#include "base/OneShot.h"
#include "base/SerialQueue.h"
#include "server/HTTPReply.h"
#include "server/HTTPRequest.h"

#include <QString>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace harrowmint {

/// Answers a request, from any thread, once. The last copy that dies unanswered closes the connection.
using ReplyCallback = OneShot<HTTPReply>;

/// Bounds on what clients may hold; the defaults are the agent's.
struct PrinterServerLimits {
    std::size_t connections = 12; ///< open at the same time; one more is closed unanswered
    std::chrono::milliseconds idle{20'000}; ///< until a connection without a /print or /pair request is closed
    std::chrono::milliseconds lifetime{65'000}; ///< of any connection
    std::size_t draining = 32; ///< answered connections that still read what the client sends
    std::chrono::milliseconds drainTime{2'000};
    std::size_t drainBytes = 262'144; ///< per connection
};

/// The loopback HTTP/1.1 server: one request a connection. Owned by the delegate; created, set up and destroyed on the
/// main queue, the latter also by its own handler. Connections, their timers and sends run on a thread of its own named
/// after "com.harrowmint.printer.http".
class PrinterServer {
public:
    static constexpr std::uint16_t defaultPort = 9100;

    using Handler = std::function<void(const HTTPRequest&, ReplyCallback)>;
    using Status = std::function<void(const QString&, bool)>;

    /// `main` is the queue on which `handler` and `status` are called; it must outlive the server.
    explicit PrinterServer(SerialQueue& main, std::uint16_t port = defaultPort, const PrinterServerLimits& limits = {});
    ~PrinterServer();
    PrinterServer(const PrinterServer&) = delete;
    PrinterServer& operator=(const PrinterServer&) = delete;

    /// Gets each complete request with its reply callback; set before `start`. Without one every request gets a 503.
    /// Must not throw.
    Handler handler;
    /// Gets the listener's state as a text for people and whether it is well; set before `start`.
    Status status;

    /// Listens on 127.0.0.1. Throws std::system_error only when no socket or thread can be had; a port that is taken is
    /// told through `status`. Another call tries again; it does nothing to a server that has come to listen.
    void start();
    /// The port listened on: the one asked for, or the one the system chose for 0. After `start`.
    [[nodiscard]] std::uint16_t port() const;

private:
    class Implementation;
    std::shared_ptr<Implementation> m_implementation;
};

} // namespace harrowmint
