#include "transports/macos/bluetooth/CoreBluetoothValues.h"

#include "transports/macos/bluetooth/CoreBluetoothPort.h"

#import <CoreBluetooth/CoreBluetooth.h>
#import <Foundation/Foundation.h>

namespace harrowmint::coreBluetooth {

static_assert(int(CBManagerStateUnknown) == stateUnknown);
static_assert(int(CBManagerStateResetting) == stateResetting);
static_assert(int(CBManagerStateUnsupported) == stateUnsupported);
static_assert(int(CBManagerStateUnauthorized) == stateUnauthorized);
static_assert(int(CBManagerStatePoweredOff) == statePoweredOff);
static_assert(int(CBManagerStatePoweredOn) == statePoweredOn);
static_assert(int(CBManagerAuthorizationNotDetermined) == authorizationNotDetermined);
static_assert(int(CBManagerAuthorizationRestricted) == authorizationRestricted);
static_assert(int(CBManagerAuthorizationDenied) == authorizationDenied);
static_assert(int(CBManagerAuthorizationAllowedAlways) == authorizationAllowed);

CBUUID* uuidOf(GattUuid number)
{
    return [CBUUID UUIDWithString:[NSString stringWithFormat:@"%04X", static_cast<unsigned>(number)]];
}

std::optional<GattUuid> numberOf(CBUUID* uuid)
{
    return assignedNumber(QByteArray::fromNSData(uuid.data));
}

QString textOf(NSString* text)
{
    return text == nil ? QString() : QString::fromNSString(text);
}

QUuid identifierOf(CBPeripheral* peripheral)
{
    return QUuid::fromNSUUID(peripheral.identifier);
}

LEPeripheral valueOf(CBPeripheral* peripheral)
{
    return {identifierOf(peripheral), textOf(peripheral.name)};
}

LEPeripheralState stateOf(CBPeripheral* peripheral)
{
    switch (peripheral.state) {
    case CBPeripheralStateConnecting:
        return LEPeripheralState::connecting;
    case CBPeripheralStateConnected:
        return LEPeripheralState::connected;
    case CBPeripheralStateDisconnecting:
        return LEPeripheralState::disconnecting;
    case CBPeripheralStateDisconnected:
        break;
    }
    return LEPeripheralState::disconnected;
}

std::vector<GattUuid> numbersOf(NSArray* services)
{
    std::vector<GattUuid> numbers;
    for (CBService* service in services) {
        if (const auto number = numberOf(service.UUID))
            numbers.push_back(*number);
    }
    return numbers;
}

std::vector<LECharacteristic> characteristicsOf(CBService* service)
{
    std::vector<LECharacteristic> values;
    for (CBCharacteristic* characteristic in service.characteristics) {
        const auto number = numberOf(characteristic.UUID);
        if (!number)
            continue;
        values.push_back({*number, (characteristic.properties & CBCharacteristicPropertyWrite) != 0,
            (characteristic.properties & CBCharacteristicPropertyWriteWithoutResponse) != 0});
    }
    return values;
}

std::optional<LEChannel> channelOf(CBCharacteristic* characteristic)
{
    CBService* service = characteristic.service;
    const auto serviceNumber = service ? numberOf(service.UUID) : std::nullopt;
    const auto number = numberOf(characteristic.UUID);
    if (!serviceNumber || !number)
        return std::nullopt;
    return LEChannel{*serviceNumber, *number};
}

CBService* findService(CBPeripheral* peripheral, GattUuid number)
{
    for (CBService* service in peripheral.services) {
        if ([service.UUID isEqual:uuidOf(number)])
            return service;
    }
    return nil;
}

CBCharacteristic* findCharacteristic(CBPeripheral* peripheral, const LEChannel& channel)
{
    for (CBCharacteristic* characteristic in findService(peripheral, channel.service).characteristics) {
        if ([characteristic.UUID isEqual:uuidOf(channel.characteristic)])
            return characteristic;
    }
    return nil;
}

} // namespace harrowmint::coreBluetooth
