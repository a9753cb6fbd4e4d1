#pragma once

#include "transports/linux/bluez/BluezClient.h"

#include <QDBusVirtualObject>
#include <QMap>
#include <functional>

namespace harrowmint {

/// What a link hears from BlueZ about its device, within a call from BlueZ that is answered right afterwards.
struct BluezProfileEvents {
    std::function<void(int descriptor)> connected; ///< the channel; the descriptor stays the caller's
    std::function<void()> disconnected; ///< somebody asked BlueZ to end the connection
};

/// This process as a client of Serial Port services: BlueZ passes the channels that ConnectProfile has opened to it.
/// Registered when first needed, once for each life of bluetoothd, and unregistered on destruction. It never accepts
/// connections from outside. Lives on the client's queue.
class BluezSerialPortProfile final : public QDBusVirtualObject {
public:
    explicit BluezSerialPortProfile(BluezClient& client);
    ~BluezSerialPortProfile() override;

    /// Tells `done` whether the profile is registered, now or later, unless `context` dies first. It is not while
    /// another program has it.
    void ensureRegistered(QObject* context, std::function<void(bool registered)> done);
    /// Channels of this device go to `events` until `forget`; those of others are refused.
    void expect(const QString& devicePath, const BluezProfileEvents& events);
    void forget(const QString& devicePath);

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    void newConnection(const QDBusMessage& message, const QDBusConnection& connection);
    void requestDisconnection(const QDBusMessage& message);

    BluezClient& m_client;
    QString m_registeredWith; ///< that bluetoothd's unique name
    QMap<QString, BluezProfileEvents> m_expected;
};

} // namespace harrowmint
