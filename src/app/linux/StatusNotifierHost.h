#pragma once

#include "app/TrayHost.h"
#include "app/linux/BusService.h"

namespace harrowmint {

/// TrayHost over the status notifier protocol: there is a place when a StatusNotifierWatcher answers that a host is
/// registered with it.
class StatusNotifierHost final : public TrayHost, private BusServiceEvents {
public:
    StatusNotifierHost(SerialQueue& main, const QString& busAddress, std::function<void()> appeared);
    ~StatusNotifierHost() override;

private:
    void ownerChanged() override;
    void signalReceived(const QDBusMessage& message) override;
    void ask();
    void setPresent(bool present);

    std::function<void()> m_appeared;
    bool m_isPresent = false;
    BusService m_watcher;
};

} // namespace harrowmint
