#pragma once

#include "transports/macos/bluetooth/CoreBluetoothPort.h"

namespace harrowmint {

/// The system's own CoreBluetooth, as a client of its own. Its objects live on a dispatch queue of their own, on which
/// the events come; every call waits for that queue, which itself never waits. The user is not asked to switch
/// Bluetooth on; the first port asks for permission to use it.
[[nodiscard]] std::unique_ptr<CoreBluetoothPort> makeSystemCoreBluetooth(CoreBluetoothEvents& events);

} // namespace harrowmint
