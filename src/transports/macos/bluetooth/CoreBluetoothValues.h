#pragma once

#include "transports/bluetooth/LECentral.h"

#include <QtCore/qglobal.h>
#include <optional>
#include <vector>

Q_FORWARD_DECLARE_OBJC_CLASS(CBCharacteristic);
Q_FORWARD_DECLARE_OBJC_CLASS(CBPeripheral);
Q_FORWARD_DECLARE_OBJC_CLASS(CBService);
Q_FORWARD_DECLARE_OBJC_CLASS(CBUUID);
Q_FORWARD_DECLARE_OBJC_CLASS(NSArray);
Q_FORWARD_DECLARE_OBJC_CLASS(NSString);

/// CoreBluetooth's objects as plain values, and the objects that a value names. On the dispatch queue of the objects,
/// within an autorelease pool. Objects without an assigned number are left out.
namespace harrowmint::coreBluetooth {

[[nodiscard]] CBUUID* uuidOf(GattUuid number);
[[nodiscard]] std::optional<GattUuid> numberOf(CBUUID* uuid);
/// Empty for nil.
[[nodiscard]] QString textOf(NSString* text);

[[nodiscard]] QUuid identifierOf(CBPeripheral* peripheral);
[[nodiscard]] LEPeripheral valueOf(CBPeripheral* peripheral);
[[nodiscard]] LEPeripheralState stateOf(CBPeripheral* peripheral);

/// Of an array of CBService; nil counts as empty.
[[nodiscard]] std::vector<GattUuid> numbersOf(NSArray* services);
[[nodiscard]] std::vector<LECharacteristic> characteristicsOf(CBService* service);
/// The place of a characteristic on its peripheral.
[[nodiscard]] std::optional<LEChannel> channelOf(CBCharacteristic* characteristic);

/// The first discovered service with this number, and its characteristic; nil when there is none.
[[nodiscard]] CBService* findService(CBPeripheral* peripheral, GattUuid number);
[[nodiscard]] CBCharacteristic* findCharacteristic(CBPeripheral* peripheral, const LEChannel& channel);

} // namespace harrowmint::coreBluetooth
