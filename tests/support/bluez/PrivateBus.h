#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

/// A message bus of a test's own on a socket in a temporary directory, on which everything is allowed. Ends with this
/// object.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// What DBUS_SYSTEM_BUS_ADDRESS is to be for those who use it.
    [[nodiscard]] QString address() const;
    /// From now on the bus refuses, or takes again, what is sent to org.bluez.
    void denyBluez(bool denied);
    /// The bus goes away, and comes back at the same address.
    void stop();
    void start();
    /// The bus answers nobody any more, and goes on later.
    void freeze(bool frozen);

private:
    void writeConfiguration(bool denied) const;

    QTemporaryDir m_directory;
    QProcess m_daemon;
    bool m_frozen = false;
};
