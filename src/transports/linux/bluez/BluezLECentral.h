#pragma once

#include "base/SerialQueue.h"
#include "transports/bluetooth/LECentral.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezLELink.h"
#include "transports/linux/bluez/BluezLinkUsers.h"
#include "transports/linux/bluez/BluezRadio.h"
#include "transports/linux/bluez/BluezRetired.h"
#include "transports/linux/bluez/BluezScan.h"
#include "transports/linux/bluez/BluezSocketDrain.h"

#include <map>
#include <memory>

namespace harrowmint {

/// What the centrals of one process share.
struct BluezShared {
    explicit BluezShared(const BluezRadio::Limits& limits)
        : radio(limits)
    {
    }

    BluezLinkUsers users;
    BluezRadio radio;
};

/// The LE central role over BlueZ, as a client of its own on the system bus. Peripherals are known by their device
/// address, which their identifiers carry (BluezAddress.h).
///
/// - Switched off, no adapter, no bluetoothd, no bus, none that answers: `poweredOff`, and back again when that
///   changes. Refused by the bus: `unauthorised`.
/// - When bluetoothd goes, its links are reported as disconnected, and the state is `resetting` while it may be a
///   restart.
/// - A link that BlueZ has already is used as it is. A link is ended only when this process asked for it and none of
///   its centrals uses it any more.
/// - Searching and connecting take turns with those of the other centrals (BluezRadio.h).
/// - Links that were being cancelled when the state left `poweredOn` are reported as disconnected after it.
class BluezLECentral final : public LECentral, private BluezClientEvents, private BluezLELinkOwner {
public:
    /// `shared` is one for all centrals of the process. `busAddress` empty: the system bus. The queue's thread runs a
    /// Qt event loop; queue and events outlive the central.
    BluezLECentral(
        SerialQueue& queue, LECentralEvents& events, std::shared_ptr<BluezShared> shared, QString busAddress = {});
    ~BluezLECentral() override;

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
    [[nodiscard]] bool hasHandedOver(const QUuid& peripheral) override;
    void write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override;

private:
    void accessChanged() override;
    void objectChanged(const QString& path, const QString& interface, const QStringList& properties) override;
    void setConnecting(bool connecting) override;
    [[nodiscard]] bool mayConnect() const override;
    void linkEnded(const QUuid& peripheral, BluezLinkEnd end) override;

    [[nodiscard]] LECentralState stateNow() const;
    void evaluateState();
    void setState(LECentralState state);
    void serviceLost();
    void dropLinks();
    void evaluateLinks();
    [[nodiscard]] BluezLELink* link(const QUuid& peripheral) const;
    [[nodiscard]] BluezLEChannel* channel(const QUuid& peripheral) const;
    [[nodiscard]] bool isOn() const { return m_state == LECentralState::poweredOn; }

    SerialQueue& m_queue;
    LECentralEvents& m_events;
    std::shared_ptr<BluezShared> m_shared;
    LECentralState m_state = LECentralState::unknown;
    BluezClient m_client;
    QString m_owner; ///< the bluetoothd that the links belong to
    BluezSocketDrain m_drain;
    BluezRadioUser m_radio;
    BluezScan m_scan;
    std::map<QUuid, std::unique_ptr<BluezLELink>> m_links;
    BluezRetired<BluezLELink> m_retiredLinks;
    Timer m_restart;
    bool m_mayRestart = false; ///< bluetoothd has gone a moment ago
};

/// Makes the centrals of one process, each on its owner's queue.
class BluezLECentrals {
public:
    /// `busAddress` empty: the system bus.
    explicit BluezLECentrals(QString busAddress = {}, const BluezRadio::Limits& limits = {})
        : m_shared(std::make_shared<BluezShared>(limits))
        , m_busAddress(std::move(busAddress))
    {
    }

    /// The factory for the owner that lives on `queue`, whose thread runs a Qt event loop. May outlive this object.
    [[nodiscard]] LECentralFactory on(SerialQueue& queue) const
    {
        return [&queue, shared = m_shared, address = m_busAddress](LECentralEvents& events) {
            return std::make_unique<BluezLECentral>(queue, events, shared, address);
        };
    }

private:
    std::shared_ptr<BluezShared> m_shared;
    QString m_busAddress;
};

} // namespace harrowmint
