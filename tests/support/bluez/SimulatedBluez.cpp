#include "support/bluez/SimulatedBluez.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QThread>
#include <QUuid>
#include <algorithm>

namespace {

constexpr int limit = 30'000;

} // namespace

SimulatedBluez::SimulatedBluez(const QString& busAddress)
    : m_connectionName(QUuid::createUuid().toString())
{
    registerBluezTypes();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral(SIMULATED_BLUEZ), {});
    m_bus = QDBusConnection::connectToBus(busAddress, m_connectionName);
    for (int waited = 0; waited < limit; waited += 10) {
        const QDBusMessage owned = m_bus->call(QDBusMessage::createMethodCall(simulatedBluezName, QStringLiteral("/"),
            QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        if (owned.type() == QDBusMessage::ReplyMessage)
            return;
        QThread::msleep(10);
    }
    qFatal("simulated_bluez does not start");
}

SimulatedBluez::~SimulatedBluez()
{
    m_bus.reset();
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_process.closeWriteChannel();
    m_process.waitForFinished(limit);
}

QVariant SimulatedBluez::steer(const char* member, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        simulatedBluezName, QStringLiteral("/"), simulatedBluezName, QLatin1String(member));
    call.setArguments(arguments);
    const QDBusMessage reply = m_bus->call(call, QDBus::Block, limit);
    if (reply.type() != QDBusMessage::ReplyMessage)
        qFatal("%s: %s", member, qPrintable(reply.errorMessage()));
    return reply.arguments().value(0);
}

void SimulatedBluez::add(const QString& path, const BluezInterfaces& interfaces)
{
    steer("Add", {path, QVariant::fromValue(interfaces)});
}

void SimulatedBluez::stage(const QString& path, const BluezInterfaces& interfaces)
{
    steer("Stage", {path, QVariant::fromValue(interfaces)});
}

void SimulatedBluez::change(
    const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated)
{
    steer("Change", {path, interface, changed, invalidated});
}

QStringList SimulatedBluez::calls()
{
    return steer("Calls").toStringList();
}

int SimulatedBluez::callCount(const QString& start)
{
    const QStringList all = calls();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&start](const QString& call) { return call.startsWith(start); }));
}

QByteArray SimulatedBluez::received(const QString& path)
{
    return steer("Received", {path}).toByteArray();
}

QList<int> SimulatedBluez::packets(const QString& path)
{
    return qdbus_cast<QList<int>>(steer("Packets", {path}));
}
