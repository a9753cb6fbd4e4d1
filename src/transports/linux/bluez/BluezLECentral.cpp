#include "transports/linux/bluez/BluezLECentral.h"

#include "transports/linux/bluez/BluezAddress.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

/// How long bluetoothd, and then its adapter, may take to come back before it counts as gone.
constexpr std::chrono::milliseconds restartLimit{3'000};

LEPeripheral peripheralOf(const BluezDevice& device)
{
    return {bluez::identifierOf(device.address), device.name};
}

bool hasAny(const BluezDevice& device, const std::vector<GattUuid>& services)
{
    return std::any_of(services.begin(), services.end(),
        [&device](GattUuid number) { return device.uuids.contains(bluez::uuidText(number), Qt::CaseInsensitive); });
}

} // namespace

BluezLECentral::BluezLECentral(
    SerialQueue& queue, LECentralEvents& events, std::shared_ptr<BluezShared> shared, QString busAddress)
    : m_queue(queue)
    , m_events(events)
    , m_shared(std::move(shared))
    , m_client(queue, std::move(busAddress), *this)
    , m_drain(queue)
    , m_radio(m_shared->radio, queue,
          [this] {
              m_scan.radioChanged();
              evaluateLinks();
          })
    , m_scan(queue, m_client, m_radio,
          {[this](const BluezDevice& device) { m_events.discovered(peripheralOf(device), QString()); },
              [this] { evaluateLinks(); }})
    , m_retiredLinks(queue)
{
    Q_ASSERT(queue.isCurrent());
}

BluezLECentral::~BluezLECentral()
{
    Q_ASSERT(m_queue.isCurrent());
    m_scan.stop();
}

// State

LECentralState BluezLECentral::stateNow() const
{
    switch (m_client.access()) {
    case BluezAccess::unknown:
        return m_mayRestart ? LECentralState::resetting : LECentralState::unknown;
    case BluezAccess::denied:
        return LECentralState::unauthorised;
    case BluezAccess::ready:
        if (m_client.objects().powered())
            return LECentralState::poweredOn;
        break;
    case BluezAccess::absent:
        break;
    }
    return m_mayRestart ? LECentralState::resetting : LECentralState::poweredOff;
}

void BluezLECentral::evaluateState()
{
    setState(stateNow());
}

void BluezLECentral::setState(LECentralState state)
{
    if (state == m_state)
        return;
    m_state = state;
    if (isOn()) {
        m_mayRestart = false;
        m_restart.cancel();
        m_owner = m_client.owner();
        m_events.stateChanged(state);
        return;
    }
    m_scan.reset();
    const bool lost = m_mayRestart;
    std::vector<QUuid> ended;
    for (const auto& [peripheral, link] : m_links) {
        if (lost || link->isCancelling())
            ended.push_back(peripheral);
    }
    dropLinks();
    m_events.stateChanged(state);
    for (const QUuid& peripheral : ended)
        m_events.disconnected(peripheral);
}

void BluezLECentral::dropLinks()
{
    for (auto& [peripheral, link] : std::exchange(m_links, {})) {
        link->abandon();
        m_retiredLinks.take(std::move(link));
    }
}

/// What ran over the old bluetoothd is over. Another one may follow at once.
void BluezLECentral::serviceLost()
{
    m_mayRestart = true;
    m_restart = m_queue.after(restartLimit, [this] {
        m_mayRestart = false;
        evaluateState();
    });
    setState(LECentralState::resetting);
}

void BluezLECentral::accessChanged()
{
    if (isOn() && m_client.owner() != m_owner)
        serviceLost();
    evaluateState();
}

void BluezLECentral::objectChanged(const QString& path, const QString& interface, const QStringList& properties)
{
    if (interface == bluez::adapterInterface) {
        evaluateState();
        m_scan.adapterChanged();
    } else if (interface == bluez::deviceInterface) {
        m_scan.deviceChanged(path, properties);
        evaluateLinks();
    }
}

// Peripherals

std::vector<LEPeripheral> BluezLECentral::knownPeripherals(const QUuid& identifier) const
{
    const auto device = m_client.objects().device(bluez::addressOf(identifier));
    return device ? std::vector{peripheralOf(*device)} : std::vector<LEPeripheral>();
}

