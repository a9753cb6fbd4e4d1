// A stand-in for bluetoothd on the bus named by DBUS_SYSTEM_BUS_ADDRESS, steered over the same bus. Ends with the bus,
// or when its standard input closes.
#include "support/bluez/SimulatedBluezService.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QSocketNotifier>
#include <functional>
#include <unistd.h>

namespace {

/// The steering methods by name; each takes the arguments of the call and returns those of the answer.
class Control final : public QDBusVirtualObject {
public:
    explicit Control(SimulatedBluezService& service)
        : m_service(service)
    {
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        QVariantList result;
        if (!steerObjects(message.member(), message.arguments()) && !steerRadio(message.member(), message.arguments())
            && !read(message.member(), message.arguments(), result))
            return false;
        connection.send(message.createReply(result));
        return true;
    }

private:
    bool steerObjects(const QString& member, const QVariantList& arguments)
    {
        const QString first = arguments.value(0).toString();
        if (member == QLatin1String("Start"))
            m_service.start();
        else if (member == QLatin1String("Stop"))
            m_service.stop();
        else if (member == QLatin1String("Add"))
            m_service.add(first, qdbus_cast<BluezInterfaces>(arguments.value(1)));
        else if (member == QLatin1String("Stage"))
            m_service.stage(first, qdbus_cast<BluezInterfaces>(arguments.value(1)));
        else if (member == QLatin1String("Remove"))
            m_service.removeObject(first);
        else if (member == QLatin1String("Change"))
            m_service.change(first, arguments.value(1).toString(), qdbus_cast<QVariantMap>(arguments.value(2)),
                arguments.value(3).toStringList());
        else if (member == QLatin1String("Behave"))
            m_service.behave(first, qdbus_cast<QVariantMap>(arguments.value(1)));
        else
            return false;
        return true;
    }

    bool steerRadio(const QString& member, const QVariantList& arguments)
    {
        const QString first = arguments.value(0).toString();
        if (member == QLatin1String("DropLink"))
            m_service.dropLink(first, arguments.value(1).toInt());
        else if (member == QLatin1String("PowerOff"))
            m_service.powerOff(first, arguments.value(1).toInt());
        else if (member == QLatin1String("HangUp"))
            m_service.hangUp(first);
        else if (member == QLatin1String("Stall"))
            m_service.stall(arguments.value(0).toBool());
        else if (member == QLatin1String("Send"))
            m_service.send(first, arguments.value(1).toByteArray());
        else if (member == QLatin1String("OfferChannel"))
            m_service.offerChannel(first);
        else
            return false;
        return true;
    }

    bool read(const QString& member, const QVariantList& arguments, QVariantList& result)
    {
        const QString first = arguments.value(0).toString();
        if (member == QLatin1String("Calls"))
            result = {m_service.calls()};
        else if (member == QLatin1String("Received"))
            result = {m_service.received(first)};
        else if (member == QLatin1String("Packets"))
            result = {QVariant::fromValue(m_service.packets(first))};
        else
            return false;
        return true;
    }

    SimulatedBluezService& m_service;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    registerBluezTypes();
    const QString address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("control"));
    SimulatedBluezService service(address);
    Control control(service);
    if (!bus.registerVirtualObject(QStringLiteral("/"), &control) || !bus.registerService(simulatedBluezName))
        return 1;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
    return QCoreApplication::exec();
}
