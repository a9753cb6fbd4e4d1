// The write channels of characteristics, and serial channels.
#include "support/bluez/SimulatedBluezService.h"

#include <QDBusArgument>
#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

const QString characteristicInterface = QStringLiteral("org.bluez.GattCharacteristic1");
const QString deviceInterface = QStringLiteral("org.bluez.Device1");
const QString failed = QStringLiteral("org.bluez.Error.Failed");
const QString notPermitted = QStringLiteral("org.bluez.Error.NotPermitted");
const QString notConnected = QStringLiteral("Not connected");
const QString writeAcquired = QStringLiteral("Write acquired");

constexpr int releaseDelay = 30;
constexpr int defaultMtu = 517;

QString deviceOf(const QString& characteristicPath)
{
    return characteristicPath.section(QLatin1Char('/'), 0, 4);
}

} // namespace

SimulatedSocket::~SimulatedSocket()
{
    notifier.reset();
    for (const int descriptor : {own, copy}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

int SimulatedBluezService::openSocket(const QString& path, int type)
{
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0)
        qFatal("socketpair failed");
    auto socket = std::make_shared<SimulatedSocket>();
    socket->own = ends[0];
    socket->notifier = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
    socket->notifier->setEnabled(!m_stalled);
    connect(
        socket->notifier.get(), &QSocketNotifier::activated, this, [this, path] { readSocket(path); },
        Qt::DirectConnection);
    m_sockets.insert(path, socket);
    return ends[1];
}

void SimulatedBluezService::readSocket(const QString& path)
{
    const std::shared_ptr<SimulatedSocket> socket = m_sockets.value(path);
    if (!socket)
        return;
    char bytes[2048];
    const ssize_t count = ::recv(socket->own, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count > 0) {
        take(path, QByteArray(bytes, count));
    } else if (count == 0 || errno != EAGAIN) {
        // The end is noticed at once, and takes effect a little later.
        socket->notifier->setEnabled(false);
        later(releaseDelay, [this, path, socket] {
            if (m_sockets.value(path) == socket)
                m_sockets.remove(path);
        });
    }
}

void SimulatedBluezService::take(const QString& path, const QByteArray& bytes)
{
    m_received[path] += bytes;
    m_packets[path].append(static_cast<int>(bytes.size()));
}

void SimulatedBluezService::hangUp(const QString& path)
{
    m_sockets.remove(path);
}

void SimulatedBluezService::hangUpBelow(const QString& path)
{
    for (const QString& known : m_sockets.keys()) {
        if (known == path || known.startsWith(path + QLatin1Char('/')))
            hangUp(known);
    }
}

void SimulatedBluezService::stall(bool stalled)
{
    m_stalled = stalled;
    for (const auto& socket : std::as_const(m_sockets))
        socket->notifier->setEnabled(!stalled);
}

void SimulatedBluezService::send(const QString& path, const QByteArray& bytes)
{
    if (const auto socket = m_sockets.value(path))
        (void)::send(socket->own, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
}

// Characteristics

void SimulatedBluezService::acquireWrite(const QDBusMessage& message)
{
    const QString path = message.path();
    const QStringList flags = property(path, characteristicInterface, QStringLiteral("Flags")).toStringList();
    if (m_sockets.contains(path)) {
        fail(message, notPermitted, writeAcquired);
    } else if (!flags.contains(QStringLiteral("write-without-response"))) {
        fail(message, QStringLiteral("org.bluez.Error.NotSupported"), QStringLiteral("Operation is not supported"));
    } else if (!isConnected(deviceOf(path))) {
        fail(message, failed, notConnected);
    } else {
        const int descriptor = openSocket(path, SOCK_SEQPACKET);
        const QVariant mtu = property(path, characteristicInterface, QStringLiteral("MTU"));
        reply(message,
            {QVariant::fromValue(QDBusUnixFileDescriptor(descriptor)),
                QVariant::fromValue(mtu.isValid() ? mtu.value<ushort>() : ushort(defaultMtu))});
        ::close(descriptor);
    }
}

void SimulatedBluezService::writeValue(const QDBusMessage& message)
{
    const QString path = message.path();
    const QString type = qdbus_cast<QVariantMap>(message.arguments().value(1)).value(QStringLiteral("type")).toString();
    m_calls.last() += QLatin1Char(' ') + type;
    if (m_sockets.contains(path)) {
        fail(message, notPermitted, writeAcquired);
    } else if (!isConnected(deviceOf(path))) {
        fail(message, failed, notConnected);
    } else if (type == QLatin1String("request") && m_writing.contains(path)) {
        fail(message, QStringLiteral("org.bluez.Error.InProgress"), QStringLiteral("In Progress"));
    } else {
        m_writing.insert(path);
        later(1, [this, path, message] {
            m_writing.remove(path);
            take(path, message.arguments().value(0).toByteArray());
            reply(message);
        });
    }
}

// Serial Port

void SimulatedBluezService::registerProfile(const QDBusMessage& message)
{
    const auto options = qdbus_cast<QVariantMap>(message.arguments().value(2));
    m_calls.last() +=
        QStringLiteral(" role=%1 autoconnect=%2 channel=%3")
            .arg(options.value(QStringLiteral("Role")).toString(),
                options.value(QStringLiteral("AutoConnect"), true).toBool() ? QStringLiteral("yes")
                                                                            : QStringLiteral("no"),
                options.contains(QStringLiteral("Channel")) ? QStringLiteral("yes") : QStringLiteral("no"));
    if (m_profile && m_profile->service() == message.service()) {
        fail(message, QStringLiteral("org.bluez.Error.AlreadyExists"), QStringLiteral("Already Exists"));
    } else if (m_profile) {
        fail(message, notPermitted, QStringLiteral("UUID already registered"));
    } else {
        m_profile = message;
        reply(message);
    }
}

void SimulatedBluezService::unregisterProfile(const QDBusMessage& message)
{
    m_profile.reset();
    reply(message);
}

void SimulatedBluezService::connectProfile(const QDBusMessage& message)
{
    const QString path = message.path();
    const QString uuid = message.arguments().value(0).toString();
    if (!isPowered(path))
        fail(message, QStringLiteral("org.bluez.Error.NotReady"), QStringLiteral("br-connection-adapter-not-powered"));
    else if (!m_profile || !property(path, deviceInterface, QStringLiteral("UUIDs")).toStringList().contains(uuid))
        fail(message, QStringLiteral("org.bluez.Error.NotAvailable"),
            QStringLiteral("br-connection-profile-unavailable"));
    else if (m_sockets.contains(path))
        reply(message); // it counts as connected still, and no channel comes
    else
        passChannel(path, [this, message] { reply(message); });
}

void SimulatedBluezService::passChannel(const QString& devicePath, const std::function<void()>& done)
{
    const int descriptor = openSocket(devicePath, SOCK_STREAM);
    QDBusMessage call = QDBusMessage::createMethodCall(m_profile->service(),
        m_profile->arguments().value(0).value<QDBusObjectPath>().path(), QStringLiteral("org.bluez.Profile1"),
        QStringLiteral("NewConnection"));
    call.setArguments({QVariant::fromValue(QDBusObjectPath(devicePath)),
        QVariant::fromValue(QDBusUnixFileDescriptor(descriptor)), QVariantMap()});
    m_sockets.value(devicePath)->copy = descriptor;
    auto* watcher = new QDBusPendingCallWatcher(m_bus->asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, devicePath, done](QDBusPendingCallWatcher* call) {
        m_calls.append(QStringLiteral("NewConnection %1 %2").arg(devicePath, call->error().name()));
        call->deleteLater();
        done();
    });
}

void SimulatedBluezService::offerChannel(const QString& devicePath)
{
    passChannel(devicePath, [] {});
}

void SimulatedBluezService::disconnectProfile(const QDBusMessage& message)
{
    hangUp(message.path());
    reply(message);
}
