#include "transports/macos/bluetooth/IOBluetoothWire.h"

#include <utility>

namespace harrowmint {

IOBluetoothWire::IOBluetoothWire(SerialQueue& queue, IOBluetoothPort& bluetooth, SerialLinkEvents& events)
    : m_events(&events)
    , m_post(queue)
    , m_port(bluetooth.makeLink(*this))
{
}

/// What was closed in the meantime reports nothing any more.
void IOBluetoothWire::report(std::function<void(SerialLinkEvents&)> event)
{
    m_post([this, event = std::move(event)] {
        if (m_events != nullptr)
            event(*m_events);
    });
}

void IOBluetoothWire::findDevice(const QString& address)
{
    report([paired = m_port->findDevice(address)](SerialLinkEvents& events) { events.deviceFound(paired); });
}

bool IOBluetoothWire::startServiceQuery()
{
    ++m_queries; // before the call, within which the answer may come
    if (m_port->beginQuery())
        return true;
    --m_queries;
    return false;
}

void IOBluetoothWire::queryAnswered(bool succeeded)
{
    if (m_queries == 0)
        return;
    --m_queries;
    report([succeeded](SerialLinkEvents& events) { events.sdpQueryComplete(succeeded); });
}

bool IOBluetoothWire::openChannel(int channel)
{
    m_channel = Channel::opening;
    if (m_port->beginOpening(channel))
        return true;
    m_channel = Channel::gone;
    return false;
}

void IOBluetoothWire::channelOpened(bool succeeded)
{
    if (m_channel != Channel::opening)
        return;
    m_channel = succeeded ? Channel::open : Channel::gone;
    report([result = succeeded ? SerialOpenResult::opened : SerialOpenResult::failed](
               SerialLinkEvents& events) { events.rfcommChannelOpenComplete(result); });
}

bool IOBluetoothWire::write(const QByteArray& packet)
{
    if (m_isWriting)
        return false;
    m_packet = packet;
    m_isWriting = true;
    // The pointer is to bytes that nobody else shares, since the framework may do with them what it likes.
    if (m_port->beginWriting(m_packet.data(), static_cast<int>(m_packet.size())))
        return true;
    m_isWriting = false;
    return false;
}

void IOBluetoothWire::packetWritten(bool succeeded)
{
    if (!std::exchange(m_isWriting, false))
        return;
    report([succeeded](SerialLinkEvents& events) { events.rfcommChannelWriteComplete(succeeded); });
}

void IOBluetoothWire::channelClosed()
{
    switch (std::exchange(m_channel, Channel::gone)) {
    case Channel::opening:
        report([](SerialLinkEvents& events) { events.rfcommChannelOpenComplete(SerialOpenResult::failed); });
        return;
    case Channel::open:
        report([](SerialLinkEvents& events) { events.rfcommChannelClosed(); });
        if (m_isWriting)
            packetWritten(false);
        return;
    case Channel::none:
    case Channel::gone:
        return;
    }
}

void IOBluetoothWire::close()
{
    if (std::exchange(m_events, nullptr) != nullptr)
        m_port->close();
}

void IOBluetoothRetired::take(std::unique_ptr<IOBluetoothWire> wire)
{
    // Not given up here and now: the caller may be within one of the wire's events.
    m_wires.push_back({std::move(wire), m_queue.now() + limit});
    if (m_wires.size() == 1)
        watch();
}

void IOBluetoothRetired::watch()
{
    m_timer = m_queue.after(interval, [this] {
        const auto now = m_queue.now();
        m_wires.remove_if([now](const Entry& entry) { return !entry.wire->isInUse() || now >= entry.end; });
        if (!m_wires.empty())
            watch();
    });
}

} // namespace harrowmint
