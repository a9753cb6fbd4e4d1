#pragma once

#include "base/PrinterError.h"
#include "guard/PrintGuard.h"

#include <QString>

namespace harrowmint::test {

inline const QString alreadySent =
    QStringLiteral("This print request was already sent. Click Receipt again if you need another copy.");
inline const QString requestUncertain = QStringLiteral(
    "This print request has an uncertain outcome. Check the paper, then click Receipt again to start a new attempt.");
inline const QString transferUncertain = QStringLiteral("The previous transfer has an uncertain outcome. Check the "
                                                        "paper before reprinting. You can retry after 90 seconds.");
inline const QString justSent =
    QStringLiteral("This was just sent to the printer. Wait 5 seconds before printing another copy.");
inline const QString tooMany = QStringLiteral("Too many recent print requests. Please wait a moment.");
/// What `outcome` gives for a reservation that is held.
inline const QString held = QStringLiteral("held");

/// The sentence with which a reservation is refused, or `held`.
inline QString outcome(PrintGuard& guard, const QString& key, PrintGuard::Date now, bool requestScoped = false)
{
    try {
        guard.reserve(key, now, requestScoped);
        return held;
    } catch (const PrinterError& error) {
        return error.message();
    }
}

} // namespace harrowmint::test
