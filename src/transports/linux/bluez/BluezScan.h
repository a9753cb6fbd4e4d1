#pragma once

#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezRadio.h"

#include <QObject>
#include <QSet>
#include <functional>

namespace harrowmint {

/// What a BluezScan reports, from the queue's own loop. The receiver may start and stop the scan.
struct BluezScanEvents {
    std::function<void(const BluezDevice& device)> sighted; ///< once for each device, again when its name shows
    std::function<void()> stopped; ///< no session is being ended any more
};

/// One central's search for advertising peripherals: a discovery session of its BlueZ client, begun and ended by one
/// request at a time. Lives on the client's queue; owned by the central, which outlives every event.
class BluezScan final : public QObject {
public:
    BluezScan(SerialQueue& queue, BluezClient& client, BluezRadioUser& radio, BluezScanEvents events);

    void start();
    void stop();
    /// What others do with the radio has changed: the session ends, or another begins.
    void radioChanged();
    /// BlueZ or the adapter is gone, and every session with it.
    void reset();
    /// The adapters have changed: the session moves to the one that is in use now.
    void adapterChanged();
    /// A device's properties have changed: it may have been seen.
    void deviceChanged(const QString& path, const QStringList& properties);
    /// Whether the session is being ended; `stopped` follows.
    [[nodiscard]] bool isEnding() const { return m_phase == Phase::stopping || (m_phase != Phase::idle && !mayRun()); }

private:
    enum class Phase { idle, starting, running, stopping };

    [[nodiscard]] bool mayRun() const { return m_wanted && m_radio.maySearch(); }
    void proceed();
    void setWaiting(bool waiting);
    void setIdle();
    void startDiscovery();
    void started(const QDBusMessage& reply);
    void stopDiscovery();
    void stopped(const QDBusMessage& reply);
    void sightKnown();
    void sight(const BluezDevice& device);
    void request(const QString& member, void (BluezScan::*then)(const QDBusMessage&));

    SerialQueue& m_queue;
    BluezClient& m_client;
    BluezRadioUser& m_radio;
    BluezScanEvents m_events;
    bool m_wanted = false;
    bool m_waiting = false; ///< for what others do with the radio
    bool m_mayRunStill = false; ///< refused as running: BlueZ may not have ended an earlier session
    Phase m_phase = Phase::idle;
    quint64 m_session = 0; ///< answers to an earlier session's requests are dropped
    QString m_adapter; ///< of the running session
    QSet<QString> m_named; ///< addresses reported with a name
    QSet<QString> m_nameless; ///< addresses reported without
    Timer m_retry;
    Timer m_lookAgain;
    Timer m_sightKnown;
};

} // namespace harrowmint
