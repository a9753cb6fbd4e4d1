#pragma once

#include "transports/bluetooth/LECentral.h"

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint {

/// What a CoreBluetoothPort reports, as the framework says it. Called on the port's own thread, or within one of its
/// calls; never before the port's factory has begun nor once its destructor has returned. The receiver only hands over
/// and calls nothing of the port from within an event.
class CoreBluetoothEvents {
public:
    CoreBluetoothEvents() = default;
    CoreBluetoothEvents(const CoreBluetoothEvents&) = delete;
    CoreBluetoothEvents& operator=(const CoreBluetoothEvents&) = delete;
    virtual ~CoreBluetoothEvents() = default;

    /// `state` is a CBManagerState, `authorization` the CBManagerAuthorization at that moment.
    virtual void managerStateChanged(int state, int authorization) = 0;
    /// Seen by the scan that was begun with the number `scan`.
    virtual void peripheralDiscovered(int scan, const LEPeripheral& peripheral, const QString& advertisedName) = 0;
    virtual void peripheralConnected(const QUuid& peripheral) = 0;
    virtual void peripheralFailedToConnect(const QUuid& peripheral) = 0;
    virtual void peripheralDisconnected(const QUuid& peripheral) = 0;
    /// Every service that the peripheral is known to have.
    virtual void servicesFound(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services) = 0;
    /// These services are gone, or not what they were.
    virtual void servicesInvalidated(const QUuid& peripheral, const std::vector<GattUuid>& services) = 0;
    virtual void characteristicsFound(const QUuid& peripheral, GattUuid service, bool failed,
        const std::vector<LECharacteristic>& characteristics) = 0;
    virtual void valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed) = 0;
    virtual void readyToWrite(const QUuid& peripheral) = 0;
};

/// One CBCentralManager and its peripherals, call by call: what can be got wrong without a Mac (order, life times,
/// queues) is not in here but in CoreBluetoothCentral. Used on one thread; no call waits for the radio.
/// A function that returns whether it could ask is false when the framework has no such object; no event comes then.
class CoreBluetoothPort {
public:
    CoreBluetoothPort() = default;
    CoreBluetoothPort(const CoreBluetoothPort&) = delete;
    CoreBluetoothPort& operator=(const CoreBluetoothPort&) = delete;
    /// Ends all events, then the scan and the connections.
    virtual ~CoreBluetoothPort() = default;

    /// Scans for all peripherals, each reported once; `scan` numbers their sightings.
    virtual void startScan(int scan) = 0;
    virtual void stopScan() = 0;
    /// The peripherals with this identifier: those that were seen or retrieved, or that the system knows.
    virtual std::vector<LEPeripheral> retrieve(const QUuid& identifier) = 0;
    virtual std::vector<LEPeripheral> retrieveConnected(const std::vector<GattUuid>& services) = 0;
    /// Lets go of every peripheral but those of `kept`; the system may still know them.
    virtual void forgetAllBut(const std::vector<QUuid>& kept) = 0;

    virtual LEPeripheralState peripheralState(const QUuid& peripheral) = 0;
    virtual bool connect(const QUuid& peripheral) = 0;
    virtual void cancelConnection(const QUuid& peripheral) = 0;

    virtual bool discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) = 0;
    virtual bool discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) = 0;
    /// Whether `channel` has been discovered, and is valid.
    virtual bool hasCharacteristic(const QUuid& peripheral, const LEChannel& channel) = 0;

    /// In bytes; 0 for an unknown peripheral.
    virtual int maximumWriteLength(const QUuid& peripheral, LEWriteType type) = 0;
    virtual bool canSendWriteWithoutResponse(const QUuid& peripheral) = 0;
    virtual bool write(
        const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) = 0;
};

/// Makes a port that reports to `events`, which outlives it. Does not wait.
using CoreBluetoothPortFactory = std::function<std::unique_ptr<CoreBluetoothPort>(CoreBluetoothEvents& events)>;

/// The framework's numbers; the port's source asserts that they are.
namespace coreBluetooth {

inline constexpr int stateUnknown = 0;
inline constexpr int stateResetting = 1;
inline constexpr int stateUnsupported = 2;
inline constexpr int stateUnauthorized = 3;
inline constexpr int statePoweredOff = 4;
inline constexpr int statePoweredOn = 5;
inline constexpr int authorizationNotDetermined = 0;
inline constexpr int authorizationRestricted = 1;
inline constexpr int authorizationDenied = 2;
inline constexpr int authorizationAllowed = 3;

/// What a manager's state means. Refused access outranks what else is said: a refused program may be told that
/// Bluetooth is off.
[[nodiscard]] LECentralState centralState(int state, int authorization);

/// The assigned number in a CBUUID's data: two bytes, or sixteen on the Bluetooth base; nothing for others.
[[nodiscard]] std::optional<GattUuid> assignedNumber(const QByteArray& data);

} // namespace coreBluetooth

} // namespace harrowmint
