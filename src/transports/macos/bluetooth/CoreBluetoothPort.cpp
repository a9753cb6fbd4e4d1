#include "transports/macos/bluetooth/CoreBluetoothPort.h"

namespace harrowmint::coreBluetooth {

LECentralState centralState(int state, int authorization)
{
    if (authorization == authorizationDenied || authorization == authorizationRestricted)
        return LECentralState::unauthorised;
    switch (state) {
    case stateResetting:
        return LECentralState::resetting;
    case stateUnsupported:
        return LECentralState::unsupported;
    case stateUnauthorized:
        return LECentralState::unauthorised;
    case statePoweredOff:
        return LECentralState::poweredOff;
    case statePoweredOn:
        return LECentralState::poweredOn;
    default:
        return LECentralState::unknown;
    }
}

std::optional<GattUuid> assignedNumber(const QByteArray& data)
{
    constexpr qsizetype shortBytes = 2;
    const QByteArray base = QByteArray::fromHex("0000000000001000800000805f9b34fb");
    const auto number = [&data](qsizetype at) {
        return static_cast<GattUuid>(
            static_cast<unsigned char>(data[at]) << 8 | static_cast<unsigned char>(data[at + 1]));
    };
    if (data.size() == shortBytes)
        return number(0);
    if (data.size() == base.size() && data.startsWith(QByteArray(2, '\0')) && data.endsWith(base.sliced(4)))
        return number(2);
    return std::nullopt;
}

} // namespace harrowmint::coreBluetooth
