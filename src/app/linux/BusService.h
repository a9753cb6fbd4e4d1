#pragma once

#include "base/SerialQueue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <chrono>
#include <functional>
#include <optional>

namespace harrowmint {

/// What a BusService reports, from its queue's own loop, never after its destructor has begun. The receiver must not
/// destroy the service within an event.
class BusServiceEvents {
public:
    BusServiceEvents() = default;
    BusServiceEvents(const BusServiceEvents&) = delete;
    BusServiceEvents& operator=(const BusServiceEvents&) = delete;
    virtual ~BusServiceEvents() = default;

    /// The service has appeared, has been replaced or is gone.
    virtual void ownerChanged() = 0;
    /// The service has sent a signal of the interface that was asked for.
    virtual void signalReceived(const QDBusMessage& message) = 0;
};

/// One service of a message bus, as a client sees it. It looks for the bus at growing intervals for about two minutes,
/// then no more until the bus has been lost again or `search` is called; a service that comes or goes on a bus that is
/// there is told by the bus. An idle one causes no wake-ups. Nothing blocks, whatever the bus or the service do.
/// Lives on its owner's queue, on a thread with a Qt event loop.
///
/// The connection is opened as one to a peer, and greets the bus by itself: opening a bus connection in the toolkit's
/// way waits for the bus's answer, as long as that takes.
class BusService final : public QObject {
    Q_OBJECT

public:
    using Reply = std::function<void(const QDBusMessage& reply)>;

    /// Which service on which bus, and which of its interfaces sends the signals of interest.
    struct Name {
        QString busAddress; ///< empty: there is no such bus
        QString service;
        QString path;
        QString interface;
    };

    /// How long the bus or the service may take to answer.
    static constexpr std::chrono::milliseconds answerTime{5'000};
    /// The first wait before a new look for the bus; each further one is twice as long, up to the longest, the last.
    static constexpr std::chrono::milliseconds firstPause{1'000};
    static constexpr std::chrono::milliseconds lastPause{64'000};

    /// The addresses of the user's bus and of the system's; empty when there is none.
    [[nodiscard]] static QString sessionBusAddress();
    [[nodiscard]] static QString systemBusAddress();

    /// Begins to connect once the queue's loop runs.
    BusService(SerialQueue& queue, Name name, BusServiceEvents& events);
    ~BusService() override;

    /// Whether the service is there.
    [[nodiscard]] bool isPresent() const { return !m_owner.isEmpty(); }
    /// Looks for the bus now if it is not being looked for.
    void search();
    /// Calls a method; `reply` gets the answer or the error, once, unless this object dies first.
    void call(const QString& interface, const QString& member, const QVariantList& arguments, const Reply& reply);

private Q_SLOTS:
    void receive(const QDBusMessage& message);

private:
    void openBus();
    void closeBus();
    void busGone();
    void greetBus();
    void setOwner(const QString& owner);
    void callBus(const QString& member, const QVariantList& arguments, const Reply& reply);
    void watch(const QDBusMessage& message, const Reply& reply);

    SerialQueue& m_queue;
    Name m_name;
    BusServiceEvents& m_events;
    std::optional<QDBusConnection> m_connection;
    QString m_connectionName;
    QString m_owner; ///< the unique name: another one after each restart
    std::chrono::milliseconds m_pause = firstPause;
    bool m_searching = true; ///< an attempt runs or is planned
    Timer m_retry;
};

} // namespace harrowmint
