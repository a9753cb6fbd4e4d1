#pragma once

#include "guard/PrintGuard.h"

#include <QByteArray>
#include <vector>

namespace harrowmint {

/// The remembered prints as the guard's file holds them: a JSON array, dates as seconds since 2001-01-01 00:00:00 UTC
/// to the microsecond. A date beyond what can be read back is written as the farthest that can.
[[nodiscard]] QByteArray encodedRecentPrints(const std::vector<RecentPrint>& list);

/// Reads such a file. Throws PrinterError when it is anything else, also for a date more than 8 000 000 000 s
/// (253 years) away from 2001.
[[nodiscard]] std::vector<RecentPrint> decodedRecentPrints(const QByteArray& bytes);

} // namespace harrowmint
