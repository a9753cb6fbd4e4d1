#pragma once

#include "base/QueuePost.h"
#include "transports/macos/bluetooth/CoreBluetoothLink.h"

#include <map>
#include <memory>

namespace harrowmint {

/// The LE central role over CoreBluetooth: everything of it that is no framework call. The port's events are handed
/// over to the owner's queue, and what is reported there keeps LECentral's promises.
/// Identifiers are the framework's own; names are the peripherals' as the system remembers them.
class CoreBluetoothCentral final : public LECentral, private CoreBluetoothEvents {
public:
    /// Queue and events outlive the central.
    CoreBluetoothCentral(SerialQueue& queue, LECentralEvents& events, const CoreBluetoothPortFactory& makePort);
    ~CoreBluetoothCentral() override;

    [[nodiscard]] LECentralState state() const override { return m_state; }
    [[nodiscard]] std::vector<LEPeripheral> knownPeripherals(const QUuid& identifier) const override;
    [[nodiscard]] std::vector<LEPeripheral> connectedPeripherals(const std::vector<GattUuid>& services) const override;
    [[nodiscard]] LEPeripheralState peripheralState(const QUuid& peripheral) const override;
    void startScan() override;
    void stopScan() override;
    void connect(const QUuid& peripheral) override;
    void cancelConnection(const QUuid& peripheral) override;
    void discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) override;
    void discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) override;
    void openChannel(const QUuid& peripheral, const LEChannel& channel, LEWriteType type) override;
    void closeChannel(const QUuid& peripheral) override;
    [[nodiscard]] int maximumWriteLength(const QUuid& peripheral, LEWriteType type) const override;
    [[nodiscard]] bool canSendWriteWithoutResponse(const QUuid& peripheral) override;
    void write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override;

    /// The most peripherals that one scan reports.
    static constexpr std::size_t maximumSightings = 1000;

private:
    // On the port's thread: each hands over to the queue.
    void managerStateChanged(int state, int authorization) override;
    void peripheralDiscovered(int scan, const LEPeripheral& peripheral, const QString& advertisedName) override;
    void peripheralConnected(const QUuid& peripheral) override;
    void peripheralFailedToConnect(const QUuid& peripheral) override;
    void peripheralDisconnected(const QUuid& peripheral) override;
    void servicesFound(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services) override;
    void servicesInvalidated(const QUuid& peripheral, const std::vector<GattUuid>& services) override;
    void characteristicsFound(const QUuid& peripheral, GattUuid service, bool failed,
        const std::vector<LECharacteristic>& characteristics) override;
    void valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed) override;
    void readyToWrite(const QUuid& peripheral) override;

    /// What a scan has told of a peripheral.
    struct Sighting {
        bool isNamed;
        bool isAdvertisedNamed;
    };

    void setState(LECentralState state);
    void sighted(int scan, const LEPeripheral& peripheral, const QString& advertisedName);
    void linkEnded(const QUuid& peripheral, bool failedToConnect);
    void toLink(const QUuid& peripheral, std::function<void(CoreBluetoothLink&)> task) const;
    [[nodiscard]] CoreBluetoothLink* link(const QUuid& peripheral) const;
    [[nodiscard]] std::vector<QUuid> linked() const;
    [[nodiscard]] bool isOn() const { return m_state == LECentralState::poweredOn; }

    SerialQueue& m_queue;
    LECentralEvents& m_events;
    LECentralState m_state = LECentralState::unknown;
    QueuePost m_post;
    CoreBluetoothLink::Ended m_linkEnded;
    int m_scan = 0; ///< number of the last scan
    bool m_isScanning = false;
    std::map<QUuid, Sighting> m_sightings;
    // The port goes first, before anything that its events or its links use.
    std::unique_ptr<CoreBluetoothPort> m_port;
    std::map<QUuid, std::unique_ptr<CoreBluetoothLink>> m_links;
};

} // namespace harrowmint
