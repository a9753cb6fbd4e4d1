#include "app/SystemBluetooth.h"

#include "transports/linux/bluez/BluezLECentral.h"
#include "transports/linux/bluez/BluezSerialBluetooth.h"

namespace harrowmint {

BluetoothPorts systemBluetooth()
{
    // One maker for both transports, so that they know of each other's use of a printer.
    const auto centrals = std::make_shared<BluezLECentrals>();
    return {
        .lowEnergy = [centrals](SerialQueue& queue) { return centrals->on(queue); },
        .serial = [](SerialQueue& queue) { return std::make_unique<BluezSerialBluetooth>(queue); },
    };
}

} // namespace harrowmint
