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
    /// What readings of the first bytes have found, which those of more need not look for again.
    struct Progress {
        qsizetype searched = 0; ///< the headers do not end before this place
        qsizetype awaited = 0; ///< no request is complete below this size
    };
    /// The same for bytes that come one after the other: `progress`, of the same bytes when they were fewer, is brought
    /// up to date. However small the pieces, the headers are read at most twice.
    [[nodiscard]] static std::optional<HTTPRequest> parse(QByteArrayView data, Progress& progress);
};

} // namespace harrowmint
