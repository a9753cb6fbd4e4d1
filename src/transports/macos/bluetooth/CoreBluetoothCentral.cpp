#include "transports/macos/bluetooth/CoreBluetoothCentral.h"

#include <utility>

namespace harrowmint {

CoreBluetoothCentral::CoreBluetoothCentral(
    SerialQueue& queue, LECentralEvents& events, const CoreBluetoothPortFactory& makePort)
    : m_queue(queue)
    , m_events(events)
    , m_post(queue)
    , m_linkEnded([this](const QUuid& peripheral, bool failed) { linkEnded(peripheral, failed); })
    , m_port(makePort(*this))
{
    Q_ASSERT(queue.isCurrent());
}

CoreBluetoothCentral::~CoreBluetoothCentral()
{
    Q_ASSERT(m_queue.isCurrent());
    m_links.clear();
}

// State

void CoreBluetoothCentral::managerStateChanged(int state, int authorization)
{
    m_post([this, state, authorization] { setState(coreBluetooth::centralState(state, authorization)); });
}

void CoreBluetoothCentral::setState(LECentralState state)
{
    if (state == m_state)
        return;
    m_state = state;
    if (isOn()) {
        m_events.stateChanged(state);
        return;
    }
    // The framework says nothing of links that end so, and its peripherals may be void.
    m_isScanning = false;
    std::vector<QUuid> cancelled;
    for (const auto& [peripheral, link] : std::exchange(m_links, {})) {
        if (link->isCancelling())
            cancelled.push_back(peripheral);
    }
    m_port->forgetAllBut({});
    m_events.stateChanged(state);
    for (const QUuid& peripheral : cancelled)
        m_events.disconnected(peripheral);
}

// Peripherals

std::vector<LEPeripheral> CoreBluetoothCentral::knownPeripherals(const QUuid& identifier) const
{
    return isOn() ? m_port->retrieve(identifier) : std::vector<LEPeripheral>();
}

std::vector<LEPeripheral> CoreBluetoothCentral::connectedPeripherals(const std::vector<GattUuid>& services) const
{
    return isOn() ? m_port->retrieveConnected(services) : std::vector<LEPeripheral>();
}

LEPeripheralState CoreBluetoothCentral::peripheralState(const QUuid& peripheral) const
{
    const CoreBluetoothLink* const known = link(peripheral);
    return known == nullptr ? LEPeripheralState::disconnected : known->state();
}

std::vector<QUuid> CoreBluetoothCentral::linked() const
{
    std::vector<QUuid> peripherals;
    for (const auto& entry : m_links)
        peripherals.push_back(entry.first);
    return peripherals;
}

void CoreBluetoothCentral::startScan()
{
    if (!isOn() || m_isScanning)
        return;
    m_isScanning = true;
    m_sightings.clear();
    m_port->forgetAllBut(linked());
    m_port->startScan(++m_scan);
}

void CoreBluetoothCentral::stopScan()
{
    if (!std::exchange(m_isScanning, false))
        return;
    m_port->stopScan();
}

void CoreBluetoothCentral::peripheralDiscovered(int scan, const LEPeripheral& peripheral, const QString& advertisedName)
{
    m_post([this, scan, peripheral, advertisedName] { sighted(scan, peripheral, advertisedName); });
}

void CoreBluetoothCentral::sighted(int scan, const LEPeripheral& peripheral, const QString& advertisedName)
{
    if (!m_isScanning || scan != m_scan)
        return;
    const auto [at, isNew] = m_sightings.try_emplace(peripheral.identifier, Sighting{});
    if (isNew && m_sightings.size() > maximumSightings) {
        m_sightings.erase(at);
        return;
    }
    Sighting& told = at->second;
    const bool isNamed = !peripheral.name.isEmpty();
    const bool isAdvertisedNamed = !advertisedName.isEmpty();
    if (!isNew && (told.isNamed || !isNamed) && (told.isAdvertisedNamed || !isAdvertisedNamed))
        return;
    told = {told.isNamed || isNamed, told.isAdvertisedNamed || isAdvertisedNamed};
    m_events.discovered(peripheral, advertisedName);
}

// Links

CoreBluetoothLink* CoreBluetoothCentral::link(const QUuid& peripheral) const
{
    const auto found = m_links.find(peripheral);
    return found == m_links.end() ? nullptr : found->second.get();
}

void CoreBluetoothCentral::toLink(const QUuid& peripheral, std::function<void(CoreBluetoothLink&)> task) const
{
    m_post([this, peripheral, task = std::move(task)] {
        if (CoreBluetoothLink* const known = link(peripheral))
            task(*known);
    });
}

void CoreBluetoothCentral::connect(const QUuid& peripheral)
{
    if (!isOn())
        return;
    if (CoreBluetoothLink* const known = link(peripheral)) {
        known->connect();
        return;
    }
    const CoreBluetoothLink::Surroundings surroundings{m_queue, *m_port, m_events, m_linkEnded};
    m_links.emplace(peripheral, std::make_unique<CoreBluetoothLink>(surroundings, peripheral));
}

void CoreBluetoothCentral::cancelConnection(const QUuid& peripheral)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->cancel();
}

