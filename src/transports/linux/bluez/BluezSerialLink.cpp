#include "transports/linux/bluez/BluezSerialLink.h"

#include "transports/linux/bluez/BluezAddress.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

/// BlueZ does not show the channel's frame size.
constexpr int packetBytes = 1024;
/// Stands for the channel that BlueZ finds by itself.
constexpr int someChannel = 1;
/// Attempts while BlueZ says that the profile is connected but passes no channel: the end of an earlier connection
/// lingers for a moment, of the receipt before for a few milliseconds. 3 s in all.
constexpr int mostAttempts = 33;
constexpr std::chrono::milliseconds firstPause{10};

/// How BlueZ says that there is no such service, or nobody to ask for it.
const QStringList noServiceTexts{QStringLiteral("br-connection-profile-unavailable"),
    QStringLiteral("br-connection-not-supported"), QStringLiteral("br-connection-sdp-search"),
    QStringLiteral("br-connection-page-timeout")};
const QStringList unavailableErrors{
    bluez::inProgressError, bluez::notReadyError, bluez::accessDeniedError, bluez::notPermittedError};
const QStringList unavailableTexts{QStringLiteral("br-connection-busy"),
    QStringLiteral("br-connection-adapter-not-powered"), bluez::alreadyInProgressText};

std::chrono::milliseconds pauseAfter(int attempts)
{
    constexpr int mostDoublings = 4;
    return std::min(firstPause * (1 << std::min(attempts - 1, mostDoublings)), bluez::retryPause);
}

SerialOpenResult resultOf(const QDBusMessage& error)
{
    if (error.errorName() == bluez::notAvailableError || noServiceTexts.contains(error.errorMessage()))
        return SerialOpenResult::noService;
    if (unavailableErrors.contains(error.errorName()) || unavailableTexts.contains(error.errorMessage()))
        return SerialOpenResult::unavailable;
    return SerialOpenResult::failed;
}

BluezCall profileCall(const QString& devicePath, const QString& member)
{
    return {devicePath, bluez::deviceInterface, member, {bluez::serialPortUuid}, bluez::longLimit};
}

} // namespace

BluezSerialLink::BluezSerialLink(Surroundings surroundings, SerialLinkEvents& events)
    : m_with(std::move(surroundings))
    , m_events(events)
    , m_post(m_with.queue)
{
}

BluezSerialLink::~BluezSerialLink()
{
    closeChannel();
}

std::optional<BluezDevice> BluezSerialLink::device() const
{
    return m_with.client.objects().device(m_address);
}

void BluezSerialLink::report(const std::function<void(SerialLinkEvents&)>& event)
{
    m_post([this, event] {
        if (m_phase != Phase::closed)
            event(m_events);
    });
}

void BluezSerialLink::findDevice(const QString& address)
{
    m_address = bluez::withColons(address);
    m_with.whenSettled(this, [this] {
        const auto known = device();
        const bool paired = known && known->paired;
        report([paired](SerialLinkEvents& events) { events.deviceFound(paired); });
    });
}

bool BluezSerialLink::startServiceQuery()
{
    if (!device())
        return false;
    report([](SerialLinkEvents& events) { events.sdpQueryComplete(true); });
    return true;
}

std::optional<int> BluezSerialLink::serialPortChannel() const
{
    const auto known = device();
    if (known && known->uuids.contains(bluez::serialPortUuid, Qt::CaseInsensitive))
        return someChannel;
    return std::nullopt;
}

int BluezSerialLink::mtu() const
{
    return packetBytes;
}

bool BluezSerialLink::openChannel(int /*channel*/)
{
    const auto known = device();
    if (m_phase != Phase::idle || !known || !known->powered)
        return false;
    m_phase = Phase::opening;
    m_owner = m_with.client.owner();
    m_with.profile.ensureRegistered(this, [this](bool registered) {
        if (m_phase != Phase::opening)
            return;
        if (registered)
            connectProfile();
        else
            endOpening(SerialOpenResult::unavailable);
    });
    return true;
}

void BluezSerialLink::connectProfile()
{
    const auto known = device();
    if (!known) {
        endOpening(SerialOpenResult::failed);
        return;
    }
    m_expectedPath = known->path;
    m_with.profile.expect(
        m_expectedPath, {[this](int descriptor) { channelArrived(descriptor); }, [this] { channelGone(); }});
    m_connectPending = true;
    ++m_attempts;
    m_with.client.call(
        profileCall(m_expectedPath, QStringLiteral("ConnectProfile")), this, [this](const QDBusMessage& reply) {
            m_connectPending = false;
            if (m_phase == Phase::opening)
                connectReplied(reply);
        });
}

