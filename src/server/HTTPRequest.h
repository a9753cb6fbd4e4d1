#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <map>
#include <optional>

namespace harrowmint {

/// The one HTTP/1.1 request that a connection carries (RFC 9112, a strict subset). A plain value; any thread.
struct HTTPRequest {
    /// More bytes than these are refused whatever they say.
    static constexpr qsizetype maximumBytes = 140'000;

    QString method; ///< "GET", "POST" or "OPTIONS"
    QString path; ///< the request target exactly as sent
    std::map<QString, QString> headers; ///< names in lower case, values without blanks and tabs at the ends
    QByteArray body; ///< exactly Content-Length bytes

    bool operator==(const HTTPRequest&) const = default;

    /// The header's value; nothing when it was not sent.
    [[nodiscard]] std::optional<QString> header(const QString& name) const;

    /// Reads all bytes received so far. Returns the request when it is complete, nothing when more bytes are needed;
    /// throws PrinterError, whose sentence is never shown to the client, when it can never become one. Pure.
    [[nodiscard]] static std::optional<HTTPRequest> parse(QByteArrayView data);
};

} // namespace harrowmint
