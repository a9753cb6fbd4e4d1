#pragma once

#include "app/SystemPower.h"
#include "app/linux/BusService.h"

namespace harrowmint {

/// SystemPower over logind: its PrepareForSleep signal, and an inhibitor lock against idling and sleep for each token.
/// A token's lock is taken a moment after `begin` and let go of at once when the token dies, on whatever thread.
class LogindPower final : public SystemPower, private BusServiceEvents {
public:
    LogindPower(SerialQueue& main, const QString& busAddress, std::function<void()> woke);
    ~LogindPower() override;

    [[nodiscard]] std::unique_ptr<Token> begin(const QString& reason) override;

private:
    struct Lock;
    class Activity;

    void take(const std::shared_ptr<Lock>& lock, const QString& reason);
    void ownerChanged() override { }
    void signalReceived(const QDBusMessage& message) override;

    SerialQueue& m_main;
    std::function<void()> m_woke;
    BusService m_logind;
    std::shared_ptr<LogindPower*> m_self;
};

} // namespace harrowmint
