#include "app/linux/StatusNotifierHost.h"

#include <QDBusVariant>

namespace harrowmint {

namespace {

const auto watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const auto watcherPath = QStringLiteral("/StatusNotifierWatcher");
const auto propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const auto hostProperty = QStringLiteral("IsStatusNotifierHostRegistered");

} // namespace

std::unique_ptr<TrayHost> TrayHost::make(SerialQueue& main, std::function<void()> appeared)
{
    return std::make_unique<StatusNotifierHost>(main, BusService::sessionBusAddress(), std::move(appeared));
}

StatusNotifierHost::StatusNotifierHost(SerialQueue& main, const QString& busAddress, std::function<void()> appeared)
    : m_appeared(std::move(appeared))
    , m_watcher(main, {busAddress, watcherService, watcherPath, watcherService}, *this)
{
}

StatusNotifierHost::~StatusNotifierHost() = default;

void StatusNotifierHost::ownerChanged()
{
    setPresent(false);
    if (m_watcher.isPresent())
        ask();
}

void StatusNotifierHost::signalReceived(const QDBusMessage& message)
{
    if (message.member() == QLatin1String("StatusNotifierHostRegistered")
        || message.member() == QLatin1String("StatusNotifierHostUnregistered"))
        ask();
}

/// The signals do not say how many hosts there are.
void StatusNotifierHost::ask()
{
    m_watcher.call(
        propertiesInterface, QStringLiteral("Get"), {watcherService, hostProperty}, [this](const QDBusMessage& reply) {
            const QVariant value = reply.arguments().value(0).value<QDBusVariant>().variant();
            setPresent(reply.type() == QDBusMessage::ReplyMessage && m_watcher.isPresent() && value.toBool());
        });
}

void StatusNotifierHost::setPresent(bool present)
{
    if (std::exchange(m_isPresent, present) != present && present)
        m_appeared();
}

} // namespace harrowmint
