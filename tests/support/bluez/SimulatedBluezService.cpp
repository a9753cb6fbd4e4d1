#include "support/bluez/SimulatedBluezService.h"

#include <QDBusArgument>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

const QString adapterInterface = QStringLiteral("org.bluez.Adapter1");
const QString deviceInterface = QStringLiteral("org.bluez.Device1");
const QString failed = QStringLiteral("org.bluez.Error.Failed");
const QString notReady = QStringLiteral("org.bluez.Error.NotReady");
const QString objectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");

constexpr int connectDelay = 20;
constexpr int resolveDelay = 30;
constexpr int disconnectDelay = 60;

} // namespace

SimulatedBluezService::SimulatedBluezService(const QString& busAddress)
    : m_busAddress(busAddress)
{
}

SimulatedBluezService::~SimulatedBluezService()
{
    stop();
}

/// Each start is another client of the bus, with another unique name, as for a program that is started again.
void SimulatedBluezService::start()
{
    stop();
    m_connectionName = QStringLiteral("bluez%1").arg(++m_starts);
    m_bus = QDBusConnection::connectToBus(m_busAddress, m_connectionName);
    m_bus->registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
    if (!m_bus->registerService(QStringLiteral("org.bluez")))
        qFatal("org.bluez is taken");
}

void SimulatedBluezService::stop()
{
    m_bus.reset();
    if (!m_connectionName.isEmpty())
        QDBusConnection::disconnectFromBus(std::exchange(m_connectionName, {}));
    m_discovering.clear();
    m_connecting.clear();
    m_writing.clear();
    m_profile.reset();
    m_sockets.clear();
}

void SimulatedBluezService::later(int delay, std::function<void()> task)
{
    auto* timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, [this, timer, life = m_starts, task = std::move(task)] {
        timer->deleteLater();
        if (life == m_starts && m_bus)
            task();
    });
    timer->start(delay);
}

void SimulatedBluezService::reply(const QDBusMessage& message, const QVariantList& arguments)
{
    if (m_bus)
        m_bus->send(message.createReply(arguments));
}

void SimulatedBluezService::fail(const QDBusMessage& message, const QString& error, const QString& text)
{
    if (m_bus)
        m_bus->send(message.createErrorReply(error, text));
}

void SimulatedBluezService::emitSignal(
    const QString& path, const QString& interface, const QString& member, const QVariantList& arguments)
{
    if (!m_bus)
        return;
    QDBusMessage message = QDBusMessage::createSignal(path, interface, member);
    message.setArguments(arguments);
    m_bus->send(message);
}

// Objects

void SimulatedBluezService::add(const QString& path, const BluezInterfaces& interfaces)
{
    BluezInterfaces& object = m_objects[QDBusObjectPath(path)];
    for (auto i = interfaces.begin(); i != interfaces.end(); ++i)
        object.insert(i.key(), i.value());
    emitSignal(QStringLiteral("/"), objectManager, QStringLiteral("InterfacesAdded"),
        {QVariant::fromValue(QDBusObjectPath(path)), QVariant::fromValue(interfaces)});
}

void SimulatedBluezService::stage(const QString& path, const BluezInterfaces& interfaces)
{
    m_staged.insert(QDBusObjectPath(path), interfaces);
}

void SimulatedBluezService::removeObject(const QString& path)
{
    hangUpBelow(path);
    QStringList gone{path};
    for (const QDBusObjectPath& known : m_objects.keys()) {
        if (known.path().startsWith(path + QLatin1Char('/')))
            gone.append(known.path());
    }
    std::sort(gone.begin(), gone.end(), std::greater<>()); // what is below an object goes before it
    for (const QString& each : gone) {
        const QStringList interfaces = m_objects.take(QDBusObjectPath(each)).keys();
        emitSignal(QStringLiteral("/"), objectManager, QStringLiteral("InterfacesRemoved"),
            {QVariant::fromValue(QDBusObjectPath(each)), interfaces});
    }
}

void SimulatedBluezService::change(
    const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated)
{
    QVariantMap& known = m_objects[QDBusObjectPath(path)][interface];
    known.insert(changed);
    for (const QString& name : invalidated)
        known.remove(name);
    emitSignal(path, properties, QStringLiteral("PropertiesChanged"), {interface, changed, invalidated});
}

QVariant SimulatedBluezService::property(const QString& path, const QString& interface, const QString& name) const
{
    return m_objects.value(QDBusObjectPath(path)).value(interface).value(name);
}

void SimulatedBluezService::setDevice(const QString& path, const QString& name, const QVariant& value)
{
    if (property(path, deviceInterface, name) != value)
        change(path, deviceInterface, {{name, value}}, {});
}

