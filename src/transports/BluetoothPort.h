#pragma once

#include <QString>
#include <QStringView>
#include <QUuid>
#include <optional>

/// Bluetooth printers as the settings and the printer lists show them: addresses ("ble:…", "spp:…") and names.
namespace harrowmint::BluetoothPort {

/// The most printers that one discovery reports.
inline constexpr int maximumPrinters = 50;
/// The most Unicode scalars of a device's name that are shown.
inline constexpr int maximumNameScalars = 128;

/// "ble:" and the identifier in upper case.
[[nodiscard]] QString le(const QUuid& identifier);
/// The identifier of an acceptable "ble:" address; nothing for any other text.
[[nodiscard]] std::optional<QUuid> leIdentifier(QStringView port);
/// The identifier in the text after the first four characters, whatever these are; nothing when that is no UUID.
[[nodiscard]] std::optional<QUuid> identifierAfterPrefix(QStringView port);

/// "spp:" and the device address in upper case without its separators; nothing when that is not an acceptable address.
[[nodiscard]] std::optional<QString> serial(const QString& address);
/// The device address of an acceptable "spp:" port, its pairs joined by hyphens; nothing for any other text.
[[nodiscard]] std::optional<QString> serialAddress(QStringView port);

/// A device's name for people: without control characters, cut after 128 scalars.
[[nodiscard]] QString displayName(const QString& name);

} // namespace harrowmint::BluetoothPort
