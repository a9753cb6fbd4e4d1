#pragma once

#include "transports/bluetooth/LECentral.h"

#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <optional>
#include <vector>

namespace harrowmint {

/// One Device1 object as it was last reported. A plain value.
struct BluezDevice {
    QString path; ///< valid only until the next event: devices come and go
    QString address; ///< "AA:BB:CC:DD:EE:FF"
    QString name; ///< empty when it has none
    QStringList uuids; ///< of its services, as advertised, recorded or discovered
    bool paired = false;
    bool connected = false;
    bool servicesResolved = false;
    bool seen = false; ///< by a discovery that runs now
    bool random = false; ///< an LE address that is no public one: never a classic device
    bool powered = false; ///< its adapter
};

/// One GattCharacteristic1 object. A plain value.
struct BluezCharacteristic {
    QString path;
    QStringList flags;
};

/// The objects that BlueZ has published, with their properties as they were last reported. A plain value, fed with the
/// messages of the bus and asked by address; object paths are never kept.
class BluezObjects {
public:
    using Interfaces = QMap<QString, QVariantMap>;

    void clear() { m_objects.clear(); }
    /// An object has appeared, or has got more interfaces.
    void add(const QString& path, const Interfaces& interfaces);
    /// An object has lost these interfaces, with the last of them itself.
    void remove(const QString& path, const QStringList& interfaces);
    /// Properties have got new values, or have lost theirs. Unknown objects are left alone.
    void change(
        const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated);

    /// The adapter to scan with: the first that is switched on, else the first. Empty when there is none.
    [[nodiscard]] QString adapter() const;
    /// Whether any adapter is switched on.
    [[nodiscard]] bool powered() const;

    /// All devices, in the order in which BlueZ reported them.
    [[nodiscard]] std::vector<BluezDevice> devices() const;
    /// The device with this address; where several adapters know it, one that is connected or switched on goes first.
    [[nodiscard]] std::optional<BluezDevice> device(const QString& address) const;
    /// The device with this object path.
    [[nodiscard]] std::optional<BluezDevice> deviceAt(const QString& path) const;

    /// Whether a device has any GATT service.
    [[nodiscard]] bool hasServices(const QString& devicePath) const;
    /// The path of a device's first service with this number; empty when it has none.
    [[nodiscard]] QString service(const QString& devicePath, GattUuid number) const;
    /// The first characteristic with this number in a service.
    [[nodiscard]] std::optional<BluezCharacteristic> characteristic(const QString& servicePath, GattUuid number) const;

private:
    struct Object {
        quint64 order = 0;
        Interfaces interfaces;
    };

    [[nodiscard]] QVariant property(const QString& path, const QString& interface, const QString& name) const;
    [[nodiscard]] std::vector<QString> pathsWith(const QString& interface) const;
    [[nodiscard]] QString first(
        const QString& interface, const QString& owner, const QString& parent, GattUuid number) const;

    QHash<QString, Object> m_objects;
    quint64 m_nextOrder = 0;
};

} // namespace harrowmint
