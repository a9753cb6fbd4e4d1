#include "transports/linux/bluez/BluezLEChannel.h"

#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

constexpr int smallestMtu = 23;
constexpr int writeHeaderBytes = 3;
/// BlueZ reads no more of a packet, and no attribute is longer.
constexpr int largestValue = 512;
/// A socket does not say when the other end has read everything.
constexpr std::chrono::milliseconds lookAgain{20};

/// Another one holds the characteristic, or is writing to it: nothing of this request was sent.
bool isTaken(const QDBusMessage& reply)
{
    return reply.errorName() == bluez::inProgressError
        || (reply.errorName() == bluez::notPermittedError && reply.errorMessage() == bluez::writeAcquiredText);
}

bool isError(const QDBusMessage& reply)
{
    return reply.type() != QDBusMessage::ReplyMessage;
}

} // namespace

BluezLEChannel::BluezLEChannel(SerialQueue& queue, BluezClient& client, BluezSocketDrain& drain,
    QString characteristicPath, LEWriteType type, BluezLEChannelEvents events)
    : m_queue(queue)
    , m_client(client)
    , m_drain(drain)
    , m_path(std::move(characteristicPath))
    , m_type(type)
    , m_events(std::move(events))
    , m_post(queue)
{
    if (m_type == LEWriteType::withoutResponse)
        acquire();
    else
        readMtu();
}

void BluezLEChannel::close()
{
    m_phase = Phase::closed;
    m_timer.cancel();
    if (m_socket)
        m_drain.take(std::move(m_socket));
}

BluezCall BluezLEChannel::characteristicCall(const QString& member, const QVariantList& arguments) const
{
    return {m_path, bluez::gattCharacteristicInterface, member, arguments, bluez::longLimit};
}

void BluezLEChannel::acquire()
{
    m_client.call(
        characteristicCall(QStringLiteral("AcquireWrite"), {QVariantMap()}), this, [this](const QDBusMessage& reply) {
            if (m_phase == Phase::opening)
                acquired(reply);
        });
}

void BluezLEChannel::acquired(const QDBusMessage& reply)
{
    if (isTaken(reply)) {
        m_timer = m_queue.after(bluez::retryPause, [this] { acquire(); });
    } else if (!isError(reply)) {
        takeSocket(reply);
    } else if (reply.errorName() == bluez::notSupportedError) {
        readMtu();
    } else {
        // Perhaps the link is going down: that is told soon, and ends this channel.
        m_timer = m_queue.after(bluez::doubt, [this] { readMtu(); });
    }
}

void BluezLEChannel::takeSocket(const QDBusMessage& reply)
{
    if (reply.signature() != QLatin1String("hq")) {
        lose();
        return;
    }
    const auto descriptor = reply.arguments().at(0).value<QDBusUnixFileDescriptor>();
    m_socket = std::make_unique<BluezSocket>(
        descriptor.fileDescriptor(), BluezSocketEvents{[this] { socketWritable(); }, [this] { lose(); }});
    open(reply.arguments().at(1).value<ushort>());
}

void BluezLEChannel::readMtu()
{
    const BluezCall get{m_path, bluez::propertiesInterface, QStringLiteral("Get"),
        {bluez::gattCharacteristicInterface, QStringLiteral("MTU")}};
    m_client.call(get, this, [this](const QDBusMessage& reply) {
        const int mtu = reply.arguments().value(0).value<QDBusVariant>().variant().value<ushort>();
        if (m_phase == Phase::opening)
            open(isError(reply) || mtu == 0 ? smallestMtu : mtu);
    });
}

void BluezLEChannel::open(int mtu)
{
    m_phase = Phase::open;
    m_maximumLength = std::clamp(mtu - writeHeaderBytes, 0, largestValue);
    m_events.opened();
}

bool BluezLEChannel::canSend()
{
    const bool can = m_phase == Phase::open && m_packet.isEmpty() && (m_socket == nullptr || m_socket->isWritable());
    if (!can && m_phase == Phase::open) {
        m_readyOwed = true;
        if (m_socket)
            m_socket->awaitWritable();
    }
    return can;
}

void BluezLEChannel::write(const QByteArray& bytes)
{
    Q_ASSERT(m_phase == Phase::open && m_packet.isEmpty() && bytes.size() <= m_maximumLength);
    m_packet = bytes;
    if (m_socket)
        sendPacket();
    else
        writeValue();
}

void BluezLEChannel::sendPacket()
{
    const auto sent = m_socket->send(m_packet.constData(), static_cast<std::size_t>(m_packet.size()));
    if (sent.closed)
        m_post([this] { lose(); });
    else if (sent.count == 0)
        m_socket->awaitWritable();
    else
        m_packet.clear();
}

void BluezLEChannel::socketWritable()
{
    if (!m_packet.isEmpty())
        sendPacket();
    if (!m_packet.isEmpty() || !std::exchange(m_readyOwed, false))
        return;
    m_events.ready();
}

bool BluezLEChannel::hasHandedOver()
{
    if (m_phase != Phase::open)
        return false;
    const bool has = m_packet.isEmpty() && (m_socket == nullptr || m_socket->isDrained());
    if (!has) {
        m_readyOwed = true;
        // A packet that still waits brings `ready` by itself.
        if (m_packet.isEmpty())
            m_timer = m_queue.after(lookAgain, [this] { lookWhetherRead(); });
    }
    return has;
}

void BluezLEChannel::lookWhetherRead()
{
    if (m_phase != Phase::open)
        return;
    if (!m_socket->isDrained())
        m_timer = m_queue.after(lookAgain, [this] { lookWhetherRead(); });
    else if (std::exchange(m_readyOwed, false))
        m_events.ready();
}

void BluezLEChannel::writeValue()
{
    const QString type = m_type == LEWriteType::withResponse ? QStringLiteral("request") : QStringLiteral("command");
    const QVariantMap options{{QStringLiteral("type"), type}};
    m_client.call(
        characteristicCall(QStringLiteral("WriteValue"), {m_packet, options}), this, [this](const QDBusMessage& reply) {
            if (m_phase == Phase::open)
                valueWritten(reply);
        });
}

void BluezLEChannel::valueWritten(const QDBusMessage& reply)
{
    if (isTaken(reply))
        m_timer = m_queue.after(bluez::retryPause, [this] { writeValue(); });
    else if (isError(reply))
        // When the link went with the write, that shows a little later, and ends this channel.
        m_timer = m_queue.after(bluez::doubt, [this] { packetDone(true); });
    else
        packetDone(false);
}

void BluezLEChannel::packetDone(bool failed)
{
    m_packet.clear();
    if (m_type == LEWriteType::withResponse)
        m_events.written(failed);
    else if (failed)
        lose();
    else if (std::exchange(m_readyOwed, false))
        m_events.ready();
}

void BluezLEChannel::lose()
{
    if (m_phase == Phase::closed)
        return;
    m_phase = Phase::closed;
    m_socket.reset();
    m_events.lost();
}

} // namespace harrowmint
