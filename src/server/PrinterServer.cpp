#include "server/PrinterServerImplementation.h"

#include "base/PrinterError.h"
#include "server/Platform.h"
#include "server/SocketState.h"

#include <algorithm>
#include <future>
#include <sys/socket.h>

namespace harrowmint {

namespace {

constexpr std::string_view threadLabel = "com.harrowmint.printer.http";
/// Connections wait in the kernel while accepting pauses; a short queue would cost them a second each.
constexpr int backlog = 128;
constexpr std::chrono::milliseconds acceptPause{100};
/// Far more than the work that waits on the server's thread can take.
constexpr std::chrono::milliseconds handOverTime{500};

constexpr QStringView readyText = u"Ready on this Mac · port %1";
constexpr QStringView unavailableText =
    u"Port 9100 is unavailable. Close the other printer agent, then reopen this app.";
constexpr QStringView invalidRequestText = u"Invalid or oversized request.";
constexpr QStringView notReadyText = u"Not ready.";

/// Errors after which a listener never accepts again; all others pass.
bool isFatalToListener(const asio::error_code& error)
{
    return error == asio::error::bad_descriptor || error == asio::error::invalid_argument
        || error == asio::error::not_socket;
}

void answerNotReady(const HTTPRequest&, const ReplyCallback& answer)
{
    answer({.status = 503, .message = notReadyText.toString()});
}

} // namespace

void PrinterServer::Implementation::start()
{
    if (m_thread.joinable())
        return;
    m_acceptor.open(tcp::v4());
    closeOnExec(m_acceptor.native_handle());
    if (listen()) {
        asio::error_code ignored;
        m_acceptor.close(ignored);
        report(unavailableText.toString(), false);
        return;
    }
    m_port = m_acceptor.local_endpoint().port();
    acceptNext();
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        asio::error_code ignored;
        m_acceptor.close(ignored); // else clients would wait for an answer that never comes
        throw;
    }
    report(readyText.toString().arg(m_port), true);
}

/// The listener never shares its port with a living one, but need not wait out the closed connections of an earlier
/// one.
asio::error_code PrinterServer::Implementation::listen()
{
    asio::error_code error;
    m_acceptor.set_option(Acceptor::reuse_address(reuseIsHarmless()), error);
    if (!error) // inherited by every accepted socket
        m_acceptor.set_option(tcp::no_delay(true), error);
    if (!error)
        m_acceptor.bind({asio::ip::address_v4::loopback(), m_port}, error);
    if (!error)
        m_acceptor.listen(backlog, error);
    return error;
}

void PrinterServer::Implementation::run()
{
    nameThisThread(threadLabel);
    m_context.run();
}

void PrinterServer::Implementation::stop()
{
    m_owner = nullptr;
    handOverReplies();
    m_context.stop();
    if (m_thread.joinable())
        m_thread.join();
    asio::error_code ignored;
    m_acceptor.close(ignored);
    for (const ConnectionPointer& connection : everyConnection())
        connection->socket.close(ignored);
    m_connections.clear();
    m_draining.clear();
}

/// Waits until the replies given so far are with the system, which delivers them also after the process has ended.
void PrinterServer::Implementation::handOverReplies()
{
    if (!m_thread.joinable())
        return;
    const auto handedOver = std::make_shared<std::promise<void>>();
    asio::post(m_context, [handedOver] { handedOver->set_value(); });
    handedOver->get_future().wait_for(handOverTime);
}

void PrinterServer::Implementation::report(const QString& text, bool ok)
{
    m_main.async([weak = weak_from_this(), text, ok] {
        const auto self = weak.lock();
        if (self && self->m_owner && self->m_owner->status)
            self->m_owner->status(text, ok);
    });
}

std::vector<ConnectionPointer> PrinterServer::Implementation::everyConnection() const
{
    std::vector<ConnectionPointer> all(m_draining.begin(), m_draining.end());
    for (const auto& [id, connection] : m_connections)
        all.push_back(connection);
    return all;
}

// Accepting

void PrinterServer::Implementation::acceptNext()
{
    m_acceptor.async_accept(
        [this](const asio::error_code& error, Socket socket) { accepted(error, std::move(socket)); });
}

