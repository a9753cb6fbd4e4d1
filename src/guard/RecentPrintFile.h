#pragma once

#include "guard/PrintGuard.h"

#include <QByteArray>
#include <vector>

namespace harrowmint {

/// `date`, or the nearest one that a guard can remember: at most 4 000 000 000 s (126 years) away from 2001, so that
/// every platform's clock holds each of them and the difference of any two.
[[nodiscard]] RecentPrint::Date nearestStorableDate(RecentPrint::Date date);

/// The remembered prints as the guard's file holds them: a JSON array, dates as seconds since 2001-01-01 00:00:00 UTC
/// to the microsecond.
[[nodiscard]] QByteArray encodedRecentPrints(const std::vector<RecentPrint>& list);

/// Reads such a file. Throws PrinterError when it is anything else, also when it holds a date that is not storable.
[[nodiscard]] std::vector<RecentPrint> decodedRecentPrints(const QByteArray& bytes);

} // namespace harrowmint
