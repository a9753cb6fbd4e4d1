#include "transports/linux/bluez/BluezSerialPortProfile.h"

#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <sys/socket.h>

namespace harrowmint {

namespace {

const QString profilePath = QStringLiteral("/com/harrowmint/printer/serialport");

BluezCall managerCall(const QString& member, const QVariantList& arguments)
{
    return {bluez::managerPath, bluez::profileManagerInterface, member, arguments};
}

} // namespace

BluezSerialPortProfile::BluezSerialPortProfile(BluezClient& client)
    : m_client(client)
{
    m_client.publish(profilePath, this);
}

BluezSerialPortProfile::~BluezSerialPortProfile()
{
    if (!m_registeredWith.isEmpty() && m_registeredWith == m_client.owner())
        m_client.send(
            managerCall(QStringLiteral("UnregisterProfile"), {QVariant::fromValue(QDBusObjectPath(profilePath))}));
    m_client.withdraw(profilePath);
}

/// As a client, and without a channel number: BlueZ then looks the printer's own up. That this process has registered
/// it before, and did not hear of it, is as good.
void BluezSerialPortProfile::ensureRegistered(QObject* context, std::function<void(bool registered)> done)
{
    if (!m_registeredWith.isEmpty() && m_registeredWith == m_client.owner()) {
        done(true);
        return;
    }
    const QVariantMap options{{QStringLiteral("Role"), QStringLiteral("client")},
        {QStringLiteral("AutoConnect"), false}, {QStringLiteral("Name"), QStringLiteral("Harrowmint Printer")}};
    const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(profilePath)), bluez::serialPortUuid, options};
    m_client.call(managerCall(QStringLiteral("RegisterProfile"), arguments), context,
        [this, owner = m_client.owner(), done = std::move(done)](const QDBusMessage& reply) {
            const bool registered =
                reply.type() == QDBusMessage::ReplyMessage || reply.errorName() == bluez::alreadyExistsError;
            if (registered)
                m_registeredWith = owner;
            done(registered);
        });
}

void BluezSerialPortProfile::expect(const QString& devicePath, const BluezProfileEvents& events)
{
    m_expected.insert(devicePath, events);
}

void BluezSerialPortProfile::forget(const QString& devicePath)
{
    m_expected.remove(devicePath);
}

QString BluezSerialPortProfile::introspect(const QString& /*path*/) const
{
    return {};
}

bool BluezSerialPortProfile::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (message.interface() != bluez::profileInterface || message.service() != m_client.owner())
        return false;
    if (message.member() == QLatin1String("NewConnection")) {
        newConnection(message, connection);
        return true;
    }
    if (message.member() == QLatin1String("RequestDisconnection"))
        requestDisconnection(message);
    else if (message.member() == QLatin1String("Release"))
        m_registeredWith.clear();
    else
        return false;
    connection.send(message.createReply());
    return true;
}

/// BlueZ keeps a descriptor of its own: a channel that nobody waits for has to be shut down, closing does not end it.
void BluezSerialPortProfile::newConnection(const QDBusMessage& message, const QDBusConnection& connection)
{
    const QVariantList arguments = message.arguments();
    const auto descriptor = arguments.value(1).value<QDBusUnixFileDescriptor>();
    const auto expected = m_expected.constFind(arguments.value(0).value<QDBusObjectPath>().path());
    if (expected == m_expected.constEnd() || !descriptor.isValid()) {
        ::shutdown(descriptor.fileDescriptor(), SHUT_RDWR);
        connection.send(message.createErrorReply(bluez::rejectedError, QStringLiteral("Nobody waits for it")));
        return;
    }
    connection.send(message.createReply());
    const auto connected = expected->connected;
    connected(descriptor.fileDescriptor());
}

void BluezSerialPortProfile::requestDisconnection(const QDBusMessage& message)
{
    const auto expected = m_expected.constFind(message.arguments().value(0).value<QDBusObjectPath>().path());
    if (expected == m_expected.constEnd())
        return;
    const auto disconnected = expected->disconnected; // it may call `forget`
    disconnected();
}

} // namespace harrowmint
