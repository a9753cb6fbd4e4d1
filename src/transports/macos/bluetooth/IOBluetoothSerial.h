#pragma once

#include "transports/macos/bluetooth/IOBluetoothWire.h"

#include <memory>

namespace harrowmint {

/// The paired classic devices over IOBluetooth: everything of it that is no framework call. Lives on the main queue,
/// since the framework's callbacks need the main run loop.
class IOBluetoothSerial final : public SerialBluetooth {
public:
    /// `queue` is the main queue and outlives this object.
    IOBluetoothSerial(SerialQueue& queue, std::unique_ptr<IOBluetoothPort> port);

    void pairedDevices(std::function<void(const Devices&)> completion) override;
    [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override;

    /// How many ended links the framework may still be using.
    [[nodiscard]] std::size_t retiredLinks() const { return m_retired.count(); }

private:
    SerialQueue& m_queue;
    std::unique_ptr<IOBluetoothPort> m_port;
    IOBluetoothRetired m_retired;
    QueuePost m_post;
};

} // namespace harrowmint
