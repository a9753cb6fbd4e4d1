#include "server/HTTPReply.h"

#include "base/CanonicalJSON.h"

namespace harrowmint {

namespace {

constexpr int noContent = 204;
constexpr int firstFailure = 400;

QByteArray reasonPhrase(int status)
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
    QByteArray body =
        reply.status < firstFailure ? "{\"success\":true,\"message\":" : "{\"success\":false,\"message\":";
    const QByteArray message = reply.message.toUtf8();
    appendJSONString(body, std::string_view(message.constData(), static_cast<std::size_t>(message.size())));
    return body + '}';
}

QByteArray corsHeaders(const HTTPReply& reply)
{
    if (!reply.origin)
        return {};
    QByteArray headers = "Access-Control-Allow-Origin: " + reply.origin->toUtf8() + "\r\nVary: Origin\r\n";
    if (reply.preflight)
        headers += "Access-Control-Allow-Methods: POST\r\nAccess-Control-Allow-Headers: Content-Type, Accept\r\n";
    if (reply.preflight && reply.privateNetwork)
        headers += "Access-Control-Allow-Private-Network: true\r\n";
    return headers;
}

} // namespace

QByteArray HTTPReply::encoded() const
{
    const QByteArray body = status == noContent ? QByteArray() : jsonBody(*this);
    return "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status)
        + "\r\n"
          "Content-Type: application/json\r\n"
          "Cache-Control: no-store\r\n"
          "Connection: close\r\n"
          "X-Content-Type-Options: nosniff\r\n"
        + corsHeaders(*this) + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace harrowmint
