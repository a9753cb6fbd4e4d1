#pragma once

#include "transports/bluetooth/LECentral.h"

#include <QStringView>
#include <QtGlobal>
#include <chrono>
#include <optional>
#include <span>
#include <vector>

namespace harrowmint {

/// Everything in which receipts and labels over Bluetooth LE differ, but the job's cursor: one constant of this type
/// for each. Sentences marked "+" are shown with the outcome behind them.
struct LEPrinterKind {
    std::span<const LEChannel> channels; ///< tried in this order
    LEWriteType preferredWrite; ///< used where a characteristic offers both
    std::optional<std::chrono::milliseconds> openingPause; ///< replaces the pause after the stream's first 2 bytes
    std::chrono::milliseconds settlePause; ///< after the last chunk, before success
    std::chrono::seconds watchdog; ///< the job's limit
    std::chrono::seconds callerLimit; ///< how long a blocked caller waits

    struct Names {
        QStringView saved; ///< for a saved printer without a name
        QStringView connected; ///< for a connected one without a name
    } names;

    struct Sentences {
        QStringView busy;
        QStringView responseTimedOut; ///< +
        QStringView noResult;
        QStringView turnOn; ///< +
        QStringView servicesUnreadable; ///< +
        QStringView serviceMissing; ///< + none of the services is there
        QStringView channelMissing; ///< + a service is there, but no writable characteristic
        QStringView writeSize; ///< +
        QStringView invalidStream; ///< +
        QStringView transferFailed; ///< +
        QStringView disconnected; ///< +
        QStringView connectFailed; ///< +
        QStringView tooLong; ///< +
        QStringView nothingSent; ///< the outcome when no byte was handed out
    } sentences;
};

/// The services of the kind's channels, in their order.
[[nodiscard]] std::vector<GattUuid> servicesOf(const LEPrinterKind& kind);
/// How a characteristic that offers at least one type of write is written.
[[nodiscard]] LEWriteType writeTypeFor(const LEPrinterKind& kind, const LECharacteristic& characteristic);
/// The pause after a chunk of `count` bytes, with which the stream has come to `offset`, and before the next one.
[[nodiscard]] std::chrono::milliseconds pauseAfter(
    const LEPrinterKind& kind, LEWriteType type, int count, qsizetype offset);

} // namespace harrowmint
