#include "guard/RecentPrintFile.h"

#include "base/CanonicalJSON.h"
#include "base/JSONDocument.h"
#include "base/JSONFields.h"
#include "base/PrinterError.h"

#include <algorithm>
#include <cmath>

namespace harrowmint {

namespace {

using std::chrono::microseconds;

/// 2001-01-01 00:00:00 UTC.
constexpr RecentPrint::Date referenceDate{std::chrono::seconds(978'307'200)};
constexpr std::chrono::seconds farthest(4'000'000'000);
constexpr double microsecondsPerSecond = 1e6;

double encodedDate(RecentPrint::Date date)
{
    const auto sinceReference = std::chrono::round<microseconds>(nearestStorableDate(date) - referenceDate);
    return static_cast<double>(sinceReference.count()) / microsecondsPerSecond;
}

std::optional<RecentPrint::Date> decodedDate(const JSONValue& value)
{
    const std::optional<double> seconds = value.number();
    if (!seconds || std::abs(*seconds) > std::chrono::duration<double>(farthest).count())
        return std::nullopt;
    const microseconds sinceReference(std::llround(*seconds * microsecondsPerSecond));
    return referenceDate + std::chrono::duration_cast<RecentPrint::Date::duration>(sinceReference);
}

QByteArray encoded(const RecentPrint& print)
{
    JSONObjectWriter writer;
    writer.text(QStringLiteral("key"), print.key);
    writer.number(QStringLiteral("date"), encodedDate(print.date));
    if (print.transferred)
        writer.boolean(QStringLiteral("transferred"), *print.transferred);
    if (print.completedAt)
        writer.number(QStringLiteral("completedAt"), encodedDate(*print.completedAt));
    return writer.finish();
}

RecentPrint decoded(const JSONValue& entry)
{
    const auto object = entry.object();
    if (!object)
        throw PrinterError(QStringLiteral("A remembered print is not a JSON object."));
    return {
        .key = requiredField(*object, "key", [](const JSONValue& value) { return value.string(); }),
        .date = requiredField(*object, "date", decodedDate),
        .transferred = optionalField(*object, "transferred", [](const JSONValue& value) { return value.boolean(); }),
        .completedAt = optionalField(*object, "completedAt", decodedDate),
    };
}

} // namespace

RecentPrint::Date nearestStorableDate(RecentPrint::Date date)
{
    return std::clamp(date, referenceDate - farthest, referenceDate + farthest);
}

QByteArray encodedRecentPrints(const std::vector<RecentPrint>& list)
{
    std::vector<QByteArray> entries;
    entries.reserve(list.size());
    for (const RecentPrint& print : list)
        entries.push_back(encoded(print));
    return jsonArray(entries);
}

std::vector<RecentPrint> decodedRecentPrints(const QByteArray& bytes)
{
    const JSONDocument document(bytes);
    const auto entries = document.root().array();
    if (!entries)
        throw PrinterError(QStringLiteral("The remembered prints are not a JSON array."));
    std::vector<RecentPrint> result;
    result.reserve(entries->size());
    for (const JSONValue& entry : *entries)
        result.push_back(decoded(entry));
    return result;
}

} // namespace harrowmint
