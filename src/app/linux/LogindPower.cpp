#include "app/linux/LogindPower.h"

#include "transports/FileDescriptor.h"

#include <QDBusUnixFileDescriptor>
#include <fcntl.h>
#include <mutex>

namespace harrowmint {

namespace {

const auto serviceName = QStringLiteral("org.freedesktop.login1");
const auto managerPath = QStringLiteral("/org/freedesktop/login1");
const auto managerInterface = QStringLiteral("org.freedesktop.login1.Manager");
const auto inhibitedActions = QStringLiteral("idle:sleep");
const auto applicationName = QStringLiteral("Harrowmint Printer");
const auto blockMode = QStringLiteral("block");

} // namespace

/// logind's lock is held as long as the descriptor is open. Any thread.
struct LogindPower::Lock {
    std::mutex access;
    bool isWanted = true;
    FileDescriptor descriptor;

    [[nodiscard]] bool wanted()
    {
        const std::lock_guard guard(access);
        return isWanted;
    }

    /// Keeps a copy of a descriptor unless the lock is no longer wanted.
    void keep(int original)
    {
        const std::lock_guard guard(access);
        if (isWanted)
            descriptor = FileDescriptor(::fcntl(original, F_DUPFD_CLOEXEC, 0));
    }

    void letGo()
    {
        const std::lock_guard guard(access);
        isWanted = false;
        descriptor.close();
    }
};

class LogindPower::Activity final : public Token {
public:
    explicit Activity(std::shared_ptr<Lock> lock)
        : m_lock(std::move(lock))
    {
    }
    ~Activity() override { m_lock->letGo(); }

private:
    std::shared_ptr<Lock> m_lock;
};

std::unique_ptr<SystemPower> SystemPower::make(SerialQueue& main, std::function<void()> woke)
{
    return std::make_unique<LogindPower>(main, BusService::systemBusAddress(), std::move(woke));
}

LogindPower::LogindPower(SerialQueue& main, const QString& busAddress, std::function<void()> woke)
    : m_main(main)
    , m_woke(std::move(woke))
    , m_logind(main, {busAddress, serviceName, managerPath, managerInterface}, *this)
    , m_self(std::make_shared<LogindPower*>(this))
{
}

LogindPower::~LogindPower() = default;

std::unique_ptr<ProcessActivity::Token> LogindPower::begin(const QString& reason)
{
    auto lock = std::make_shared<Lock>();
    m_main.async([self = std::weak_ptr<LogindPower*>(m_self), lock, reason] {
        if (const auto power = self.lock())
            (*power)->take(lock, reason);
    });
    return std::make_unique<Activity>(std::move(lock));
}

void LogindPower::take(const std::shared_ptr<Lock>& lock, const QString& reason)
{
    if (!lock->wanted())
        return;
    m_logind.search(); // for the next job, should there be no bus now
    m_logind.call(managerInterface, QStringLiteral("Inhibit"), {inhibitedActions, applicationName, reason, blockMode},
        [lock](const QDBusMessage& reply) {
            const auto descriptor = reply.arguments().value(0).value<QDBusUnixFileDescriptor>();
            if (reply.type() == QDBusMessage::ReplyMessage && descriptor.isValid())
                lock->keep(descriptor.fileDescriptor());
        });
}

void LogindPower::signalReceived(const QDBusMessage& message)
{
    if (message.member() == QLatin1String("PrepareForSleep") && message.signature() == QLatin1String("b")
        && !message.arguments().at(0).toBool())
        m_woke();
}

} // namespace harrowmint
