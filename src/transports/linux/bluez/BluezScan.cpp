#include "transports/linux/bluez/BluezScan.h"

#include <utility>

namespace harrowmint {

namespace {

/// An adapter that was just switched on may refuse for a moment.
constexpr std::chrono::milliseconds startAgain{1'000};
/// While others use the radio: that a limit has passed is not told.
constexpr std::chrono::milliseconds lookAgain{1'000};

} // namespace

BluezScan::BluezScan(SerialQueue& queue, BluezClient& client, BluezRadioUser& radio, BluezScanEvents events)
    : m_queue(queue)
    , m_client(client)
    , m_radio(radio)
    , m_events(std::move(events))
{
}

void BluezScan::start()
{
    if (std::exchange(m_wanted, true))
        return;
    m_named.clear();
    m_nameless.clear();
    proceed();
    // A session that has not been ended meanwhile goes on, and does not begin again.
    m_sightKnown = m_queue.after({}, [this] { sightKnown(); });
}

void BluezScan::stop()
{
    m_wanted = false;
    m_retry.cancel();
    proceed();
}

void BluezScan::radioChanged()
{
    if (m_phase != Phase::idle || m_waiting)
        proceed();
}

void BluezScan::reset()
{
    m_wanted = false;
    m_retry.cancel();
    setWaiting(false);
    ++m_session;
    m_mayRunStill = false;
    m_radio.endRequest();
    setIdle();
}

void BluezScan::adapterChanged()
{
    if (m_phase == Phase::idle || m_adapter == m_client.objects().adapter())
        return;
    const bool wanted = m_wanted;
    m_client.send({m_adapter, bluez::adapterInterface, QStringLiteral("StopDiscovery"), {}});
    reset();
    m_wanted = wanted;
    proceed();
    m_events.stopped();
}

/// Brings the session nearer to what is wanted, unless a request is under way.
void BluezScan::proceed()
{
    setWaiting(m_wanted && !m_radio.maySearch());
    if (m_phase == Phase::idle && mayRun())
        startDiscovery();
    else if (m_phase == Phase::running && !mayRun())
        stopDiscovery();
}

void BluezScan::setWaiting(bool waiting)
{
    m_waiting = waiting;
    m_lookAgain.cancel();
    if (waiting)
        m_lookAgain = m_queue.after(lookAgain, [this] { proceed(); });
}

void BluezScan::setIdle()
{
    m_phase = Phase::idle;
    m_radio.endSearch();
}

void BluezScan::request(const QString& member, void (BluezScan::*then)(const QDBusMessage&))
{
    const BluezCall call{m_adapter, bluez::adapterInterface, member, {}};
    m_client.call(call, this, [this, then, session = m_session](const QDBusMessage& reply) {
        if (session != m_session)
            return;
        m_radio.endRequest();
        (this->*then)(reply);
    });
}

/// LE only, and no services: most printers do not advertise theirs.
void BluezScan::startDiscovery()
{
    if (!m_radio.beginSearch()) {
        setWaiting(true);
        return;
    }
    m_phase = Phase::starting;
    m_adapter = m_client.objects().adapter();
    const QVariantMap filter{{QStringLiteral("Transport"), QStringLiteral("le")}};
    m_client.send({m_adapter, bluez::adapterInterface, QStringLiteral("SetDiscoveryFilter"), {filter}});
    request(QStringLiteral("StartDiscovery"), &BluezScan::started);
}

void BluezScan::started(const QDBusMessage& reply)
{
    // When another program begins a search at the same moment BlueZ does not answer, but searches.
    const bool isRefused = reply.type() != QDBusMessage::ReplyMessage && reply.errorName() != bluez::noReplyError;
    // A request that it has left unanswered keeps BlueZ from ending its client's session, for as long as that lives:
    // each later one is refused so, and it searches. It answers the same when the controller would not begin.
    m_mayRunStill = isRefused && reply.errorName() == bluez::inProgressError;
    if (isRefused) {
        setIdle();
        m_retry = m_queue.after(startAgain, [this] { proceed(); });
        sightKnown();
        m_events.stopped();
        return;
    }
    m_phase = Phase::running;
    proceed();
    sightKnown();
}

void BluezScan::stopDiscovery()
{
    if (!m_radio.beginRequest()) {
        setWaiting(true);
        return;
    }
    m_phase = Phase::stopping;
    request(QStringLiteral("StopDiscovery"), &BluezScan::stopped);
}

/// Refused or not: more cannot be done.
void BluezScan::stopped(const QDBusMessage& /*reply*/)
{
    setIdle();
    proceed();
    m_events.stopped();
}

void BluezScan::sightKnown()
{
    for (const BluezDevice& device : m_client.objects().devices())
        sight(device);
}

void BluezScan::deviceChanged(const QString& path, const QStringList& properties)
{
    const bool tells = properties.contains(QStringLiteral("RSSI")) || properties.contains(QStringLiteral("Name"))
        || properties.contains(QStringLiteral("Alias"));
    const auto device = tells ? m_client.objects().deviceAt(path) : std::nullopt;
    if (device)
        sight(*device);
}

void BluezScan::sight(const BluezDevice& device)
{
    if (!m_wanted || (m_phase != Phase::running && !m_mayRunStill) || !device.seen)
        return;
    QSet<QString>& reported = device.name.isEmpty() ? m_nameless : m_named;
    if (m_named.contains(device.address) || reported.contains(device.address))
        return;
    reported.insert(device.address);
    m_events.sighted(device);
}

} // namespace harrowmint
