#pragma once

#include "server/PrinterServer.h"

// Asio takes seconds to compile: nothing but PrinterServer.cpp includes this header.
#define ASIO_STANDALONE
#define ASIO_NO_DEPRECATED
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <list>
#include <map>
#include <thread>
#include <vector>

namespace harrowmint {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;
// Of one known executor: with asio's type-erased one each operation costs several indirect copies.
using Executor = asio::io_context::executor_type;
using Socket = asio::basic_stream_socket<tcp, Executor>;
using Acceptor = asio::basic_socket_acceptor<tcp, Executor>;
using ServerTimer = asio::basic_waitable_timer<Clock, asio::wait_traits<Clock>, Executor>;

inline constexpr qsizetype maximumReadBytes = 16'384;

/// One accepted connection. It counts among the open ones while its request is read, handled and answered; then it
/// drains: what the client still sends is read and discarded until the client ends. A client that has sent all it had
/// is spared that.
struct Connection {
    Connection(std::uint64_t number, Socket accepted)
        : id(number)
        , socket(std::move(accepted))
    {
    }

    const std::uint64_t id;
    Socket socket;
    const Clock::time_point acceptedAt = Clock::now();
    Clock::time_point deadline; ///< when it is closed at the latest
    bool waitsForPrinterOrUser = false; ///< exempt from the idle limit
    bool maySendMore = true; ///< false once a whole request without a body has come
    QByteArray buffer; ///< the request as received so far, later the encoded reply
    qsizetype transferred = 0; ///< bytes in `buffer` that were received, later those that were sent
    HTTPRequest::Progress progress; ///< of reading the request
    std::size_t drained = 0; ///< bytes discarded after the reply
};
using ConnectionPointer = std::shared_ptr<Connection>;

/// The server's sockets and thread; `PrinterServer` holds it, reply callbacks hold it weakly.
/// Everything from `m_context` on belongs to the server's thread while that runs, else to the main queue.
/// Completion handlers may use `this`: they only run on that thread, which `stop` ends.
class PrinterServer::Implementation : public std::enable_shared_from_this<Implementation> {
public:
    Implementation(PrinterServer& owner, SerialQueue& main, std::uint16_t port, const PrinterServerLimits& limits)
        : m_owner(&owner)
        , m_main(main)
        , m_limits(limits)
        , m_port(port)
    {
    }

    /// Opens the listener and starts the thread. Main queue; throws std::system_error when no socket can be made.
    void start();
    /// Ends the thread and closes every socket; afterwards neither the handler nor the status is called. Main queue.
    void stop();
    void handOverReplies();
    [[nodiscard]] std::uint16_t port() const { return m_port; }
    [[nodiscard]] bool onMain() const { return m_main.isCurrent(); }

private:
    using Requests = std::vector<std::pair<HTTPRequest, ReplyCallback>>;

    asio::error_code listen();
    void run();
    void report(const QString& text, bool ok);

    void acceptNext();
    void accepted(const asio::error_code& error, Socket socket);
    void accept(Socket socket);
    void receive(const ConnectionPointer& connection);
    void received(const ConnectionPointer& connection);
    void handOver(const ConnectionPointer& connection, HTTPRequest request);
    void handOver(Requests requests);
    void handle(const Requests& requests);
    ReplyCallback replyCallback(std::uint64_t id);
    void reply(std::uint64_t id, const HTTPReply& reply);
    void sendRest(const ConnectionPointer& connection);
    void abandon(std::uint64_t id)
    {
        if (const ConnectionPointer connection = openConnection(id))
            close(connection);
    }
    /// Replaces any earlier deadline.
    void closeAt(const ConnectionPointer& connection, Clock::time_point deadline)
    {
        connection->deadline = deadline;
        sweepBy(deadline);
    }
    void sweepBy(Clock::time_point deadline);
    void sweep();
    void expired(const ConnectionPointer& connection);
    void closeOnFailure(const ConnectionPointer& connection);
    void close(const ConnectionPointer& connection);
    void drain(const ConnectionPointer& connection);
    void discard(const ConnectionPointer& connection);

    /// None when it was closed or answered in the meantime.
    [[nodiscard]] ConnectionPointer openConnection(std::uint64_t id) const
    {
        const auto found = m_connections.find(id);
        return found == m_connections.end() ? nullptr : found->second;
    }
    [[nodiscard]] std::vector<ConnectionPointer> everyConnection() const;
    [[nodiscard]] bool isOpen(const ConnectionPointer& connection) const
    {
        return m_connections.contains(connection->id);
    }

    PrinterServer* m_owner; ///< main queue only; none once the server is gone
    SerialQueue& m_main;
    const PrinterServerLimits m_limits;
    std::uint16_t m_port; ///< written before the thread starts
    std::thread m_thread;

    asio::io_context m_context{1};
    asio::executor_work_guard<asio::io_context::executor_type> m_work{m_context.get_executor()};
    Acceptor m_acceptor{m_context};
    ServerTimer m_acceptTimer{m_context};
    /// One timer for all connections: it is rarely set, because it may run for one that is gone already.
    ServerTimer m_sweepTimer{m_context};
    bool m_sweepIsDue = false;
    std::map<std::uint64_t, ConnectionPointer> m_connections;
    std::list<ConnectionPointer> m_draining; ///< the oldest first
    std::uint64_t m_nextId = 0;
    Requests m_requests; ///< read, and not yet with the main queue
    /// Of requests that have been read. A new one of this size costs the allocator more than all else of a request.
    std::vector<QByteArray> m_spareBuffers;
    std::array<char, maximumReadBytes> m_discarded; ///< what draining connections read, never looked at
};

} // namespace harrowmint
