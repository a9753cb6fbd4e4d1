#include "simulator/VirtualBluetooth.h"

#include "simulator/VirtualLE.h"
#include "simulator/VirtualSerial.h"
#include "transports/BluetoothPort.h"

namespace harrowmint {

namespace {

constexpr LEChannel receiptChannel{0x18F0, 0x2AF1};
constexpr LEChannel labelChannel{0xFF00, 0xFF02};

} // namespace

BluetoothPorts virtualBluetooth(const QString& folder)
{
    const std::vector<VirtualLEPrinter> printers{
        {*BluetoothPort::leIdentifier(virtualReceiptPort), virtualReceiptName, receiptChannel, folder,
            QStringLiteral("receipt")},
        {*BluetoothPort::leIdentifier(virtualLabelPort), virtualLabelName, labelChannel, folder,
            QStringLiteral("label")},
    };
    return {
        .lowEnergy = [printers](SerialQueue& queue) { return virtualLE(queue, printers); },
        .serial =
            [folder](SerialQueue& queue) {
                return virtualSerial(
                    queue, {*BluetoothPort::serialAddress(virtualSerialPort), virtualSerialName, folder});
            },
    };
}

} // namespace harrowmint
