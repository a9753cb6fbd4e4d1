#pragma once

#include "transports/macos/bluetooth/IOBluetoothPort.h"

namespace harrowmint {

/// The system's own IOBluetooth. Made and used on the main thread, which runs its run loop.
[[nodiscard]] std::unique_ptr<IOBluetoothPort> makeSystemIOBluetooth();

} // namespace harrowmint
