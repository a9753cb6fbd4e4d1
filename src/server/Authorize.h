#pragma once

#include "server/HTTPReply.h"
#include "server/HTTPRequest.h"
#include "settings/PrinterSettings.h"

#include <QString>
#include <cstdint>
#include <variant>

namespace harrowmint {

/// An approved store sent a print request.
struct PrintReceipt {
    QString origin;
    bool operator==(const PrintReceipt&) const = default;
};

/// A store asks to be approved.
struct Pair {
    QString origin;
    bool operator==(const Pair&) const = default;
};

/// What becomes of a request: answered at once, printed, or brought before the user.
using RequestDecision = std::variant<HTTPReply, PrintReceipt, Pair>;

/// Decides on `request`, sent to `port` on the loopback interface, in a fixed order of checks. Pure; never fails.
[[nodiscard]] RequestDecision authorize(
    const HTTPRequest& request, const PrinterSettings& settings, std::uint16_t port);

} // namespace harrowmint
