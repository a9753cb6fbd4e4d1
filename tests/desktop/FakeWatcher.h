#pragma once

#include "desktop/FakeService.h"

#include <QDBusVariant>
#include <QStringList>
#include <atomic>
#include <mutex>

namespace harrowmint::test {

inline const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
inline const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

/// What the toolkit reads of the watcher before it asks.
inline const QString watcherInterfaces = QStringLiteral(
    R"(<interface name="org.kde.StatusNotifierWatcher">
         <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
         <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
       </interface>)");

/// A desktop's place for tray icons: the watcher, and that it has a host.
class FakeWatcher {
public:
    explicit FakeWatcher(const QString& busAddress)
        : m_service(
            busAddress, watcherPath, [this](const QDBusMessage& call) { return answer(call); }, watcherInterfaces)
    {
    }

    void start() { m_service.claim(watcherName); }
    void stop() { m_service.release(watcherName); }
    void setMute(bool mute) { m_mute = mute; }
    void setHost(bool present)
    {
        m_hasHost = present;
        m_service.emitSignal(watcherPath, watcherName,
            present ? QStringLiteral("StatusNotifierHostRegistered") : QStringLiteral("StatusNotifierHostUnregistered"),
            {});
    }
    /// How often it has been asked for its host.
    [[nodiscard]] int reads() const { return m_reads; }
    /// The items that have been registered, by bus name.
    [[nodiscard]] QStringList items()
    {
        const std::lock_guard guard(m_access);
        return m_items;
    }
    [[nodiscard]] FakeService& service() { return m_service; }

private:
    QDBusMessage answer(const QDBusMessage& call)
    {
        if (call.member() == QLatin1String("RegisterStatusNotifierItem")) {
            const std::lock_guard guard(m_access);
            m_items += call.arguments().value(0).toString();
            return call.createReply();
        }
        if (call.member() == QLatin1String("Get")) {
            ++m_reads;
            if (m_mute)
                return {};
            return call.createReply(QVariant::fromValue(QDBusVariant(m_hasHost.load())));
        }
        return call.createErrorReply(QDBusError::UnknownMethod, call.member());
    }

    std::atomic<bool> m_hasHost = true;
    std::atomic<bool> m_mute = false;
    std::atomic<int> m_reads = 0;
    std::mutex m_access;
    QStringList m_items;
    FakeService m_service;
};

} // namespace harrowmint::test
