#include "app/linux/BusService.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QFile>
#include <QUuid>

namespace harrowmint {

namespace {

const auto busName = QStringLiteral("org.freedesktop.DBus");
const auto busPath = QStringLiteral("/org/freedesktop/DBus");
const auto localPath = QStringLiteral("/org/freedesktop/DBus/Local");
const auto localInterface = QStringLiteral("org.freedesktop.DBus.Local");
const auto defaultSystemBus = QStringLiteral("unix:path=/var/run/dbus/system_bus_socket");
const auto autolaunch = QStringLiteral("autolaunch:");

bool isError(const QDBusMessage& reply)
{
    return reply.type() != QDBusMessage::ReplyMessage;
}

} // namespace

QString BusService::sessionBusAddress()
{
    QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (address.startsWith(autolaunch))
        return {}; // there is none, and this is not the program to start one
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString socket = runtime + QStringLiteral("/bus");
    if (address.isEmpty() && !runtime.isEmpty() && QFile::exists(socket))
        return QStringLiteral("unix:path=") + socket;
    return address;
}

QString BusService::systemBusAddress()
{
    const QString address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return address.isEmpty() ? defaultSystemBus : address;
}

BusService::BusService(SerialQueue& queue, Name name, BusServiceEvents& events)
    : m_queue(queue)
    , m_name(std::move(name))
    , m_events(events)
    , m_retry(queue.after({}, [this] { openBus(); }))
{
}

BusService::~BusService()
{
    closeBus();
}

void BusService::search()
{
    if (m_connection || m_searching)
        return;
    m_searching = true;
    m_pause = firstPause;
    m_retry = m_queue.after({}, [this] { openBus(); });
}

void BusService::openBus()
{
    if (m_name.busAddress.isEmpty()) {
        m_searching = false;
        return;
    }
    m_connectionName = QStringLiteral("harrowmint-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_connection = QDBusConnection::connectToPeer(m_name.busAddress, m_connectionName);
    if (!m_connection->isConnected()) {
        busGone();
        return;
    }
    const auto listen = [this](const QString& path, const QString& interface) {
        m_connection->connect(QString(), path, interface, QString(), this, SLOT(receive(QDBusMessage)));
    };
    listen(localPath, localInterface);
    listen(busPath, busName);
    listen(m_name.path, m_name.interface);
    greetBus();
}

void BusService::closeBus()
{
    m_connection.reset();
    if (!m_connectionName.isEmpty())
        QDBusConnection::disconnectFromPeer(std::exchange(m_connectionName, {}));
}

void BusService::busGone()
{
    closeBus();
    m_searching = m_pause <= lastPause;
    if (m_searching)
        m_retry = m_queue.after(m_pause, [this] { openBus(); });
    m_pause *= 2;
    setOwner({});
}

/// The rules are in place before the owner is asked for, so that no change is missed in between.
void BusService::greetBus()
{
    callBus(QStringLiteral("Hello"), {}, [this](const QDBusMessage& reply) {
        if (isError(reply))
            return busGone();
        m_searching = false;
        m_pause = firstPause;
    });
    const auto ignore = [](const QDBusMessage&) {};
    callBus(QStringLiteral("AddMatch"),
        {QStringLiteral("type='signal',sender='%1',interface='%1',member='NameOwnerChanged',arg0='%2'")
                .arg(busName, m_name.service)},
        ignore);
    callBus(QStringLiteral("AddMatch"),
        {QStringLiteral("type='signal',sender='%1',path='%2',interface='%3'")
                .arg(m_name.service, m_name.path, m_name.interface)},
        ignore);
    callBus(QStringLiteral("GetNameOwner"), {m_name.service}, [this](const QDBusMessage& reply) {
        if (!isError(reply))
            setOwner(reply.arguments().value(0).toString());
    });
}

void BusService::setOwner(const QString& owner)
{
    if (std::exchange(m_owner, owner) != owner)
        m_events.ownerChanged();
}

void BusService::receive(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (message.path() == localPath) {
        if (message.member() == QLatin1String("Disconnected"))
            busGone();
    } else if (message.service() == busName) {
        if (message.member() == QLatin1String("NameOwnerChanged") && arguments.value(0).toString() == m_name.service)
            setOwner(arguments.value(2).toString());
    } else if (isPresent() && message.service() == m_owner) {
        m_events.signalReceived(message);
    }
}

void BusService::call(
    const QString& interface, const QString& member, const QVariantList& arguments, const Reply& reply)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(isPresent() ? m_owner : m_name.service, m_name.path, interface, member);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    watch(message, reply);
}

void BusService::callBus(const QString& member, const QVariantList& arguments, const Reply& reply)
{
    QDBusMessage message = QDBusMessage::createMethodCall(busName, busPath, busName, member);
    message.setArguments(arguments);
    watch(message, [this, reply, name = m_connectionName](const QDBusMessage& answer) {
        if (name == m_connectionName)
            reply(answer);
    });
}

void BusService::watch(const QDBusMessage& message, const Reply& reply)
{
    const QDBusPendingCall pending = m_connection
        ? m_connection->asyncCall(message, static_cast<int>(answerTime.count()))
        : QDBusPendingCall::fromError(QDBusError(QDBusError::Disconnected, QStringLiteral("No message bus")));
    auto* watcher = new QDBusPendingCallWatcher(pending, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [reply](QDBusPendingCallWatcher* finished) {
        // Deleted first, at the latest by the loop: the message may hold a descriptor.
        finished->deleteLater();
        reply(finished->reply());
    });
}

} // namespace harrowmint
