#include "desktop/FakeService.h"

#include <QUuid>

namespace harrowmint::test {

class FakeService::Object final : public QDBusVirtualObject {
public:
    Object(Handler handler, QString interfaces)
        : m_handler(std::move(handler))
        , m_interfaces(std::move(interfaces))
    {
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return m_interfaces; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.interface() == QLatin1String("org.freedesktop.DBus.Introspectable"))
            return false; // answered by the toolkit, with `introspect`
        const QDBusMessage reply = m_handler(message);
        if (reply.type() != QDBusMessage::InvalidMessage)
            connection.send(reply);
        return true;
    }

private:
    Handler m_handler;
    QString m_interfaces;
};

FakeService::FakeService(const QString& busAddress, const QString& path, Handler handler, QString interfaces)
    : m_connectionName(QUuid::createUuid().toString())
{
    const bool ready = run([&] {
        QDBusConnection bus = QDBusConnection::connectToBus(busAddress, m_connectionName);
        m_object = std::make_unique<Object>(std::move(handler), std::move(interfaces));
        return bus.isConnected() && bus.registerVirtualObject(path, m_object.get());
    });
    if (!ready)
        qFatal("The stand-in does not reach the bus");
}

FakeService::~FakeService()
{
    run([&] {
        m_object.reset();
        QDBusConnection::disconnectFromBus(m_connectionName);
    });
}

void FakeService::claim(const QString& name)
{
    if (!run([&] { return QDBusConnection(m_connectionName).registerService(name); }))
        qFatal("The stand-in does not get its name");
}

void FakeService::release(const QString& name)
{
    run([&] { QDBusConnection(m_connectionName).unregisterService(name); });
}

void FakeService::emitSignal(
    const QString& path, const QString& interface, const QString& member, const QVariantList& arguments)
{
    run([&] {
        QDBusMessage signal = QDBusMessage::createSignal(path, interface, member);
        signal.setArguments(arguments);
        QDBusConnection(m_connectionName).send(signal);
    });
}

std::future<QDBusMessage> FakeService::call(const QString& service, const QString& path, const QString& interface,
    const QString& member, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, member);
    message.setArguments(arguments);
    auto answer = std::make_shared<std::promise<QDBusMessage>>();
    auto future = answer->get_future();
    m_thread.async([name = m_connectionName, message, answer] {
        answer->set_value(QDBusConnection(name).call(message, QDBus::Block, 20'000));
    });
    return future;
}

} // namespace harrowmint::test
