#include "transports/LEPrinterKind.h"

#include <algorithm>

namespace harrowmint {

namespace {

using std::chrono::milliseconds;

/// The initialise command, which opens every stream.
constexpr qsizetype openingBytes = 2;
constexpr milliseconds shortestPause{2};
constexpr int bytesPerMillisecond = 12;

} // namespace

std::vector<GattUuid> servicesOf(const LEPrinterKind& kind)
{
    std::vector<GattUuid> services;
    for (const LEChannel& channel : kind.channels)
        services.push_back(channel.service);
    return services;
}

LEWriteType writeTypeFor(const LEPrinterKind& kind, const LECharacteristic& characteristic)
{
    if (kind.preferredWrite == LEWriteType::withResponse)
        return characteristic.write ? LEWriteType::withResponse : LEWriteType::withoutResponse;
    return characteristic.writeWithoutResponse ? LEWriteType::withoutResponse : LEWriteType::withResponse;
}

milliseconds pauseAfter(const LEPrinterKind& kind, LEWriteType type, int count, qsizetype offset)
{
    if (kind.openingPause && offset == openingBytes)
        return *kind.openingPause;
    if (type == LEWriteType::withResponse)
        return shortestPause;
    // Nothing behind the link holds the sender back: the pause keeps the printer's buffer from running over.
    return std::max(milliseconds((count + bytesPerMillisecond - 1) / bytesPerMillisecond), shortestPause);
}

} // namespace harrowmint
