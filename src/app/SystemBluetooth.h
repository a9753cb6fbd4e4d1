#pragma once

#include "app/BluetoothTransports.h"

namespace harrowmint {

/// The Bluetooth ports of the system that the agent runs on: the one place where a platform is chosen, with a source
/// file for each.
[[nodiscard]] BluetoothPorts systemBluetooth();

} // namespace harrowmint
