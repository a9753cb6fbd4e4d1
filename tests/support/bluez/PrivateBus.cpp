#include "support/bluez/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <csignal>

namespace {

constexpr int startLimit = 30'000;

const QByteArray configuration = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>custom</type>
  <listen>unix:path=%1</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    %2
  </policy>
</busconfig>
)";

} // namespace

PrivateBus::PrivateBus()
{
    start();
}

PrivateBus::~PrivateBus()
{
    if (m_frozen)
        freeze(false);
    stop();
}

QString PrivateBus::address() const
{
    return QStringLiteral("unix:path=") + m_directory.filePath(QStringLiteral("bus"));
}

void PrivateBus::start()
{
    writeConfiguration(false);
    m_daemon.start(QStringLiteral("dbus-daemon"),
        {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
            QStringLiteral("--config-file=") + m_directory.filePath(QStringLiteral("bus.conf"))});
    while (m_daemon.waitForReadyRead(startLimit)) {
        if (m_daemon.readAllStandardOutput().contains('\n'))
            return;
    }
    qFatal("dbus-daemon does not start: %s", m_daemon.readAllStandardError().constData());
}

void PrivateBus::stop()
{
    m_daemon.terminate();
    m_daemon.waitForFinished(startLimit);
    QFile::remove(m_directory.filePath(QStringLiteral("bus")));
}

void PrivateBus::freeze(bool frozen)
{
    m_frozen = frozen;
    ::kill(static_cast<pid_t>(m_daemon.processId()), frozen ? SIGSTOP : SIGCONT);
}

void PrivateBus::writeConfiguration(bool denied) const
{
    QByteArray text = configuration;
    text.replace("%1", m_directory.filePath(QStringLiteral("bus")).toUtf8());
    text.replace("%2", denied ? "<deny send_destination=\"org.bluez\"/>" : "");
    QFile file(m_directory.filePath(QStringLiteral("bus.conf")));
    if (!file.open(QFile::WriteOnly) || file.write(text) != text.size())
        qFatal("The bus configuration cannot be written");
}

void PrivateBus::denyBluez(bool denied)
{
    writeConfiguration(denied);
    const QString name = QStringLiteral("reload");
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address(), name);
        bus.call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
            QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
            QStringLiteral("ReloadConfig")));
    }
    QDBusConnection::disconnectFromBus(name);
}
