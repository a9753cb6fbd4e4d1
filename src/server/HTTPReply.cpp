#include "server/HTTPReply.h"

#include "base/CanonicalJSON.h"

namespace harrowmint {

namespace {

constexpr int noContent = 204;
constexpr int firstFailure = 400;
/// Bytes; a guess that is seldom too small, so that texts rarely have to grow.
constexpr qsizetype roomForTheRest = 512;

QByteArrayView reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case noContent:
        return "No Content";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 409:
        return "Conflict";
    case 415:
        return "Unsupported Media Type";
    case 429:
        return "Too Many Requests";
    case 503:
        return "Service Unavailable";
    default:
        return "Error";
    }
}

QByteArray jsonBody(const HTTPReply& reply)
{
    QByteArray body;
    const QByteArray message = reply.message.toUtf8();
    body.reserve(message.size() + roomForTheRest);
    body += reply.status < firstFailure ? "{\"success\":true,\"message\":" : "{\"success\":false,\"message\":";
    appendJSONString(body, std::string_view(message.constData(), static_cast<std::size_t>(message.size())));
    return body += '}';
}

void appendCORSHeaders(QByteArray& output, const HTTPReply& reply)
{
    if (!reply.origin)
        return;
    output += "Access-Control-Allow-Origin: ";
    output += reply.origin->toUtf8();
    output += "\r\nVary: Origin\r\n";
    if (reply.preflight)
        output += "Access-Control-Allow-Methods: POST\r\nAccess-Control-Allow-Headers: Content-Type, Accept\r\n";
    if (reply.preflight && reply.privateNetwork)
        output += "Access-Control-Allow-Private-Network: true\r\n";
}

} // namespace

QByteArray HTTPReply::encoded() const
{
    const QByteArray body = status == noContent ? QByteArray() : jsonBody(*this);
    QByteArray output;
    output.reserve(body.size() + roomForTheRest);
    output += "HTTP/1.1 ";
    output += QByteArray::number(status);
    output += ' ';
    output += reasonPhrase(status);
    output += "\r\n"
              "Content-Type: application/json\r\n"
              "Cache-Control: no-store\r\n"
              "Connection: close\r\n"
              "X-Content-Type-Options: nosniff\r\n";
    appendCORSHeaders(output, *this);
    output += "Content-Length: ";
    output += QByteArray::number(body.size());
    output += "\r\n\r\n";
    return output += body;
}

} // namespace harrowmint