void PrinterServer::Implementation::accepted(const asio::error_code& error, Socket socket)
{
    if (error == asio::error::operation_aborted)
        return; // of a start that failed: the listener has been closed
    if (!error) {
        accept(std::move(socket));
        acceptNext();
    } else if (isFatalToListener(error)) {
        asio::error_code ignored;
        m_acceptor.close(ignored);
        report(unavailableText.toString(), false);
    } else {
        // Out of descriptors, most likely: the waiting connection would make the listener ready at once, again and
        // again.
        m_acceptTimer.expires_after(acceptPause);
        m_acceptTimer.async_wait([this](const asio::error_code&) { acceptNext(); });
    }
}

void PrinterServer::Implementation::accept(Socket socket)
{
    closeOnExec(socket.native_handle());
    if (m_connections.size() >= m_limits.connections)
        return; // closes it
    const auto connection = std::make_shared<Connection>(m_nextId++, std::move(socket));
    m_connections.emplace(connection->id, connection);
    closeAt(connection, connection->acceptedAt + std::min(m_limits.idle, m_limits.lifetime));
    receive(connection);
}

// Reading

void PrinterServer::Implementation::receive(const ConnectionPointer& connection)
{
    // One byte more than a request may have is enough to refuse it.
    const qsizetype room = std::min(maximumReadBytes, HTTPRequest::maximumBytes + 1 - connection->transferred);
    if (connection->buffer.isEmpty() && !m_spareBuffers.empty()) {
        connection->buffer = std::move(m_spareBuffers.back());
        m_spareBuffers.pop_back();
    }
    connection->buffer.resize(connection->transferred + room);
    connection->socket.async_read_some(
        asio::buffer(connection->buffer.data() + connection->transferred, static_cast<std::size_t>(room)),
        [this, connection](const asio::error_code& error, std::size_t bytes) {
            if (!isOpen(connection))
                return;
            if (error)
                return close(connection); // also at the peer's end: it has sent no complete request
            connection->transferred += static_cast<qsizetype>(bytes);
            received(connection);
        });
}

void PrinterServer::Implementation::received(const ConnectionPointer& connection)
{
    try {
        const QByteArrayView data(connection->buffer.constData(), connection->transferred);
        if (std::optional<HTTPRequest> request = HTTPRequest::parse(data, connection->progress))
            handOver(connection, *std::move(request));
        else
            receive(connection);
    } catch (const PrinterError&) {
        reply(connection->id, {.status = 400, .message = invalidRequestText.toString()});
    }
}

void PrinterServer::Implementation::handOver(const ConnectionPointer& connection, HTTPRequest request)
{
    connection->waitsForPrinterOrUser =
        request.path == QStringLiteral("/print") || request.path == QStringLiteral("/pair");
    connection->maySendMore = !request.body.isEmpty();
    if (connection->buffer.size() == maximumReadBytes && m_spareBuffers.size() < m_limits.connections)
        m_spareBuffers.push_back(std::move(connection->buffer));
    connection->buffer = {};
    if (connection->waitsForPrinterOrUser)
        closeOnFailure(connection);
    m_requests.emplace_back(std::move(request), replyCallback(connection->id));
    if (m_requests.size() == 1)
        asio::post(m_context, [this] { handOver(std::exchange(m_requests, {})); });
}

/// All that came in one round of the loop wake the main queue once.
void PrinterServer::Implementation::handOver(Requests requests)
{
    m_main.async([weak = weak_from_this(), requests = std::move(requests)] {
        if (const auto self = weak.lock())
            self->handle(requests);
    });
}

void PrinterServer::Implementation::handle(const Requests& requests)
{
    if (!m_owner)
        return;
    // A copy: a call may destroy the server.
    const Handler handler = m_owner->handler ? m_owner->handler : answerNotReady;
    for (const auto& [request, answer] : requests) {
        if (m_owner)
            handler(request, answer);
    }
}

// Replying

ReplyCallback PrinterServer::Implementation::replyCallback(std::uint64_t id)
{
    return ReplyCallback(
        [weak = weak_from_this(), id](const HTTPReply& answer) {
            if (const auto self = weak.lock())
                asio::post(self->m_context, [self = self.get(), id, answer] { self->reply(id, answer); });
        },
        [weak = weak_from_this(), id] {
            if (const auto self = weak.lock())
                asio::post(self->m_context, [self = self.get(), id] { self->abandon(id); });
        });
}

void PrinterServer::Implementation::reply(std::uint64_t id, const HTTPReply& reply)
{
    const ConnectionPointer connection = openConnection(id);
    if (!connection)
        return;
    connection->buffer = reply.encoded();
    connection->transferred = 0;
    sendRest(connection);
}

