#pragma once

#include "transports/bluetooth/LECentral.h"

#include <QString>
#include <QUuid>

namespace harrowmint::bluez {

/// The identifier of the peripheral with this device address ("AA:BB:CC:DD:EE:FF", either case): its twelve digits
/// after a prefix of zeros. The null identifier when the text is no address.
[[nodiscard]] QUuid identifierOf(const QString& address);
/// The device address ("AA:BB:CC:DD:EE:FF") behind an identifier made by `identifierOf`; empty for all others.
[[nodiscard]] QString addressOf(const QUuid& identifier);
/// The same address joined by colons, in upper case: "aa-bb-cc-dd-ee-ff" becomes "AA:BB:CC:DD:EE:FF".
[[nodiscard]] QString withColons(const QString& address);
/// The full text of an assigned 16-bit number, in lower case.
[[nodiscard]] QString uuidText(GattUuid number);

} // namespace harrowmint::bluez
