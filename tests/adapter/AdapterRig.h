#pragma once

#include "base/QtQueue.h"
#include "support/bluez/PrivateBus.h"
#include "support/bluez/SimulatedBluez.h"
#include "transports/linux/bluez/BluezAddress.h"
#include "transports/linux/bluez/BluezLECentral.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace adapter {

inline const QString hci0 = QStringLiteral("/org/bluez/hci0");
inline const QString printerAddress = QStringLiteral("AA:BB:CC:DD:EE:01");
inline const QString printerPath = hci0 + QStringLiteral("/dev_AA_BB_CC_DD_EE_01");
inline const QString servicePath = printerPath + QStringLiteral("/service0010");
inline const QString writePath = servicePath + QStringLiteral("/char0011");
inline const QUuid printer = harrowmint::bluez::identifierOf(printerAddress);
inline constexpr harrowmint::LEChannel channel{0x18F0, 0x2AF1};

/// Runs the thread's event loop until the condition holds; false when it still does not after a very long time.
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);
/// Runs the event loop for a while, in which something must not happen.
void letPass(std::chrono::milliseconds time);
/// The open descriptors of this process.
[[nodiscard]] int openDescriptors();

[[nodiscard]] BluezInterfaces adapterObject(bool powered);
/// A Device1 object of hci0; `properties` are added to an address and an adapter.
[[nodiscard]] BluezInterfaces deviceObject(const QString& address, const QVariantMap& properties = {});
[[nodiscard]] BluezInterfaces serviceObject(harrowmint::GattUuid uuid);
/// A characteristic of the service at `servicePath`; `mtu` 0: BlueZ does not show it.
[[nodiscard]] BluezInterfaces characteristicObject(
    harrowmint::GattUuid uuid, const QStringList& flags, ushort mtu = 517);

/// A private bus with a bluetoothd that is not started yet, and this thread as the owner's queue.
class BluezTest : public ::testing::Test {
protected:
    /// Starts bluetoothd with one adapter that is switched on and, staged until it connects, the printer.
    void startWithPrinter(const QStringList& flags = {QStringLiteral("write-without-response")}, ushort mtu = 517);

    PrivateBus m_bus;
    SimulatedBluez m_bluez{m_bus.address()};
    harrowmint::QtQueue m_queue;
};

/// Keeps what a central reports, as short texts in order.
class RecordedEvents final : public harrowmint::LECentralEvents {
public:
    std::vector<std::string> log;
    std::vector<harrowmint::LEPeripheral> sightings;

    [[nodiscard]] int count(const std::string& text) const;
    [[nodiscard]] bool has(const std::string& text) const { return count(text) > 0; }

    void stateChanged(harrowmint::LECentralState state) override;
    void discovered(const harrowmint::LEPeripheral& peripheral, const QString& advertisedName) override;
    void connected(const QUuid& peripheral) override;
    void failedToConnect(const QUuid& peripheral) override;
    void disconnected(const QUuid& peripheral) override;
    void servicesDiscovered(
        const QUuid& peripheral, bool failed, const std::vector<harrowmint::GattUuid>& services) override;
    void characteristicsDiscovered(const QUuid& peripheral, harrowmint::GattUuid service, bool failed,
        const std::vector<harrowmint::LECharacteristic>& characteristics) override;
    void channelOpened(const QUuid& peripheral, const harrowmint::LEChannel& place) override;
    void valueWritten(const QUuid& peripheral, const harrowmint::LEChannel& place, bool failed) override;
    void readyToWrite(const QUuid& peripheral) override;
};

/// A central of the test's and its record.
class CentralTest : public BluezTest {
protected:
    /// Makes the central; a second one shares the links with it, as in one process.
    void makeCentral();
    [[nodiscard]] bool waitForEvent(const std::string& text);
    [[nodiscard]] bool waitForState(harrowmint::LECentralState state);
    /// Makes the central, and waits until it is on.
    void switchOn();
    /// The same with two centrals.
    void switchOnBoth();
    /// As far as a discovered characteristic.
    void connectPrinter();
    void openChannel(harrowmint::LEWriteType type);
    /// Writes as the transports do: whenever it can be taken, `size` bytes at a time.
    void sendAll(const QByteArray& bytes, int size);

    harrowmint::BluezRadio::Limits m_radioLimits; ///< of the centrals that are made
    RecordedEvents m_events;
    RecordedEvents m_otherEvents;
    std::unique_ptr<harrowmint::BluezLECentrals> m_centrals;
    std::unique_ptr<harrowmint::LECentral> m_central;
    std::unique_ptr<harrowmint::LECentral> m_other;
};

/// Bytes that differ from their neighbours.
[[nodiscard]] QByteArray pattern(int size);

} // namespace adapter