void PrinterServer::Implementation::sendRest(const ConnectionPointer& connection)
{
    const QByteArrayView rest = QByteArrayView(connection->buffer).sliced(connection->transferred);
    connection->socket.async_send(asio::buffer(rest.data(), static_cast<std::size_t>(rest.size())), lastBytesFlags(),
        [this, connection](const asio::error_code& error, std::size_t bytes) {
            if (!isOpen(connection))
                return;
            if (error)
                return close(connection);
            connection->transferred += static_cast<qsizetype>(bytes);
            if (connection->transferred < connection->buffer.size())
                sendRest(connection);
            else if (connection->maySendMore || hasUnreadBytes(connection->socket.native_handle()))
                drain(connection);
            else
                close(connection);
        });
}

// Closing

void PrinterServer::Implementation::sweepBy(Clock::time_point deadline)
{
    if (m_sweepIsDue && m_sweepTimer.expiry() <= deadline)
        return;
    m_sweepIsDue = true;
    m_sweepTimer.expires_at(deadline);
    m_sweepTimer.async_wait([this](const asio::error_code& error) {
        if (!error)
            sweep();
    });
}

void PrinterServer::Implementation::sweep()
{
    m_sweepIsDue = false;
    const Clock::time_point now = Clock::now();
    for (const ConnectionPointer& connection : everyConnection()) {
        if (connection->deadline <= now)
            expired(connection);
        else
            sweepBy(connection->deadline);
    }
}

void PrinterServer::Implementation::expired(const ConnectionPointer& connection)
{
    const Clock::time_point end = connection->acceptedAt + m_limits.lifetime;
    if (isOpen(connection) && connection->waitsForPrinterOrUser && Clock::now() < end)
        closeAt(connection, end);
    else
        close(connection);
}

/// While the handler works nobody reads, so that a reset connection would hold its place until its lifetime is over.
void PrinterServer::Implementation::closeOnFailure(const ConnectionPointer& connection)
{
    connection->socket.async_wait(Socket::wait_error, [this, connection](const asio::error_code& error) {
        if (error || !isOpen(connection))
            return;
        if (hasFailed(connection->socket.native_handle()))
            return close(connection);
        char urgent = 0; // an urgent byte ends the wait as well, until it is taken
        static_cast<void>(::recv(connection->socket.native_handle(), &urgent, 1, MSG_OOB));
        closeOnFailure(connection);
    });
}

/// Does nothing to a connection that is closed.
void PrinterServer::Implementation::close(const ConnectionPointer& connection)
{
    if (m_connections.erase(connection->id) == 0)
        m_draining.remove(connection);
    asio::error_code ignored;
    connection->socket.close(ignored);
}

/// Closing a socket with unread bytes resets the connection, and the peer may lose the reply that it was about to read.
void PrinterServer::Implementation::drain(const ConnectionPointer& connection)
{
    asio::error_code ignored;
    connection->socket.shutdown(Socket::shutdown_send, ignored);
    m_connections.erase(connection->id);
    m_draining.push_back(connection);
    if (m_draining.size() > m_limits.draining)
        close(ConnectionPointer(m_draining.front()));
    if (!connection->socket.is_open())
        return;
    closeAt(connection, Clock::now() + m_limits.drainTime);
    discard(connection);
}

void PrinterServer::Implementation::discard(const ConnectionPointer& connection)
{
    const std::size_t room = std::min(m_discarded.size(), m_limits.drainBytes - connection->drained);
    if (room == 0)
        return close(connection);
    connection->socket.async_read_some(
        asio::buffer(m_discarded.data(), room), [this, connection](const asio::error_code& error, std::size_t bytes) {
            if (error)
                return close(connection);
            connection->drained += bytes;
            discard(connection);
        });
}

// The server

PrinterServer::PrinterServer(SerialQueue& main, std::uint16_t port, const PrinterServerLimits& limits)
    : m_implementation(std::make_shared<Implementation>(*this, main, port, limits))
{
}

PrinterServer::~PrinterServer()
{
    Q_ASSERT(m_implementation->onMain());
    m_implementation->stop();
}

void PrinterServer::start()
{
    Q_ASSERT(m_implementation->onMain());
    m_implementation->start();
}

std::uint16_t PrinterServer::port() const
{
    return m_implementation->port();
}

} // namespace harrowmint
