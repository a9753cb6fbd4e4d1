#pragma once

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QMap>
#include <QString>
#include <QVariantMap>

/// The interfaces of one object with their properties (a{sa{sv}}), and all objects (a{oa{sa{sv}}}).
using BluezInterfaces = QMap<QString, QVariantMap>;
using BluezManagedObjects = QMap<QDBusObjectPath, BluezInterfaces>;

Q_DECLARE_METATYPE(BluezInterfaces)
Q_DECLARE_METATYPE(BluezManagedObjects)

inline void registerBluezTypes()
{
    qDBusRegisterMetaType<BluezInterfaces>();
    qDBusRegisterMetaType<BluezManagedObjects>();
}

/// The name and interface under which the stand-in is steered, on the same bus.
inline const QString simulatedBluezName = QStringLiteral("com.harrowmint.SimulatedBluez");
