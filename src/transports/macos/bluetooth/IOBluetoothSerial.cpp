#include "transports/macos/bluetooth/IOBluetoothSerial.h"

#include <utility>

namespace harrowmint {

namespace {

class IOBluetoothSerialLink final : public SerialLink {
public:
    IOBluetoothSerialLink(std::unique_ptr<IOBluetoothWire> wire, IOBluetoothRetired& retired)
        : m_wire(std::move(wire))
        , m_retired(retired)
    {
    }
    ~IOBluetoothSerialLink() override
    {
        m_wire->close();
        m_retired.take(std::move(m_wire));
    }

    void findDevice(const QString& address) override { m_wire->findDevice(address); }
    [[nodiscard]] bool startServiceQuery() override { return m_wire->startServiceQuery(); }
    [[nodiscard]] std::optional<int> serialPortChannel() const override { return m_wire->serialPortChannel(); }
    [[nodiscard]] bool openChannel(int channel) override { return m_wire->openChannel(channel); }
    [[nodiscard]] int mtu() const override { return m_wire->mtu(); }
    [[nodiscard]] bool write(const QByteArray& packet) override { return m_wire->write(packet); }
    void closeChannel() override { m_wire->close(); }

private:
    std::unique_ptr<IOBluetoothWire> m_wire;
    IOBluetoothRetired& m_retired;
};

} // namespace

IOBluetoothSerial::IOBluetoothSerial(SerialQueue& queue, std::unique_ptr<IOBluetoothPort> port)
    : m_queue(queue)
    , m_port(std::move(port))
    , m_retired(queue)
    , m_post(queue)
{
    Q_ASSERT(queue.isCurrent());
}

void IOBluetoothSerial::pairedDevices(std::function<void(const Devices&)> completion)
{
    m_post([this, completion = std::move(completion)] { completion(m_port->pairedDevices()); });
}

std::unique_ptr<SerialLink> IOBluetoothSerial::makeLink(SerialLinkEvents& events)
{
    Q_ASSERT(m_queue.isCurrent());
    return std::make_unique<IOBluetoothSerialLink>(
        std::make_unique<IOBluetoothWire>(m_queue, *m_port, events), m_retired);
}

} // namespace harrowmint