void CoreBluetoothCentral::linkEnded(const QUuid& peripheral, bool failedToConnect)
{
    const QUuid identifier = peripheral; // the link's own goes with it
    m_links.erase(identifier);
    if (failedToConnect)
        m_events.failedToConnect(identifier);
    else
        m_events.disconnected(identifier);
}

void CoreBluetoothCentral::peripheralConnected(const QUuid& peripheral)
{
    toLink(peripheral, [](CoreBluetoothLink& link) { link.connected(); });
}

void CoreBluetoothCentral::peripheralFailedToConnect(const QUuid& peripheral)
{
    toLink(peripheral, [](CoreBluetoothLink& link) { link.failedToConnect(); });
}

void CoreBluetoothCentral::peripheralDisconnected(const QUuid& peripheral)
{
    toLink(peripheral, [](CoreBluetoothLink& link) { link.disconnected(); });
}

// Services

void CoreBluetoothCentral::discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->discoverServices(services);
    else
        m_post([this, peripheral] { m_events.servicesDiscovered(peripheral, true, {}); });
}

void CoreBluetoothCentral::discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->discoverCharacteristic(channel);
    else
        m_post([this, peripheral, service = channel.service] {
            m_events.characteristicsDiscovered(peripheral, service, true, {});
        });
}

void CoreBluetoothCentral::servicesFound(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services)
{
    toLink(peripheral, [failed, services](CoreBluetoothLink& link) { link.servicesFound(failed, services); });
}

void CoreBluetoothCentral::servicesInvalidated(const QUuid& peripheral, const std::vector<GattUuid>& services)
{
    toLink(peripheral, [services](CoreBluetoothLink& link) { link.servicesInvalidated(services); });
}

void CoreBluetoothCentral::characteristicsFound(
    const QUuid& peripheral, GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics)
{
    toLink(peripheral, [service, failed, characteristics](CoreBluetoothLink& link) {
        link.characteristicsFound(service, failed, characteristics);
    });
}

// Writing

void CoreBluetoothCentral::openChannel(const QUuid& peripheral, const LEChannel& channel, LEWriteType /*type*/)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->openChannel(channel);
    else
        m_post([this, peripheral] { m_events.disconnected(peripheral); });
}

void CoreBluetoothCentral::closeChannel(const QUuid& peripheral)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->closeChannel();
}

int CoreBluetoothCentral::maximumWriteLength(const QUuid& peripheral, LEWriteType type) const
{
    const CoreBluetoothLink* const known = link(peripheral);
    return known == nullptr ? 0 : known->maximumWriteLength(type);
}

bool CoreBluetoothCentral::canSendWriteWithoutResponse(const QUuid& peripheral)
{
    CoreBluetoothLink* const known = link(peripheral);
    return known != nullptr && known->canSend();
}

void CoreBluetoothCentral::write(
    const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type)
{
    if (CoreBluetoothLink* const known = link(peripheral))
        known->write(channel, bytes, type);
    else if (type == LEWriteType::withResponse)
        m_post([this, peripheral, channel] { m_events.valueWritten(peripheral, channel, true); });
}

void CoreBluetoothCentral::valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed)
{
    toLink(peripheral, [channel, failed](CoreBluetoothLink& link) { link.valueWritten(channel, failed); });
}

void CoreBluetoothCentral::readyToWrite(const QUuid& peripheral)
{
    toLink(peripheral, [](CoreBluetoothLink& link) { link.readyToWrite(); });
}

} // namespace harrowmint
