#include "transports/linux/bluez/BluezSerialBluetooth.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

BluezSerialBluetooth::BluezSerialBluetooth(SerialQueue& queue, QString busAddress)
    : m_queue(queue)
    , m_client(queue, std::move(busAddress), *this)
    , m_profile(m_client)
    , m_post(queue)
{
    Q_ASSERT(queue.isCurrent());
}

void BluezSerialBluetooth::pairedDevices(std::function<void(const Devices&)> completion)
{
    whenSettled(&m_profile,
        [this, completion = std::move(completion)] { m_post([this, completion] { completion(devices()); }); });
}

/// Paired or bonded; a device that several adapters know, once. An address
/// that is no public one belongs to a device without serial port.
SerialBluetooth::Devices BluezSerialBluetooth::devices() const
{
    Devices found;
    for (const BluezDevice& device : m_client.objects().devices()) {
        const bool listed = std::any_of(found.begin(), found.end(),
            [&device](const PairedDevice& other) { return other.address == device.address; });
        if (device.paired && !device.random && !listed)
            found.push_back({device.address, device.name});
    }
    return found;
}

std::unique_ptr<SerialLink> BluezSerialBluetooth::makeLink(SerialLinkEvents& events)
{
    auto whenSettled = [this](QObject* context, std::function<void()> task) {
        this->whenSettled(context, std::move(task));
    };
    auto link = std::make_unique<BluezSerialLink>(
        BluezSerialLink::Surroundings{m_queue, m_client, m_profile, std::move(whenSettled)}, events);
    std::erase_if(m_links, [](const QPointer<BluezSerialLink>& known) { return known.isNull(); });
    m_links.emplace_back(link.get());
    return link;
}

void BluezSerialBluetooth::whenSettled(QObject* context, std::function<void()> task)
{
    if (m_client.access() == BluezAccess::unknown)
        m_waiting.push_back({context, std::move(task)});
    else
        task();
}

void BluezSerialBluetooth::accessChanged()
{
    for (const QPointer<BluezSerialLink>& link : m_links) {
        if (link)
            link->serviceChanged();
    }
    if (m_client.access() == BluezAccess::unknown)
        return;
    for (const Waiting& waiting : std::exchange(m_waiting, {})) {
        if (waiting.context)
            waiting.task();
    }
}

void BluezSerialBluetooth::objectChanged(
    const QString& /*path*/, const QString& /*interface*/, const QStringList& /*properties*/)
{
    // Devices are asked for when they are needed.
}

} // namespace harrowmint