bool SimulatedBluezService::isPowered(const QString& devicePath) const
{
    const auto adapter = property(devicePath, deviceInterface, QStringLiteral("Adapter")).value<QDBusObjectPath>();
    return property(adapter.path(), adapterInterface, QStringLiteral("Powered")).toBool();
}

bool SimulatedBluezService::isConnected(const QString& devicePath) const
{
    return property(devicePath, deviceInterface, QStringLiteral("Connected")).toBool();
}

// Steering

void SimulatedBluezService::behave(const QString& member, const QVariantMap& behaviour)
{
    m_behaviours.insert(member, behaviour);
}

std::optional<QVariantMap> SimulatedBluezService::takeBehaviour(const QString& member)
{
    const auto behaviour = m_behaviours.find(member);
    if (behaviour == m_behaviours.end())
        return std::nullopt;
    const QVariantMap taken = *behaviour;
    const int times = taken.value(QStringLiteral("times"), -1).toInt();
    if (times == 1)
        m_behaviours.erase(behaviour);
    else if (times > 1)
        behaviour->insert(QStringLiteral("times"), times - 1);
    return taken;
}

void SimulatedBluezService::dropLink(const QString& devicePath, int delay)
{
    hangUpBelow(devicePath);
    if (delay > 0) {
        later(delay, [this, devicePath] { dropLink(devicePath, 0); });
        return;
    }
    setDevice(devicePath, QStringLiteral("ServicesResolved"), false);
    setDevice(devicePath, QStringLiteral("Connected"), false);
}

/// The links go first, and a moment later the adapter says why.
void SimulatedBluezService::powerOff(const QString& adapterPath, int delay)
{
    hangUpBelow(adapterPath);
    for (const QDBusObjectPath& path : m_objects.keys()) {
        if (path.path().startsWith(adapterPath + QLatin1Char('/')) && isConnected(path.path()))
            dropLink(path.path(), 0);
    }
    m_discovering.clear();
    const auto tell = [this, adapterPath] {
        change(adapterPath, adapterInterface,
            {{QStringLiteral("Powered"), false}, {QStringLiteral("Discovering"), false}}, {});
    };
    if (delay > 0)
        later(delay, tell);
    else
        tell();
}

// The bus

QString SimulatedBluezService::introspect(const QString& /*path*/) const
{
    return {};
}

const QHash<QString, SimulatedBluezService::Method>& SimulatedBluezService::methods()
{
    using Service = SimulatedBluezService;
    static const QHash<QString, Method> table{
        {QStringLiteral("GetManagedObjects"), &Service::getManagedObjects},
        {QStringLiteral("Get"), &Service::get},
        {QStringLiteral("SetDiscoveryFilter"), &Service::setDiscoveryFilter},
        {QStringLiteral("StartDiscovery"), &Service::startDiscovery},
        {QStringLiteral("StopDiscovery"), &Service::stopDiscovery},
        {QStringLiteral("Connect"), &Service::connectDevice},
        {QStringLiteral("Disconnect"), &Service::disconnectDevice},
        {QStringLiteral("AcquireWrite"), &Service::acquireWrite},
        {QStringLiteral("WriteValue"), &Service::writeValue},
        {QStringLiteral("RegisterProfile"), &Service::registerProfile},
        {QStringLiteral("UnregisterProfile"), &Service::unregisterProfile},
        {QStringLiteral("ConnectProfile"), &Service::connectProfile},
        {QStringLiteral("DisconnectProfile"), &Service::disconnectProfile},
    };
    return table;
}

bool SimulatedBluezService::handleMessage(const QDBusMessage& message, const QDBusConnection& /*connection*/)
{
    const QString member = message.member();
    if (!methods().contains(member))
        return false;
    m_calls.append(member + QLatin1Char(' ') + message.path());
    if (member == QLatin1String("Connect") && !m_discovering.isEmpty())
        m_calls.last() += QStringLiteral(" beside a search");
    if (member == QLatin1String("StartDiscovery"))
        m_latestSearcher = message.service();
    const QVariantMap behaviour = takeBehaviour(member).value_or(QVariantMap());
    if (behaviour.value(QStringLiteral("mute")).toBool()) {
        if (member == QLatin1String("Connect"))
            m_connecting.insert(message.path(), message);
        return true;
    }
    const QString error = behaviour.value(QStringLiteral("error")).toString();
    if (member == QLatin1String("Connect")) {
        m_tellsOfLinks = !behaviour.value(QStringLiteral("silent")).toBool();
        m_resolvesEarly = behaviour.value(QStringLiteral("early")).toBool();
    }
    if (member == QLatin1String("Connect") && behaviour.value(QStringLiteral("resolve"), true) == false) {
        linkUp(message, false);
        return true;
    }
    const auto answer = [this, message, error, behaviour] {
        if (!error.isEmpty())
            failAndFollowUp(message, behaviour);
        else if (behaviour.value(QStringLiteral("idle")).toBool())
            reply(message);
        else
            (this->*methods().value(message.member()))(message);
    };
    const int delay = behaviour.value(QStringLiteral("delay"), 0).toInt();
    if (delay == 0) {
        answer();
        return true;
    }
    later(delay, answer);
    return true;
}

