#include "transports/linux/bluez/BluezObjects.h"

#include "transports/linux/bluez/BluezAddress.h"
#include "transports/linux/bluez/BluezNames.h"

#include <QDBusObjectPath>
#include <algorithm>

namespace harrowmint {

namespace {

/// hci10 comes after hci2, and service000a before service0010.
bool comesBefore(const QString& left, const QString& right)
{
    return left.size() != right.size() ? left.size() < right.size() : left < right;
}

/// A device without a name has its own address as its alias.
QString deviceName(const QVariantMap& properties, const QString& address)
{
    QString alias = properties.value(QStringLiteral("Alias")).toString();
    QString nameless = address;
    nameless.replace(QLatin1Char(':'), QLatin1Char('-'));
    if (!alias.isEmpty() && alias != nameless)
        return alias;
    return properties.value(QStringLiteral("Name")).toString();
}

int rank(const BluezDevice& device)
{
    return (device.connected ? 2 : 0) + (device.powered ? 1 : 0);
}

} // namespace

void BluezObjects::add(const QString& path, const Interfaces& interfaces)
{
    auto object = m_objects.find(path);
    if (object == m_objects.end())
        object = m_objects.insert(path, Object{m_nextOrder++, {}});
    for (auto i = interfaces.begin(); i != interfaces.end(); ++i)
        object->interfaces.insert(i.key(), i.value());
}

void BluezObjects::remove(const QString& path, const QStringList& interfaces)
{
    const auto object = m_objects.find(path);
    if (object == m_objects.end())
        return;
    for (const QString& interface : interfaces)
        object->interfaces.remove(interface);
    if (object->interfaces.isEmpty())
        m_objects.erase(object);
}

void BluezObjects::change(
    const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated)
{
    const auto object = m_objects.find(path);
    if (object == m_objects.end() || !object->interfaces.contains(interface))
        return;
    QVariantMap& properties = object->interfaces[interface];
    properties.insert(changed);
    for (const QString& name : invalidated)
        properties.remove(name);
}

QVariant BluezObjects::property(const QString& path, const QString& interface, const QString& name) const
{
    const auto object = m_objects.find(path);
    return object == m_objects.end() ? QVariant() : object->interfaces.value(interface).value(name);
}

std::vector<QString> BluezObjects::pathsWith(const QString& interface) const
{
    std::vector<std::pair<quint64, QString>> found;
    for (auto i = m_objects.begin(); i != m_objects.end(); ++i) {
        if (i->interfaces.contains(interface))
            found.emplace_back(i->order, i.key());
    }
    std::sort(found.begin(), found.end());
    std::vector<QString> paths;
    paths.reserve(found.size());
    for (auto& entry : found)
        paths.push_back(std::move(entry.second));
    return paths;
}

QString BluezObjects::adapter() const
{
    std::vector<QString> adapters = pathsWith(bluez::adapterInterface);
    std::sort(adapters.begin(), adapters.end(), comesBefore);
    const auto powered = std::find_if(adapters.begin(), adapters.end(), [this](const QString& path) {
        return property(path, bluez::adapterInterface, QStringLiteral("Powered")).toBool();
    });
    if (powered != adapters.end())
        return *powered;
    return adapters.empty() ? QString() : adapters.front();
}

bool BluezObjects::powered() const
{
    return property(adapter(), bluez::adapterInterface, QStringLiteral("Powered")).toBool();
}

std::optional<BluezDevice> BluezObjects::deviceAt(const QString& path) const
{
    const auto object = m_objects.find(path);
    if (object == m_objects.end() || !object->interfaces.contains(bluez::deviceInterface))
        return std::nullopt;
    const QVariantMap properties = object->interfaces.value(bluez::deviceInterface);
    const auto isSet = [&properties](const QString& name) { return properties.value(name).toBool(); };
    BluezDevice device;
    device.path = path;
    device.address = properties.value(QStringLiteral("Address")).toString().toUpper();
    device.name = deviceName(properties, device.address);
    device.uuids = properties.value(QStringLiteral("UUIDs")).toStringList();
    device.paired = isSet(QStringLiteral("Paired")) || isSet(QStringLiteral("Bonded"));
    device.connected = isSet(QStringLiteral("Connected"));
    device.servicesResolved = isSet(QStringLiteral("ServicesResolved"));
    device.seen = properties.contains(QStringLiteral("RSSI"));
    device.random = properties.value(QStringLiteral("AddressType")).toString() == QLatin1String("random");
    const QString adapter = properties.value(QStringLiteral("Adapter")).value<QDBusObjectPath>().path();
    device.powered = property(adapter, bluez::adapterInterface, QStringLiteral("Powered")).toBool();
    return device;
}

std::vector<BluezDevice> BluezObjects::devices() const
{
    std::vector<BluezDevice> devices;
    for (const QString& path : pathsWith(bluez::deviceInterface))
        devices.push_back(*deviceAt(path));
    return devices;
}

std::optional<BluezDevice> BluezObjects::device(const QString& address) const
{
    std::optional<BluezDevice> best;
    for (const QString& path : pathsWith(bluez::deviceInterface)) {
        if (property(path, bluez::deviceInterface, QStringLiteral("Address")).toString().toUpper() != address)
            continue;
        std::optional<BluezDevice> device = deviceAt(path);
        if (!best || rank(*device) > rank(*best))
            best = std::move(device);
    }
    return best;
}

/// The first object with this interface and number whose property `owner` names `parent`.
QString BluezObjects::first(
    const QString& interface, const QString& owner, const QString& parent, GattUuid number) const
{
    const QString wanted = bluez::uuidText(number);
    QString found;
    for (const QString& path : pathsWith(interface)) {
        const bool matches = property(path, interface, owner).value<QDBusObjectPath>().path() == parent
            && property(path, interface, QStringLiteral("UUID")).toString().toLower() == wanted;
        if (matches && (found.isEmpty() || comesBefore(path, found)))
            found = path;
    }
    return found;
}

bool BluezObjects::hasServices(const QString& devicePath) const
{
    const std::vector<QString> paths = pathsWith(bluez::gattServiceInterface);
    return std::any_of(paths.begin(), paths.end(), [this, &devicePath](const QString& path) {
        return property(path, bluez::gattServiceInterface, QStringLiteral("Device")).value<QDBusObjectPath>().path()
            == devicePath;
    });
}

QString BluezObjects::service(const QString& devicePath, GattUuid number) const
{
    return first(bluez::gattServiceInterface, QStringLiteral("Device"), devicePath, number);
}

std::optional<BluezCharacteristic> BluezObjects::characteristic(const QString& servicePath, GattUuid number) const
{
    const QString path = first(bluez::gattCharacteristicInterface, QStringLiteral("Service"), servicePath, number);
    if (path.isEmpty())
        return std::nullopt;
    return BluezCharacteristic{
        path, property(path, bluez::gattCharacteristicInterface, QStringLiteral("Flags")).toStringList()};
}

} // namespace harrowmint