void BluezSerialLink::channelArrived(int descriptor)
{
    m_socket =
        std::make_unique<BluezSocket>(descriptor, BluezSocketEvents{[this] { pump(); }, [this] { channelGone(); }});
}

/// The channel, if any, has come before this answer.
void BluezSerialLink::connectReplied(const QDBusMessage& reply)
{
    const bool connected =
        reply.type() == QDBusMessage::ReplyMessage || reply.errorName() == bluez::alreadyConnectedError;
    if (m_socket) {
        m_phase = Phase::open;
        endOpening(SerialOpenResult::opened);
    } else if (connected && m_attempts < mostAttempts) {
        m_timer = m_with.queue.after(pauseAfter(m_attempts), [this] { connectProfile(); });
    } else if (connected) {
        endOpening(SerialOpenResult::unavailable);
    } else {
        // Power that goes off, or bluetoothd that goes, shows a little later.
        m_timer = m_with.queue.after(bluez::doubt, [this, reply] { openFailed(reply); });
    }
}

void BluezSerialLink::openFailed(const QDBusMessage& reply)
{
    const auto known = device();
    endOpening(known && !known->powered ? SerialOpenResult::unavailable : resultOf(reply));
}

void BluezSerialLink::endOpening(SerialOpenResult result)
{
    if (result != SerialOpenResult::opened)
        endChannel();
    report([result](SerialLinkEvents& events) { events.rfcommChannelOpenComplete(result); });
}

bool BluezSerialLink::write(const QByteArray& packet)
{
    if (m_endIsOnItsWay)
        return true; // that news says more than a refusal, and is the answer
    if (m_phase != Phase::open || !m_socket || !m_packet.isEmpty())
        return false;
    m_packet = packet;
    m_offset = 0;
    pump();
    return true;
}

/// The channel is a stream: it may take a part of a packet.
void BluezSerialLink::pump()
{
    while (m_offset < m_packet.size()) {
        const auto sent =
            m_socket->send(m_packet.constData() + m_offset, static_cast<std::size_t>(m_packet.size() - m_offset));
        if (sent.closed) {
            channelGone();
            return;
        }
        if (sent.count == 0) {
            m_socket->awaitWritable();
            return;
        }
        m_offset += static_cast<qsizetype>(sent.count);
    }
    m_packet.clear();
    report([](SerialLinkEvents& events) { events.rfcommChannelWriteComplete(true); });
}

/// Closed by the printer, the radio or the system, perhaps before it was open.
void BluezSerialLink::channelGone()
{
    const Phase before = m_phase;
    endChannel();
    if (before == Phase::opening)
        endOpening(SerialOpenResult::failed);
    else if (before == Phase::open)
        reportEnd();
}

void BluezSerialLink::reportEnd()
{
    m_endIsOnItsWay = true;
    report([this](SerialLinkEvents& events) {
        m_endIsOnItsWay = false;
        events.rfcommChannelClosed();
    });
}

void BluezSerialLink::serviceChanged()
{
    if ((m_phase != Phase::opening && m_phase != Phase::open) || m_with.client.owner() == m_owner)
        return;
    endChannel();
    reportEnd();
}

void BluezSerialLink::endChannel()
{
    stopExpecting();
    m_timer.cancel();
    m_phase = Phase::gone;
    if (m_socket)
        m_socket->shutDown();
}

void BluezSerialLink::stopExpecting()
{
    if (!m_expectedPath.isEmpty())
        m_with.profile.forget(std::exchange(m_expectedPath, {}));
}

/// A connection that is still being made is given up; should its channel come nevertheless, the profile shuts it down.
void BluezSerialLink::closeChannel()
{
    if (m_connectPending && m_phase == Phase::opening && !m_socket)
        m_with.client.send(profileCall(m_expectedPath, QStringLiteral("DisconnectProfile")));
    m_phase = Phase::closed;
    m_timer.cancel();
    stopExpecting();
    if (m_socket)
        m_socket->shutDown();
    m_socket.reset();
}

} // namespace harrowmint
