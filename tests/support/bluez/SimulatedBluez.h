#pragma once

#include "support/bluez/BluezTypes.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QProcess>
#include <QStringList>
#include <QVariantMap>
#include <optional>

/// The stand-in for bluetoothd as a program on a private bus, and the hand that steers it. Every function returns when
/// it has been carried out. The program ends with this object.
class SimulatedBluez {
public:
    /// Starts the program, without org.bluez.
    explicit SimulatedBluez(const QString& busAddress);
    ~SimulatedBluez();
    SimulatedBluez(const SimulatedBluez&) = delete;
    SimulatedBluez& operator=(const SimulatedBluez&) = delete;

    /// bluetoothd starts (again), with the objects it had, or ends.
    void start() { steer("Start"); }
    void stop() { steer("Stop"); }
    void add(const QString& path, const BluezInterfaces& interfaces);
    /// Keeps an object back until its device is connected and resolved.
    void stage(const QString& path, const BluezInterfaces& interfaces);
    /// Removes an object and what is below it, with their channels.
    void remove(const QString& path) { steer("Remove", {path}); }
    void change(
        const QString& path, const QString& interface, const QVariantMap& changed, const QStringList& invalidated = {});
    /// How a method answers from now on: "error" and "text", "delay" (ms), "mute", "idle", "resolve", "silent",
    /// "times" (see SimulatedBluezService).
    void behave(const QString& member, const QVariantMap& behaviour) { steer("Behave", {member, behaviour}); }
    /// The link to a device is lost: its channels hang up, and `delay` ms later BlueZ says that it is down.
    void dropLink(const QString& devicePath, int delay = 0) { steer("DropLink", {devicePath, delay}); }
    /// Links go at once, all channels with them, the adapter's power `delay` ms later (0: in the same breath).
    void powerOff(const QString& adapterPath, int delay = 20) { steer("PowerOff", {adapterPath, delay}); }
    /// Closes this side of a write channel or serial channel.
    void hangUp(const QString& path) { steer("HangUp", {path}); }
    /// Stops, or goes on, reading what is written.
    void stall(bool stalled) { steer("Stall", {stalled}); }
    void send(const QString& path, const QByteArray& bytes) { steer("Send", {path, bytes}); }
    /// Passes a serial channel that nobody asked for.
    void offerChannel(const QString& devicePath) { steer("OfferChannel", {devicePath}); }

    /// All requests so far: "Member path", and what else is interesting.
    [[nodiscard]] QStringList calls();
    [[nodiscard]] int callCount(const QString& start);
    /// What a characteristic or a serial device has been sent.
    [[nodiscard]] QByteArray received(const QString& path);
    /// The sizes of the packets in which it came.
    [[nodiscard]] QList<int> packets(const QString& path);

private:
    QVariant steer(const char* member, const QVariantList& arguments = {});

    QString m_connectionName;
    QProcess m_process;
    std::optional<QDBusConnection> m_bus;
};
