#pragma once

#include "base/SerialQueue.h"
#include "transports/bluetooth/SerialBluetooth.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezSerialLink.h"
#include "transports/linux/bluez/BluezSerialPortProfile.h"

#include <QPointer>
#include <vector>

namespace harrowmint {

/// The paired classic devices over BlueZ, as one client of the system bus for all jobs. Lives on the owner's queue,
/// whose thread runs a Qt event loop and is never blocked: BlueZ waits for it while it passes a channel.
class BluezSerialBluetooth final : public SerialBluetooth, private BluezClientEvents {
public:
    /// `busAddress` empty: the system bus. The queue outlives this object.
    explicit BluezSerialBluetooth(SerialQueue& queue, QString busAddress = {});

    void pairedDevices(std::function<void(const Devices&)> completion) override;
    [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override;

private:
    struct Waiting {
        QPointer<QObject> context;
        std::function<void()> task;
    };

    void accessChanged() override;
    void objectChanged(const QString& path, const QString& interface, const QStringList& properties) override;
    void whenSettled(QObject* context, std::function<void()> task);
    [[nodiscard]] Devices devices() const;

    SerialQueue& m_queue;
    BluezClient m_client;
    BluezSerialPortProfile m_profile;
    std::vector<Waiting> m_waiting; ///< until it is known whether there is a bluetoothd
    std::vector<QPointer<BluezSerialLink>> m_links;
    QueuePost m_post;
};

} // namespace harrowmint
