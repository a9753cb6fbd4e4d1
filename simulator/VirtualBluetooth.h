#pragma once

#include "app/BluetoothTransports.h"

#include <QString>

namespace harrowmint {

/// The addresses of the virtual Bluetooth printers, and their names.
inline const QString virtualReceiptPort = QStringLiteral("ble:6F1A2B3C-0001-4000-8000-0000000000D1");
inline const QString virtualLabelPort = QStringLiteral("ble:6F1A2B3C-0001-4000-8000-0000000000D2");
inline const QString virtualSerialPort = QStringLiteral("spp:0200000000D3");
inline const QString virtualReceiptName = QStringLiteral("Harrowmint Virtual LE Receipt Printer");
inline const QString virtualLabelName = QStringLiteral("Harrowmint Virtual Label Printer");
inline const QString virtualSerialName = QStringLiteral("Harrowmint Virtual Serial Printer");

/// Bluetooth with three virtual printers in reach, whose papers go to `folder`: a receipt printer and a label printer
/// over LE, and a paired serial receipt printer.
[[nodiscard]] BluetoothPorts virtualBluetooth(const QString& folder);

} // namespace harrowmint
