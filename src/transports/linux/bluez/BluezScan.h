#pragma once

#include "transports/linux/bluez/BluezClient.h"

#include <QObject>
#include <QSet>
#include <functional>

namespace harrowmint {

/// What a BluezScan reports, from the queue's own loop. The receiver may start and stop the scan.
struct BluezScanEvents {
    std::function<bool()> mayRun; ///< asked: whether there may be a session now
    std::function<bool()> begin; ///< the same, just before one begins
    std::function<void()> over; ///< BlueZ has no session of this scan any more
    std::function<void(const BluezDevice& device)> sighted; ///< once for each device, again when its name shows
    std::function<void()> stopped; ///< no session is being ended any more
};

/// One central's search for advertising peripherals: a discovery session of its BlueZ client, begun and ended by one
/// request at a time. Lives on the client's queue; owned by the central, which outlives every event.
class BluezScan final : public QObject {
public:
    BluezScan(SerialQueue& queue, BluezClient& client, BluezScanEvents events);

    void start();
    void stop();
    /// What `mayRun` answers may have changed: the session ends, or another begins. While it answers no it is asked
    /// again every second.
    void permissionChanged();
    /// BlueZ or the adapter is gone, and every session with it.
    void reset();
    /// The adapters have changed: the session moves to the one that is in use now.
    void adapterChanged();
    /// A device's properties have changed: it may have been seen.
    void deviceChanged(const QString& path, const QStringList& properties);
    /// Whether the session is being ended; `stopped` follows.
    [[nodiscard]] bool isEnding() const
    {
        return m_phase == Phase::stopping || (m_phase == Phase::starting && !(m_wanted && m_events.mayRun()));
    }

private:
    enum class Phase { idle, starting, running, stopping };

    void proceed();
    void setRefused(bool refused);
    void setPhase(Phase phase);
    void startDiscovery();
    void started(const QDBusMessage& reply);
    void stopDiscovery();
    void stopped(const QDBusMessage& reply);
    void sight(const BluezDevice& device);
    void request(const QString& member, void (BluezScan::*then)(const QDBusMessage&));

    SerialQueue& m_queue;
    BluezClient& m_client;
    BluezScanEvents m_events;
    bool m_wanted = false;
    bool m_refused = false; ///< there may be no session now
    Phase m_phase = Phase::idle;
    quint64 m_session = 0; ///< answers to an earlier session's requests are dropped
    QString m_adapter; ///< of the running session
    QSet<QString> m_named; ///< addresses reported with a name
    QSet<QString> m_nameless; ///< addresses reported without
    Timer m_retry;
    Timer m_askAgain;
};

} // namespace harrowmint
