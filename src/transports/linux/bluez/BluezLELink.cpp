#include "transports/linux/bluez/BluezLELink.h"

#include "transports/linux/bluez/BluezAddress.h"

#include <utility>

namespace harrowmint {

namespace {

bool isError(const QDBusMessage& reply)
{
    return reply.type() != QDBusMessage::ReplyMessage;
}

/// Somebody else is connecting the device; one attempt at a time is all that BlueZ takes.
bool isUnderWay(const QDBusMessage& reply)
{
    return reply.errorName() == bluez::inProgressError
        || (reply.errorName() == bluez::failedError && reply.errorMessage() == bluez::alreadyInProgressText);
}

BluezCall deviceCall(const QString& path, const QString& member)
{
    return {path, bluez::deviceInterface, member, {}, bluez::longLimit};
}

} // namespace

BluezLELink::BluezLELink(const Surroundings& surroundings, const QUuid& peripheral)
    : m_with(surroundings)
    , m_peripheral(peripheral)
    , m_address(bluez::addressOf(peripheral))
    , m_services({surroundings.queue, surroundings.client, surroundings.drain, surroundings.events}, peripheral,
          [this] { channelLost(); })
    , m_post(surroundings.queue)
{
}

BluezLELink::~BluezLELink()
{
    const auto known = device();
    if (leaveUsers() && known)
        m_with.client.send(deviceCall(known->path, QStringLiteral("Disconnect")));
}

std::optional<BluezDevice> BluezLELink::device() const
{
    return m_with.client.objects().device(m_address);
}

bool BluezLELink::isUp() const
{
    const auto known = device();
    return known && known->connected;
}

bool BluezLELink::isEnding() const
{
    return m_with.users.isEnding(m_address, m_with.queue.now());
}

LEPeripheralState BluezLELink::state() const
{
    switch (m_phase) {
    case Phase::waiting:
    case Phase::pausing:
    case Phase::connecting:
        return LEPeripheralState::connecting;
    case Phase::connected:
        return LEPeripheralState::connected;
    case Phase::doubtful:
    case Phase::cancelling:
        return m_again ? LEPeripheralState::connecting : LEPeripheralState::disconnecting;
    case Phase::ended:
        break;
    }
    return LEPeripheralState::disconnected;
}

void BluezLELink::connectDevice()
{
    m_with.users.join(m_address);
    m_joined = true;
    m_post([this] { tryConnect(); });
}

void BluezLELink::tryConnect()
{
    if (m_phase != Phase::waiting)
        return;
    const auto known = device();
    if (!known)
        end(BluezLinkEnd::failedToConnect);
    else if (known->connected && isEnding())
        m_timer = m_with.queue.after(bluez::retryPause, [this] { tryConnect(); });
    else if (known->connected)
        becomeConnected();
    else if (setConnecting(true); m_with.owner.mayConnect())
        askToConnect(known->path);
    else // it is told when that changes, except by a limit that passes
        m_timer = m_with.queue.after(bluez::retryPause, [this] { tryConnect(); });
}

void BluezLELink::setConnecting(bool connecting)
{
    if (std::exchange(m_connecting, connecting) != connecting)
        m_with.owner.setConnecting(connecting);
}

void BluezLELink::askToConnect(const QString& devicePath)
{
    m_timer.cancel();
    m_phase = Phase::connecting;
    m_with.users.ask(m_address);
    callDevice(devicePath, QStringLiteral("Connect"), [this](const QDBusMessage& reply) {
        if (m_phase == Phase::connecting)
            connectReplied(reply);
        else
            endIfCancelled();
    });
}

void BluezLELink::callDevice(const QString& devicePath, const QString& member, const BluezClient::Reply& reply)
{
    ++m_pendingCalls;
    m_with.client.call(
        deviceCall(devicePath, member), this, [this, reply, attempt = m_attempt](const QDBusMessage& answer) {
            if (attempt != m_attempt)
                return;
            --m_pendingCalls;
            reply(answer);
        });
}

void BluezLELink::connectReplied(const QDBusMessage& reply)
{
    const bool isRefused = isError(reply) && isUnderWay(reply);
    if (isRefused)
        m_with.users.refused(m_address);
    if (isUp())
        becomeConnected();
    else if (isRefused)
        connectLater();
    else if (isError(reply))
        stayInDoubtOfConnecting();
    else
        askWhetherUp();
}

/// Success may come without a link, and, when bluetoothd hears of the link's channel before it hears of the link, a
/// link may come without the news that the device is connected.
void BluezLELink::askWhetherUp()
{
    ++m_pendingCalls;
    const BluezProperty connected{
        device().value_or(BluezDevice()).path, bluez::deviceInterface, QStringLiteral("Connected")};
    m_with.client.refresh(connected, this, [this, attempt = m_attempt] {
        if (attempt != m_attempt)
            return;
        --m_pendingCalls;
        if (m_phase != Phase::connecting)
            endIfCancelled();
        else if (isUp())
            becomeConnected();
        else
            stayInDoubtOfConnecting();
    });
}

/// Neither success nor the error's text tells what is the matter.
void BluezLELink::stayInDoubtOfConnecting()
{
    m_timer = m_with.queue.after(bluez::doubt, [this] {
        if (isUp())
            becomeConnected();
        else
            end(BluezLinkEnd::failedToConnect);
    });
}

void BluezLELink::connectLater()
{
    m_phase = Phase::pausing;
    m_timer = m_with.queue.after(bluez::retryPause, [this] {
        m_phase = Phase::waiting;
        tryConnect();
    });
}

void BluezLELink::becomeConnected()
{
    m_timer.cancel();
    m_phase = Phase::connected;
    m_services.begin();
    setConnecting(false);
    m_with.events.connected(m_peripheral);
}

void BluezLELink::evaluate()
{
    switch (m_phase) {
    case Phase::waiting:
        tryConnect();
        break;
    case Phase::pausing:
        if (isUp())
            becomeConnected();
        break;
    case Phase::connected:
        if (!isUp())
            lose();
        else
            m_services.evaluate();
        break;
    case Phase::cancelling:
        endIfCancelled();
        break;
    case Phase::doubtful:
        if (!m_seenDown && !isUp())
            stayInDoubt();
        break;
    case Phase::connecting: // its answer comes in any case
    case Phase::ended:
        break;
    }
}

void BluezLELink::lose()
{
    m_services.end();
    m_phase = Phase::doubtful;
    stayInDoubt();
}

/// A channel hangs up before BlueZ says that the link is down, and only that is just before it says why.
void BluezLELink::stayInDoubt()
{
    m_seenDown = !isUp();
    m_timer = m_with.queue.after(bluez::doubt, [this] { letGo(); });
}

void BluezLELink::cancel()
{
    if (m_phase == Phase::cancelling || m_phase == Phase::ended) {
        m_again = false;
        return;
    }
    m_services.end();
    m_timer.cancel();
    m_again = false;
    letGo();
}

/// The end is reported once BlueZ has ended the link, when that is up to this process, and otherwise soon.
void BluezLELink::letGo()
{
    // Another of the centrals may have asked, and left before it was answered.
    const bool isAskedFor = m_pendingCalls > 0 || m_phase == Phase::waiting || m_phase == Phase::pausing;
    m_phase = Phase::cancelling;
    setConnecting(false);
    const auto known = device();
    const bool own = leaveUsers();
    if (own && known && (known->connected || isAskedFor)) {
        askToDisconnect(known->path);
        m_giveUp = m_with.queue.after(BluezLinkUsers::longestEnd, [this] { end(BluezLinkEnd::disconnected); });
    } else {
        if (own)
            m_with.users.notEnding(m_address);
        m_post([this] {
            if (m_phase == Phase::cancelling)
                end(BluezLinkEnd::disconnected);
        });
    }
}

void BluezLELink::askToDisconnect(const QString& devicePath)
{
    callDevice(devicePath, QStringLiteral("Disconnect"), [this](const QDBusMessage& /*reply*/) { endIfCancelled(); });
}

/// What stands after the end was seen by another of the centrals is a new link.
void BluezLELink::endIfCancelled()
{
    if (m_phase == Phase::cancelling && m_pendingCalls == 0 && (!isUp() || (m_ending && !isEnding())))
        end(BluezLinkEnd::disconnected);
}

void BluezLELink::abandon()
{
    if (leaveUsers())
        m_with.users.notEnding(m_address);
    m_ending = false;
    m_services.end();
    m_timer.cancel();
    m_giveUp.cancel();
    m_phase = Phase::ended;
    setConnecting(false);
    ++m_attempt;
    m_pendingCalls = 0;
}

void BluezLELink::connectAgain()
{
    m_again = m_phase == Phase::cancelling || m_phase == Phase::doubtful;
}

void BluezLELink::end(BluezLinkEnd how)
{
    if (m_phase == Phase::ended)
        return;
    abandon();
    if (std::exchange(m_again, false)) {
        m_phase = Phase::waiting;
        connectDevice();
        return;
    }
    m_with.owner.linkEnded(m_peripheral, how);
}

/// Returns whether BlueZ is now to be asked to end the link.
bool BluezLELink::leaveUsers()
{
    if (!std::exchange(m_joined, false))
        return false;
    m_ending = m_with.users.leave(m_address, m_with.queue.now());
    return m_ending;
}

void BluezLELink::channelLost()
{
    if (m_phase == Phase::connected)
        lose();
}

} // namespace harrowmint