std::vector<LEPeripheral> BluezLECentral::connectedPeripherals(const std::vector<GattUuid>& services) const
{
    std::vector<LEPeripheral> found;
    for (const BluezDevice& device : m_client.objects().devices()) {
        if (device.connected && hasAny(device, services))
            found.push_back(peripheralOf(device));
    }
    return found;
}

LEPeripheralState BluezLECentral::peripheralState(const QUuid& peripheral) const
{
    const BluezLELink* const known = link(peripheral);
    return known == nullptr ? LEPeripheralState::disconnected : known->state();
}

void BluezLECentral::startScan()
{
    if (isOn())
        m_scan.start();
}

void BluezLECentral::stopScan()
{
    m_scan.stop();
}

// Links

BluezLELink* BluezLECentral::link(const QUuid& peripheral) const
{
    const auto found = m_links.find(peripheral);
    return found == m_links.end() ? nullptr : found->second.get();
}

void BluezLECentral::setConnecting(bool connecting)
{
    if (connecting)
        m_radio.beginConnecting();
    else
        m_radio.endConnecting();
}

bool BluezLECentral::mayConnect() const
{
    return m_radio.mayConnect(m_scan.isEnding());
}

void BluezLECentral::evaluateLinks()
{
    std::vector<QUuid> peripherals;
    for (const auto& entry : m_links)
        peripherals.push_back(entry.first);
    for (const QUuid& peripheral : peripherals) {
        if (BluezLELink* const known = link(peripheral))
            known->evaluate();
    }
}

void BluezLECentral::connect(const QUuid& peripheral)
{
    if (!isOn())
        return;
    if (BluezLELink* const known = link(peripheral)) {
        known->connectAgain();
        return;
    }
    const BluezLELink::Surroundings surroundings{m_queue, m_client, m_drain, m_shared->users, *this, m_events};
    auto made = std::make_unique<BluezLELink>(surroundings, peripheral);
    made->connectDevice();
    m_links.emplace(peripheral, std::move(made));
}

void BluezLECentral::cancelConnection(const QUuid& peripheral)
{
    if (BluezLELink* const known = link(peripheral))
        known->cancel();
}

void BluezLECentral::linkEnded(const QUuid& peripheral, BluezLinkEnd end)
{
    const auto found = m_links.find(peripheral);
    m_retiredLinks.take(std::move(found->second));
    m_links.erase(found);
    if (end == BluezLinkEnd::failedToConnect)
        m_events.failedToConnect(peripheral);
    else
        m_events.disconnected(peripheral);
}

void BluezLECentral::discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services)
{
    if (BluezLELink* const known = link(peripheral))
        known->services().discover(services);
}

void BluezLECentral::discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel)
{
    if (BluezLELink* const known = link(peripheral))
        known->services().discoverCharacteristic(channel);
}

// Writing

BluezLEChannel* BluezLECentral::channel(const QUuid& peripheral) const
{
    BluezLELink* const known = link(peripheral);
    return known == nullptr ? nullptr : known->services().channel();
}

void BluezLECentral::openChannel(const QUuid& peripheral, const LEChannel& channel, LEWriteType type)
{
    if (BluezLELink* const known = link(peripheral))
        known->services().openChannel(channel, type);
}

void BluezLECentral::closeChannel(const QUuid& peripheral)
{
    if (BluezLELink* const known = link(peripheral))
        known->services().closeChannel();
}

int BluezLECentral::maximumWriteLength(const QUuid& peripheral, LEWriteType /*type*/) const
{
    const BluezLEChannel* const open = channel(peripheral);
    return open == nullptr ? 0 : open->maximumWriteLength();
}

bool BluezLECentral::canSendWriteWithoutResponse(const QUuid& peripheral)
{
    BluezLEChannel* const open = channel(peripheral);
    return open != nullptr && open->canSend();
}

bool BluezLECentral::hasHandedOver(const QUuid& peripheral)
{
    BluezLEChannel* const open = channel(peripheral);
    return open != nullptr && open->hasHandedOver();
}

void BluezLECentral::write(
    const QUuid& peripheral, const LEChannel& /*channel*/, const QByteArray& bytes, LEWriteType /*type*/)
{
    if (BluezLEChannel* const open = channel(peripheral))
        open->write(bytes);
}

} // namespace harrowmint
