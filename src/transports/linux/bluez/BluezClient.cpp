#include "transports/linux/bluez/BluezClient.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QUuid>

namespace harrowmint {

namespace {

const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");
const QString localPath = QStringLiteral("/org/freedesktop/DBus/Local");
const QString localInterface = QStringLiteral("org.freedesktop.DBus.Local");
const QString systemBusAddress = QStringLiteral("unix:path=/var/run/dbus/system_bus_socket");

/// While the bus or bluetoothd is mute or refuses us: nothing tells when that ends.
constexpr std::chrono::milliseconds searchPause{3'000};

bool isError(const QDBusMessage& reply)
{
    return reply.type() != QDBusMessage::ReplyMessage;
}

QString defaultBusAddress()
{
    const QString address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return address.isEmpty() ? systemBusAddress : address;
}

} // namespace

BluezClient::BluezClient(SerialQueue& queue, QString busAddress, BluezClientEvents& events)
    : m_queue(queue)
    , m_busAddress(busAddress.isEmpty() ? defaultBusAddress() : std::move(busAddress))
    , m_events(events)
    , m_post(queue)
{
    m_post([this] { openBus(); });
}

BluezClient::~BluezClient()
{
    closeBus();
}

void BluezClient::openBus()
{
    m_connectionName = QStringLiteral("harrowmint-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_connection = QDBusConnection::connectToPeer(m_busAddress, m_connectionName);
    if (!m_connection->isConnected()) {
        busGone();
        return;
    }
    const auto listen = [this](const QString& path, const QString& interface) {
        m_connection->connect(QString(), path, interface, QString(), this, SLOT(receiveSignal(QDBusMessage)));
    };
    listen(localPath, localInterface);
    listen(busPath, busName);
    listen(QString(), bluez::objectManagerInterface);
    listen(QString(), bluez::propertiesInterface);
    for (auto object = m_published.begin(); object != m_published.end(); ++object)
        m_connection->registerVirtualObject(object.key(), object.value());
    greetBus();
}

void BluezClient::closeBus()
{
    m_connection.reset();
    if (!m_connectionName.isEmpty())
        QDBusConnection::disconnectFromPeer(std::exchange(m_connectionName, {}));
}

void BluezClient::busGone()
{
    closeBus();
    m_owner.clear();
    m_objects.clear();
    retryLater([this] { openBus(); });
    setAccess(BluezAccess::absent);
}

/// The rules are in place before the owner is asked for, so that no change is missed in between.
void BluezClient::greetBus()
{
    callBus(QStringLiteral("Hello"), {}, [this](const QDBusMessage& reply) {
        if (isError(reply))
            busGone();
    });
    addMatch(QStringLiteral("sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                            "member='NameOwnerChanged',arg0='org.bluez'"));
    addMatch(QStringLiteral("sender='org.bluez',interface='org.freedesktop.DBus.ObjectManager'"));
    addMatch(QStringLiteral("sender='org.bluez',interface='org.freedesktop.DBus.Properties',arg0='%1'")
                 .arg(bluez::adapterInterface));
    addMatch(QStringLiteral("sender='org.bluez',interface='org.freedesktop.DBus.Properties',arg0='%1'")
                 .arg(bluez::deviceInterface));
    callBus(QStringLiteral("GetNameOwner"), {bluez::service}, [this](const QDBusMessage& reply) {
        if (m_owner.isEmpty())
            setOwner(isError(reply) ? QString() : reply.arguments().value(0).toString());
    });
}

void BluezClient::addMatch(const QString& rule)
{
    callBus(QStringLiteral("AddMatch"), {QStringLiteral("type='signal',") + rule}, [](const QDBusMessage&) {});
}

void BluezClient::setOwner(const QString& owner)
{
    m_retry.cancel();
    m_owner = owner;
    m_objects.clear();
    if (owner.isEmpty()) {
        setAccess(BluezAccess::absent);
        return;
    }
    setAccess(BluezAccess::unknown);
    readObjects();
}

void BluezClient::readObjects()
{
    const BluezCall getManagedObjects{
        QStringLiteral("/"), bluez::objectManagerInterface, QStringLiteral("GetManagedObjects"), {}};
    call(getManagedObjects, this, [this, owner = m_owner](const QDBusMessage& reply) {
        if (owner == m_owner)
            takeObjects(reply);
    });
}

void BluezClient::takeObjects(const QDBusMessage& reply)
{
    if (reply.errorName() == bluez::accessDeniedError)
        return;
    if (isError(reply) || reply.signature() != QLatin1String("a{oa{sa{sv}}}")) {
        retryLater([this] { readObjects(); });
        setAccess(BluezAccess::absent);
        return;
    }
    m_objects.clear();
    const auto argument = reply.arguments().value(0).value<QDBusArgument>();
    argument.beginMap();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        BluezObjects::Interfaces interfaces;
        argument.beginMapEntry();
        argument >> path >> interfaces;
        argument.endMapEntry();
        m_objects.add(path.path(), interfaces);
    }
    argument.endMap();
    setAccess(BluezAccess::ready);
}

void BluezClient::refused()
{
    retryLater([this] { readObjects(); });
    setAccess(BluezAccess::denied);
}

void BluezClient::setAccess(BluezAccess access)
{
    if (std::exchange(m_access, access) != access)
        m_events.accessChanged();
}

void BluezClient::retryLater(const SerialQueue::Task& task)
{
    m_retry = m_queue.after(searchPause, task);
}

QDBusMessage BluezClient::message(const BluezCall& call) const
{
    // To this bluetoothd and no other: its successor knows nothing of what was going on.
    QDBusMessage message = QDBusMessage::createMethodCall(
        m_owner.isEmpty() ? bluez::service : m_owner, call.path, call.interface, call.member);
    message.setArguments(call.arguments);
    message.setAutoStartService(false);
    return message;
}

void BluezClient::call(const BluezCall& call, QObject* context, const Reply& reply)
{
    watch(message(call), call.limit, context, [this, reply](const QDBusMessage& answer) {
        const bool denied = answer.errorName() == bluez::accessDeniedError;
        reply(answer);
        if (denied)
            refused();
    });
}

void BluezClient::refresh(const BluezProperty& property, QObject* context, const std::function<void()>& done)
{
    const BluezCall get{
        property.path, bluez::propertiesInterface, QStringLiteral("Get"), {property.interface, property.name}};
    call(get, context, [this, property, owner = m_owner, done](const QDBusMessage& reply) {
        if (reply.signature() == QLatin1String("v") && isReady() && owner == m_owner) {
            const QVariant value = reply.arguments().at(0).value<QDBusVariant>().variant();
            takeChange(property.path, property.interface, {{property.name, value}}, {});
        }
        done();
    });
}

void BluezClient::send(const BluezCall& call)
{
    if (m_connection)
        m_connection->send(message(call));
}

void BluezClient::callBus(const QString& member, const QVariantList& arguments, const Reply& reply)
{
    QDBusMessage call = QDBusMessage::createMethodCall(busName, busPath, busName, member);
    call.setArguments(arguments);
    watch(call, bluez::shortLimit, this, [this, reply, name = m_connectionName](const QDBusMessage& answer) {
        if (name == m_connectionName)
            reply(answer);
    });
}

void BluezClient::watch(
    const QDBusMessage& message, std::chrono::milliseconds limit, QObject* context, const Reply& reply)
{
    const QDBusPendingCall pending = m_connection
        ? m_connection->asyncCall(message, static_cast<int>(limit.count()))
        : QDBusPendingCall::fromError(QDBusError(QDBusError::Disconnected, QStringLiteral("No system bus")));
    auto* watcher = new QDBusPendingCallWatcher(pending, context);
    connect(watcher, &QDBusPendingCallWatcher::finished, context, [reply](QDBusPendingCallWatcher* finished) {
        // Deleted first, at the latest by the loop: the message may hold a descriptor.
        finished->deleteLater();
        reply(finished->reply());
    });
}

void BluezClient::publish(const QString& path, QDBusVirtualObject* object)
{
    m_published.insert(path, object);
    if (m_connection)
        m_connection->registerVirtualObject(path, object);
}

void BluezClient::withdraw(const QString& path)
{
    m_published.remove(path);
    if (m_connection)
        m_connection->unregisterObject(path);
}

void BluezClient::receiveSignal(const QDBusMessage& message)
{
    if (message.path() == localPath) {
        if (message.member() == QLatin1String("Disconnected"))
            busGone();
    } else if (message.service() == busName) {
        const QVariantList arguments = message.arguments();
        if (message.member() == QLatin1String("NameOwnerChanged") && arguments.value(0).toString() == bluez::service)
            setOwner(arguments.value(2).toString());
    } else if (message.service() == m_owner) {
        if (message.member() == QLatin1String("InterfacesAdded"))
            objectAdded(message);
        else if (message.member() == QLatin1String("InterfacesRemoved"))
            objectRemoved(message);
        else if (message.member() == QLatin1String("PropertiesChanged"))
            propertiesChanged(message);
    }
}

void BluezClient::objectAdded(const QDBusMessage& message)
{
    if (message.signature() != QLatin1String("oa{sa{sv}}") || !isReady())
        return;
    const QString path = message.arguments().at(0).value<QDBusObjectPath>().path();
    const auto interfaces = qdbus_cast<BluezObjects::Interfaces>(message.arguments().at(1));
    m_objects.add(path, interfaces);
    for (auto i = interfaces.begin(); i != interfaces.end(); ++i)
        m_events.objectChanged(path, i.key(), i.value().keys());
}

void BluezClient::objectRemoved(const QDBusMessage& message)
{
    if (message.signature() != QLatin1String("oas") || !isReady())
        return;
    const QString path = message.arguments().at(0).value<QDBusObjectPath>().path();
    const QStringList interfaces = message.arguments().at(1).toStringList();
    m_objects.remove(path, interfaces);
    for (const QString& interface : interfaces)
        m_events.objectChanged(path, interface, {});
}

void BluezClient::propertiesChanged(const QDBusMessage& message)
{
    if (message.signature() != QLatin1String("sa{sv}as") || !isReady())
        return;
    takeChange(message.path(), message.arguments().at(0).toString(), qdbus_cast<QVariantMap>(message.arguments().at(1)),
        message.arguments().at(2).toStringList());
}

void BluezClient::takeChange(
    const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& gone)
{
    m_objects.change(path, interface, changed, gone);
    m_events.objectChanged(path, interface, changed.keys());
}

} // namespace harrowmint
