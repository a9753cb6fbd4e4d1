#include "support/HttpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace harrowmint::test {

namespace {

constexpr int silenceSeconds = 60;

QByteArray received(int socket)
{
    QByteArray all;
    char bytes[16384];
    for (;;) {
        const ssize_t count = ::recv(socket, bytes, sizeof bytes, 0);
        if (count <= 0)
            return all;
        all.append(bytes, count);
    }
}

HttpResponse parsed(const QByteArray& raw)
{
    HttpResponse response{.raw = raw, .headerLines = {}, .body = {}};
    const qsizetype end = raw.indexOf("\r\n\r\n");
    if (end < 0)
        return response;
    QByteArray head = raw.left(end);
    head.replace("\r\n", "\n");
    response.headerLines = head.split('\n');
    response.status = response.headerLines.takeFirst().split(' ').value(1).toInt();
    response.body = raw.mid(end + 4);
    return response;
}

} // namespace

QByteArray HttpResponse::header(const QByteArray& name) const
{
    for (const QByteArray& line : headerLines) {
        if (line.startsWith(name + ": "))
            return line.mid(name.size() + 2);
    }
    return {};
}

HttpResponse exchange(std::uint16_t port, const QByteArray& request)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const timeval limit{silenceSeconds, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QByteArray raw;
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
        && ::send(socket, request.constData(), static_cast<std::size_t>(request.size()), MSG_NOSIGNAL)
            == request.size())
        raw = received(socket);
    ::close(socket);
    return parsed(raw);
}

QByteArray pageRequest(std::uint16_t port, const QByteArray& method, const QByteArray& path, const QByteArray& origin,
    const QByteArray& body, const QByteArray& moreHeaderLines)
{
    QByteArray request = method + ' ' + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n";
    if (!origin.isEmpty())
        request += "Origin: " + origin + "\r\n";
    request += moreHeaderLines;
    if (!body.isEmpty())
        request += "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
    return request + "\r\n" + body;
}

} // namespace harrowmint::test
