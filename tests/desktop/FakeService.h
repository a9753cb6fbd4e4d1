#pragma once

#include "base/QtQueue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>

namespace harrowmint::test {

/// A stand-in for one service, on a thread and a bus connection of its own, so that it also answers a caller that
/// blocks this process's main thread.
class FakeService {
public:
    /// Answers one call of a method; on the service's thread. An invalid reply: no answer at all.
    using Handler = std::function<QDBusMessage(const QDBusMessage& call)>;

    /// `interfaces` is what the service tells of its interfaces, as introspection data.
    FakeService(const QString& busAddress, const QString& path, Handler handler, QString interfaces = {});
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    /// Takes the name on the bus, or gives it up.
    void claim(const QString& name);
    void release(const QString& name);
    void emitSignal(
        const QString& path, const QString& interface, const QString& member, const QVariantList& arguments);
    /// Calls a method of another program; the answer comes when that program runs its loop.
    [[nodiscard]] std::future<QDBusMessage> call(const QString& service, const QString& path, const QString& interface,
        const QString& member, const QVariantList& arguments = {});

private:
    class Object;

    /// Runs `task` on the service's thread and waits for it.
    template <class Task>
    auto run(Task task)
    {
        std::packaged_task<std::invoke_result_t<Task>()> packaged(std::move(task));
        auto result = packaged.get_future();
        m_thread.async([&packaged] { packaged(); });
        return result.get();
    }

    QString m_connectionName;
    std::unique_ptr<Object> m_object;
    WorkerQueue m_thread{QStringLiteral("test.service")};
};

} // namespace harrowmint::test
