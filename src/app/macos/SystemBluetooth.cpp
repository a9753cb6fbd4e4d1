#include "app/SystemBluetooth.h"

#include "transports/macos/bluetooth/CoreBluetoothCentral.h"
#include "transports/macos/bluetooth/IOBluetoothSerial.h"
#include "transports/macos/bluetooth/SystemCoreBluetooth.h"
#include "transports/macos/bluetooth/SystemIOBluetooth.h"

namespace harrowmint {

BluetoothPorts systemBluetooth()
{
    return {
        .lowEnergy = [](SerialQueue& queue) -> LECentralFactory {
            return [&queue](LECentralEvents& events) {
                return std::make_unique<CoreBluetoothCentral>(queue, events, makeSystemCoreBluetooth);
            };
        },
        .serial =
            [](SerialQueue& queue) { return std::make_unique<IOBluetoothSerial>(queue, makeSystemIOBluetooth()); },
    };
}

} // namespace harrowmint
