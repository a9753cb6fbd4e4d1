#pragma once

#include "base/SerialQueue.h"
#include "transports/bluetooth/SerialBluetooth.h"

#include <QString>
#include <memory>

namespace harrowmint {

/// A virtual serial printer: paired, always on, in reach and quick. A plain value.
struct VirtualSerialPrinter {
    QString address; ///< six pairs of upper-case hexadecimal digits joined by hyphens
    QString name;
    QString folder; ///< where its papers go
};

/// The devices of a computer that has `printer` paired and nothing else, for an owner on `queue`. What is written from
/// the opening of a channel to its closing is one job.
[[nodiscard]] std::unique_ptr<SerialBluetooth> virtualSerial(SerialQueue& queue, VirtualSerialPrinter printer);

} // namespace harrowmint
