#pragma once

#include "support/bluez/BluezTypes.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>
#include <QSet>
#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <optional>

/// One end of a socket pair whose other end a client has: reads what the client sends.
struct SimulatedSocket {
    int own = -1; ///< this end
    int copy = -1; ///< of the client's end, as bluetoothd keeps one of a serial channel
    std::unique_ptr<QSocketNotifier> notifier;

    SimulatedSocket() = default;
    SimulatedSocket(const SimulatedSocket&) = delete;
    SimulatedSocket& operator=(const SimulatedSocket&) = delete;
    ~SimulatedSocket();
};

/// What bluetoothd does as far as a print agent can see it: objects with properties, and methods that behave well
/// unless told otherwise. Exists from one "start" to the next "stop"; several names on the bus are several of these.
class SimulatedBluezService final : public QDBusVirtualObject {
public:
    explicit SimulatedBluezService(const QString& busAddress);
    ~SimulatedBluezService() override;

    // Steering

    void start();
    void stop();
    /// Publishes an object, or more interfaces of one.
    void add(const QString& path, const BluezInterfaces& interfaces);
    /// Keeps an object back until its device connects.
    void stage(const QString& path, const BluezInterfaces& interfaces);
    /// Removes an object and what is below it.
    void removeObject(const QString& path);
    void change(
        const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated);
    /// How a method answers: `error` and `text`, after `delay` ms, or not at all (`mute`); only `times` times. For
    /// errors also `dropsLink` and `powersOff`, a little later; for Connect also `resolve` false (ServicesResolved
    /// never comes), `early` (ServicesResolved comes before the services), `silent` (no news that the device is
    /// connected) and `idle` (success without a link); for ConnectProfile `idle` (success without a channel).
    void behave(const QString& member, const QVariantMap& behaviour);
    /// The link is lost, without a reason: sockets hang up, and `delay` ms later Connected turns false.
    void dropLink(const QString& devicePath, int delay);
    /// Links go at once, all channels with them, the adapter's power `delay` ms later.
    void powerOff(const QString& adapterPath, int delay);
    void hangUp(const QString& path);
    void hangUpBelow(const QString& path);
    void stall(bool stalled);
    void send(const QString& path, const QByteArray& bytes);
    /// Passes a channel to the registered profile, unasked.
    void offerChannel(const QString& devicePath);
    [[nodiscard]] QStringList calls() const { return m_calls; }
    [[nodiscard]] QByteArray received(const QString& path) const { return m_received.value(path); }
    [[nodiscard]] QList<int> packets(const QString& path) const { return m_packets.value(path); }

    // The bus

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    using Method = void (SimulatedBluezService::*)(const QDBusMessage&);

    [[nodiscard]] static const QHash<QString, Method>& methods();
    [[nodiscard]] std::optional<QVariantMap> takeBehaviour(const QString& member);
    void later(int delay, std::function<void()> task);
    void reply(const QDBusMessage& message, const QVariantList& arguments = {});
    void fail(const QDBusMessage& message, const QString& error, const QString& text);
    void failAndFollowUp(const QDBusMessage& message, const QVariantMap& behaviour);
    void emitSignal(
        const QString& path, const QString& interface, const QString& member, const QVariantList& arguments);
    [[nodiscard]] QVariant property(const QString& path, const QString& interface, const QString& name) const;
    void setDevice(const QString& path, const QString& name, const QVariant& value);
    [[nodiscard]] bool isPowered(const QString& devicePath) const;
    [[nodiscard]] bool isConnected(const QString& devicePath) const;

    void getManagedObjects(const QDBusMessage& message);
    void get(const QDBusMessage& message);
    void setDiscoveryFilter(const QDBusMessage& message);
    void startDiscovery(const QDBusMessage& message);
    void stopDiscovery(const QDBusMessage& message);
    void connectDevice(const QDBusMessage& message);
    void linkUp(const QDBusMessage& message, bool resolve);
    void disconnectDevice(const QDBusMessage& message);
    void acquireWrite(const QDBusMessage& message);
    void writeValue(const QDBusMessage& message);
    void registerProfile(const QDBusMessage& message);
    void unregisterProfile(const QDBusMessage& message);
    void connectProfile(const QDBusMessage& message);
    void disconnectProfile(const QDBusMessage& message);
    void passChannel(const QString& devicePath, const std::function<void()>& done);
    /// Makes a socket pair for `path` and returns the client's end, which the caller closes.
    int openSocket(const QString& path, int type);
    void readSocket(const QString& path);
    void take(const QString& path, const QByteArray& bytes);

    QString m_busAddress;
    QString m_connectionName;
    int m_starts = 0;
    std::optional<QDBusConnection> m_bus;
    BluezManagedObjects m_objects;
    BluezManagedObjects m_staged;
    QHash<QString, QVariantMap> m_behaviours;
    QStringList m_calls;
    QSet<QString> m_discovering; ///< clients with a session
    QString m_latestSearcher; ///< client of the latest StartDiscovery: no earlier one is answered any more
    QHash<QString, QDBusMessage> m_connecting; ///< by device path
    QSet<QString> m_writing; ///< characteristics with a request under way
    std::optional<QDBusMessage> m_profile; ///< the request that registered it
    QHash<QString, std::shared_ptr<SimulatedSocket>> m_sockets; ///< by characteristic or device path
    QHash<QString, QByteArray> m_received;
    QHash<QString, QList<int>> m_packets;
    bool m_stalled = false;
    bool m_resolvesEarly = false;
    bool m_tellsOfLinks = true;
};
