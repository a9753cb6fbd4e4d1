#pragma once

#include "base/SerialQueue.h"
#include "transports/bluetooth/LECentral.h"

#include <QString>
#include <QUuid>
#include <vector>

namespace harrowmint {

/// A virtual LE printer: always on, in reach and quick. A plain value.
struct VirtualLEPrinter {
    QUuid identifier;
    QString name;
    LEChannel channel; ///< where it takes both kinds of write, of at most 182 bytes
    QString folder; ///< where its papers go
    QString kind; ///< of paper: the beginning of their names
};

/// Makes centrals whose world is `printers`, for an owner on `queue`. Whenever the owner closes the channel, what it
/// has written is one job. Each central has its own set of these printers.
[[nodiscard]] LECentralFactory virtualLE(SerialQueue& queue, std::vector<VirtualLEPrinter> printers);

} // namespace harrowmint
