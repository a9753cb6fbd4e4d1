#include "server/Authorize.h"

#include "base/PrinterError.h"
#include "server/Blanks.h"

#include <QStringList>
#include <algorithm>

namespace harrowmint {

namespace {

HTTPReply refusal(int status, QStringView message, const std::optional<QString>& origin = std::nullopt)
{
    return {.status = status, .message = message.toString(), .origin = origin};
}

/// Whether `origin` is a store origin written exactly as the settings would write it.
bool isExactOrigin(const QString& origin)
{
    try {
        return PrinterSettings::origin(origin) == origin;
    } catch (const PrinterError&) {
        return false;
    }
}

bool isGrantedHeader(const QString& piece)
{
    const QStringView name = withoutBlanks(piece);
    return name == u"content-type" || name == u"accept";
}

HTTPReply answerPreflight(const HTTPRequest& request, const QString& origin)
{
    const QStringList requested = request.header(QStringLiteral("access-control-request-headers"))
                                      .value_or(QString())
                                      .toLower()
                                      .split(u',', Qt::SkipEmptyParts);
    if (request.header(QStringLiteral("access-control-request-method")) != QStringLiteral("POST")
        || !std::all_of(requested.begin(), requested.end(), isGrantedHeader))
        return refusal(403, u"Unsupported preflight.", origin);
    const bool privateNetwork =
        request.header(QStringLiteral("access-control-request-private-network")) == QStringLiteral("true");
    return {.status = 204, .message = {}, .origin = origin, .preflight = true, .privateNetwork = privateNetwork};
}

/// Only such a request makes a browser ask for the store page's permission first.
bool isJSONPost(const HTTPRequest& request)
{
    const QStringList pieces =
        request.header(QStringLiteral("content-type")).value_or(QString()).toLower().split(u';', Qt::SkipEmptyParts);
    return request.method == QStringLiteral("POST") && !pieces.isEmpty()
        && withoutBlanks(pieces.first()) == u"application/json";
}

} // namespace

RequestDecision authorize(const HTTPRequest& request, const PrinterSettings& settings, std::uint16_t port)
{
    if (request.header(QStringLiteral("host")) != QStringLiteral("127.0.0.1:%1").arg(port))
        return refusal(403, u"Loopback host required.");
    if (request.method == QStringLiteral("GET") && request.path == QStringLiteral("/health"))
        return HTTPReply{.status = 200, .message = QStringLiteral("Harrowmint Printer is running.")};
    const bool pairing = request.path == QStringLiteral("/pair");
    if (!pairing && request.path != QStringLiteral("/print"))
        return refusal(404, u"Not found.");

    const std::optional<QString> sent = request.header(QStringLiteral("origin"));
    if (!sent || !isExactOrigin(*sent))
        return refusal(403, u"An exact HTTPS store origin is required.");
    const QString& origin = *sent;

    if (request.method == QStringLiteral("OPTIONS"))
        return answerPreflight(request, origin);
    if (!isJSONPost(request))
        return refusal(415, u"POST JSON required.", origin);
    if (settings.paused)
        return refusal(503, u"Resume printing in Harrowmint Printer.", origin);
    if (pairing)
        return Pair{origin};
    if (!settings.origins.contains(origin))
        return refusal(428, u"Connect this store in Harrowmint Printer before printing.", origin);
    return PrintReceipt{origin};
}

} // namespace harrowmint