/// What is behind an error shows a little later than the error.
void SimulatedBluezService::failAndFollowUp(const QDBusMessage& message, const QVariantMap& behaviour)
{
    constexpr int shortlyAfter = 20;
    fail(message, behaviour.value(QStringLiteral("error")).toString(),
        behaviour.value(QStringLiteral("text")).toString());
    const QString device = message.path().section(QLatin1Char('/'), 0, 4);
    if (behaviour.value(QStringLiteral("dropsLink")).toBool())
        later(shortlyAfter, [this, device] { dropLink(device, 0); });
    if (behaviour.value(QStringLiteral("powersOff")).toBool())
        powerOff(device.section(QLatin1Char('/'), 0, 3), shortlyAfter);
}

void SimulatedBluezService::getManagedObjects(const QDBusMessage& message)
{
    reply(message, {QVariant::fromValue(m_objects)});
}

void SimulatedBluezService::get(const QDBusMessage& message)
{
    const QVariant value =
        property(message.path(), message.arguments().value(0).toString(), message.arguments().value(1).toString());
    if (value.isValid())
        reply(message, {QVariant::fromValue(QDBusVariant(value))});
    else
        fail(message, QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"), QStringLiteral("No such property"));
}

// Discovery: one session for each client

void SimulatedBluezService::setDiscoveryFilter(const QDBusMessage& message)
{
    const auto filter = qdbus_cast<QVariantMap>(message.arguments().value(0));
    m_calls.last() += QLatin1Char(' ') + filter.value(QStringLiteral("Transport")).toString();
    reply(message);
}

void SimulatedBluezService::startDiscovery(const QDBusMessage& message)
{
    if (!property(message.path(), adapterInterface, QStringLiteral("Powered")).toBool()) {
        fail(message, notReady, QStringLiteral("Resource Not Ready"));
    } else if (m_discovering.contains(message.service())) {
        fail(message, QStringLiteral("org.bluez.Error.InProgress"), QStringLiteral("Operation already in progress"));
    } else {
        m_discovering.insert(message.service());
        change(message.path(), adapterInterface, {{QStringLiteral("Discovering"), true}}, {});
        if (m_latestSearcher == message.service())
            reply(message);
    }
}

void SimulatedBluezService::stopDiscovery(const QDBusMessage& message)
{
    if (!m_discovering.remove(message.service())) {
        fail(message, failed, QStringLiteral("No discovery started"));
        return;
    }
    if (m_discovering.isEmpty())
        change(message.path(), adapterInterface, {{QStringLiteral("Discovering"), false}}, {});
    reply(message);
}

// Links

void SimulatedBluezService::connectDevice(const QDBusMessage& message)
{
    const QString path = message.path();
    if (!m_objects.contains(QDBusObjectPath(path)))
        fail(message, QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"), QStringLiteral("No such object"));
    else if (!isPowered(path))
        fail(message, failed, QStringLiteral("Input/output error"));
    else if (isConnected(path))
        reply(message);
    else if (m_connecting.contains(path))
        fail(message, failed, QStringLiteral("Operation already in progress"));
    else
        linkUp(message, true);
}

void SimulatedBluezService::linkUp(const QDBusMessage& message, bool resolve)
{
    const QString path = message.path();
    m_connecting.insert(path, message);
    later(connectDelay, [this, path, resolve] {
        if (!m_connecting.contains(path))
            return;
        if (m_tellsOfLinks)
            setDevice(path, QStringLiteral("Connected"), true);
        else
            m_objects[QDBusObjectPath(path)][deviceInterface].insert(QStringLiteral("Connected"), true);
        reply(m_connecting.take(path));
        later(resolveDelay, [this, path, resolve] {
            if (!resolve || !isConnected(path))
                return;
            if (m_resolvesEarly)
                setDevice(path, QStringLiteral("ServicesResolved"), true);
            for (const QDBusObjectPath& staged : m_staged.keys()) {
                if (staged.path().startsWith(path))
                    add(staged.path(), m_staged.take(staged));
            }
            if (!m_resolvesEarly)
                setDevice(path, QStringLiteral("ServicesResolved"), true);
        });
    });
}

void SimulatedBluezService::disconnectDevice(const QDBusMessage& message)
{
    const QString path = message.path();
    if (m_connecting.contains(path))
        fail(m_connecting.take(path), failed, QStringLiteral("br-connection-canceled"));
    later(disconnectDelay, [this, message, path] {
        dropLink(path, 0);
        reply(message);
    });
}
