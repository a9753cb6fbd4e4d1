#pragma once

#include "base/QueuePost.h"
#include "base/SerialQueue.h"
#include "transports/linux/bluez/BluezNames.h"
#include "transports/linux/bluez/BluezObjects.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <chrono>
#include <functional>
#include <optional>

class QDBusVirtualObject;

namespace harrowmint {

/// What is known of the system's Bluetooth service.
enum class BluezAccess {
    unknown, ///< being asked; another value follows within the short limit
    absent, ///< no bus, no bluetoothd, or one of them does not answer
    denied, ///< the bus refuses this program
    ready, ///< the objects are known
};

/// What a BluezClient reports, from its queue's own loop, never after its destructor has begun. The receiver must not
/// destroy the client within an event.
class BluezClientEvents {
public:
    BluezClientEvents() = default;
    BluezClientEvents(const BluezClientEvents&) = delete;
    BluezClientEvents& operator=(const BluezClientEvents&) = delete;
    virtual ~BluezClientEvents() = default;

    /// `access` has changed, or bluetoothd has been replaced.
    virtual void accessChanged() = 0;
    /// An object has appeared, disappeared or changed; `properties` are the names of the new values. Only while ready.
    virtual void objectChanged(const QString& path, const QString& interface, const QStringList& properties) = 0;
};

/// One request to BlueZ.
struct BluezCall {
    QString path;
    QString interface;
    QString member;
    QVariantList arguments;
    std::chrono::milliseconds limit = bluez::shortLimit;
};

/// One property of one of BlueZ's objects.
struct BluezProperty {
    QString path;
    QString interface;
    QString name;
};

/// One client of BlueZ: a connection to the system bus of its own, and a memory of BlueZ's objects. It looks for the
/// bus, for bluetoothd and for leave to use it until it finds them, and again after each has gone. Nothing blocks.
/// Lives on its owner's queue, on a thread with a Qt event loop.
///
/// The connection is opened as one to a peer, and greets the bus by itself: opening a bus connection in the toolkit's
/// way waits for the bus's answer, as long as that takes.
class BluezClient final : public QObject {
    Q_OBJECT

public:
    using Reply = std::function<void(const QDBusMessage& reply)>;

    /// `busAddress` empty: the system bus. Begins to connect once the queue's loop runs.
    BluezClient(SerialQueue& queue, QString busAddress, BluezClientEvents& events);
    /// Sends what is still waiting, and closes the connection.
    ~BluezClient() override;

    [[nodiscard]] BluezAccess access() const { return m_access; }
    /// The unique name of the running bluetoothd: another one after each restart. Empty when there is none.
    [[nodiscard]] const QString& owner() const { return m_owner; }
    /// Empty unless ready.
    [[nodiscard]] const BluezObjects& objects() const { return m_objects; }

    /// Sends a request; `reply` gets the answer or the error, once, on the queue, unless `context` dies first.
    /// A refusal by the bus makes this client `denied`.
    void call(const BluezCall& call, QObject* context, const Reply& reply);
    /// Asks for a property of an object anew, since BlueZ does not tell of every change. `done` runs on the queue once
    /// it is known, or cannot be had, unless `context` dies first.
    void refresh(const BluezProperty& property, QObject* context, const std::function<void()>& done);
    /// Sends a request whose answer nobody needs.
    void send(const BluezCall& call);
    /// Lets BlueZ call `object`, on this thread, under `path`; until `withdraw`.
    void publish(const QString& path, QDBusVirtualObject* object);
    void withdraw(const QString& path);

private Q_SLOTS:
    void receiveSignal(const QDBusMessage& message);

private:
    void openBus();
    void closeBus();
    void busGone();
    void greetBus();
    void addMatch(const QString& rule);
    void setOwner(const QString& owner);
    void readObjects();
    void takeObjects(const QDBusMessage& reply);
    void refused();
    void setAccess(BluezAccess access);
    void retryLater(const SerialQueue::Task& task);
    void objectAdded(const QDBusMessage& message);
    void objectRemoved(const QDBusMessage& message);
    void propertiesChanged(const QDBusMessage& message);
    void takeChange(const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& gone);
    [[nodiscard]] bool isReady() const { return m_access == BluezAccess::ready; }
    [[nodiscard]] QDBusMessage message(const BluezCall& call) const;
    void callBus(const QString& member, const QVariantList& arguments, const Reply& reply);
    void watch(const QDBusMessage& message, std::chrono::milliseconds limit, QObject* context, const Reply& reply);

    SerialQueue& m_queue;
    QString m_busAddress;
    BluezClientEvents& m_events;
    std::optional<QDBusConnection> m_connection;
    QString m_connectionName;
    QMap<QString, QDBusVirtualObject*> m_published;
    BluezAccess m_access = BluezAccess::unknown;
    QString m_owner;
    BluezObjects m_objects;
    Timer m_retry;
    QueuePost m_post;
};

} // namespace harrowmint
