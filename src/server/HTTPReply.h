#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace harrowmint {

/// The one answer to a request. A plain value; any thread.
struct HTTPReply {
    int status = 0; ///< HTTP status code
    QString message; ///< for the cashier, shown by the store page
    std::optional<QString> origin{}; ///< the store origin echoed in the CORS headers
    bool preflight = false; ///< answers a CORS preflight
    bool privateNetwork = false; ///< the preflight asked for Private Network Access and gets it

    bool operator==(const HTTPReply&) const = default;

    /// The complete HTTP/1.1 response; the connection closes after it.
    [[nodiscard]] QByteArray encoded() const;
};

} // namespace harrowmint
