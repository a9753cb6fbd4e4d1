#include "transports/linux/bluez/BluezLEServices.h"

#include "transports/linux/bluez/BluezAddress.h"
#include "transports/linux/bluez/BluezNames.h"

#include <utility>

namespace harrowmint {

BluezLEServices::BluezLEServices(
    const Surroundings& surroundings, const QUuid& peripheral, std::function<void()> channelLost)
    : m_with(surroundings)
    , m_peripheral(peripheral)
    , m_address(bluez::addressOf(peripheral))
    , m_channelLost(std::move(channelLost))
    , m_retiredChannels(surroundings.queue)
    , m_post(surroundings.queue)
{
}

void BluezLEServices::begin()
{
    m_stands = true;
}

void BluezLEServices::end()
{
    closeChannel();
    m_stands = false;
    ++m_link;
    m_wanted.reset();
    m_awaitsAll = false;
}

std::optional<BluezDevice> BluezLEServices::connectedDevice() const
{
    const auto known = m_stands ? m_with.client.objects().device(m_address) : std::nullopt;
    return known && known->connected ? known : std::nullopt;
}

// Services

void BluezLEServices::discover(const std::vector<GattUuid>& services)
{
    m_wanted = services;
    m_post([this] { evaluate(); });
}

void BluezLEServices::evaluate()
{
    if (hasResolved())
        awaitAll();
}

/// Whether those that are wanted can be told.
bool BluezLEServices::hasResolved() const
{
    const auto known = connectedDevice();
    return m_wanted && known && known->servicesResolved;
}

/// BlueZ may tell that they are resolved before it shows them. What it had to tell comes before its next answer.
void BluezLEServices::awaitAll()
{
    if (std::exchange(m_awaitsAll, true))
        return;
    const BluezProperty resolved{connectedDevice()->path, bluez::deviceInterface, QStringLiteral("ServicesResolved")};
    m_with.client.refresh(resolved, this, [this, link = m_link] {
        if (link != m_link)
            return;
        m_awaitsAll = false;
        if (hasResolved())
            answer();
    });
}

/// Resolved without a single service: BlueZ says so, too, when it could not read them. But it mostly connects a printer
/// that has both kinds of Bluetooth the classic way, on which its LE services cannot be had; which way it took, BlueZ
/// does not tell. Then it is the serial port that prints.
void BluezLEServices::answer()
{
    const BluezDevice device = *connectedDevice();
    const auto wanted = std::exchange(m_wanted, std::nullopt);
    std::vector<GattUuid> found;
    for (const GattUuid number : *wanted) {
        if (!m_with.client.objects().service(device.path, number).isEmpty())
            found.push_back(number);
    }
    const bool isSerial = device.uuids.contains(bluez::serialPortUuid, Qt::CaseInsensitive);
    const bool failed = !isSerial && !m_with.client.objects().hasServices(device.path);
    m_with.events.servicesDiscovered(m_peripheral, failed, found);
}

void BluezLEServices::discoverCharacteristic(const LEChannel& channel)
{
    m_post([this, channel] {
        const auto known = connectedDevice();
        if (!known)
            return;
        const BluezObjects& objects = m_with.client.objects();
        const QString service = objects.service(known->path, channel.service);
        std::vector<LECharacteristic> found;
        if (const auto characteristic = objects.characteristic(service, channel.characteristic)) {
            found.push_back({channel.characteristic, characteristic->flags.contains(QStringLiteral("write")),
                characteristic->flags.contains(QStringLiteral("write-without-response"))});
        }
        m_with.events.characteristicsDiscovered(m_peripheral, channel.service, service.isEmpty(), found);
    });
}

// The channel

void BluezLEServices::openChannel(const LEChannel& channel, LEWriteType type)
{
    closeChannel();
    const auto known = connectedDevice();
    const BluezObjects& objects = m_with.client.objects();
    const auto characteristic = known
        ? objects.characteristic(objects.service(known->path, channel.service), channel.characteristic)
        : std::nullopt;
    if (!characteristic) {
        m_post([this] { m_channelLost(); });
        return;
    }
    m_place = channel;
    BluezLEChannelEvents events;
    events.opened = [this] { m_with.events.channelOpened(m_peripheral, m_place); };
    events.ready = [this] { m_with.events.readyToWrite(m_peripheral); };
    events.written = [this](bool failed) { m_with.events.valueWritten(m_peripheral, m_place, failed); };
    events.lost = m_channelLost;
    m_channel = std::make_unique<BluezLEChannel>(
        m_with.queue, m_with.client, m_with.drain, characteristic->path, type, std::move(events));
}

void BluezLEServices::closeChannel()
{
    if (!m_channel)
        return;
    m_channel->close();
    m_retiredChannels.take(std::move(m_channel));
}

} // namespace harrowmint
