#include "simulator/VirtualSerial.h"

#include "base/QueuePost.h"
#include "simulator/VirtualPaper.h"

#include <utility>

namespace harrowmint {

namespace {

constexpr int channelNumber = 1;
constexpr int packetBytes = 1021;
const auto paperKind = QStringLiteral("receipt");

class VirtualSerialLink final : public SerialLink {
public:
    VirtualSerialLink(SerialQueue& queue, SerialLinkEvents& events, const VirtualSerialPrinter& printer)
        : m_events(events)
        , m_address(printer.address)
        , m_paper(printer.folder, paperKind)
        , m_post(queue)
    {
    }

    ~VirtualSerialLink() override { close(); }

    void findDevice(const QString& address) override
    {
        report([isThere = address == m_address](SerialLinkEvents& events) { events.deviceFound(isThere); });
    }

    [[nodiscard]] bool startServiceQuery() override
    {
        report([](SerialLinkEvents& events) { events.sdpQueryComplete(true); });
        return true;
    }

    [[nodiscard]] std::optional<int> serialPortChannel() const override { return channelNumber; }

    [[nodiscard]] bool openChannel(int channel) override
    {
        if (channel != channelNumber)
            return false;
        m_isOpen = true;
        report([](SerialLinkEvents& events) { events.rfcommChannelOpenComplete(SerialOpenResult::opened); });
        return true;
    }

    [[nodiscard]] int mtu() const override { return packetBytes; }

    [[nodiscard]] bool write(const QByteArray& packet) override
    {
        if (!m_isOpen)
            return false;
        m_paper.take(packet);
        report([](SerialLinkEvents& events) { events.rfcommChannelWriteComplete(true); });
        return true;
    }

    void closeChannel() override { close(); }

private:
    /// From the queue's loop, unless the channel has been closed by then.
    void report(std::function<void(SerialLinkEvents&)> event)
    {
        m_post([this, event = std::move(event)] {
            if (!m_isClosed)
                event(m_events);
        });
    }

    void close()
    {
        m_isOpen = false;
        if (!std::exchange(m_isClosed, true))
            m_paper.endJob();
    }

    SerialLinkEvents& m_events;
    QString m_address;
    VirtualPaper m_paper;
    bool m_isOpen = false;
    bool m_isClosed = false;
    QueuePost m_post;
};

class VirtualSerialBluetooth final : public SerialBluetooth {
public:
    VirtualSerialBluetooth(SerialQueue& queue, VirtualSerialPrinter printer)
        : m_queue(queue)
        , m_printer(std::move(printer))
        , m_post(queue)
    {
    }

    void pairedDevices(std::function<void(const Devices&)> completion) override
    {
        m_post([this, completion = std::move(completion)] { completion({{m_printer.address, m_printer.name}}); });
    }

    [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override
    {
        return std::make_unique<VirtualSerialLink>(m_queue, events, m_printer);
    }

private:
    SerialQueue& m_queue;
    VirtualSerialPrinter m_printer;
    QueuePost m_post;
};

} // namespace

std::unique_ptr<SerialBluetooth> virtualSerial(SerialQueue& queue, VirtualSerialPrinter printer)
{
    return std::make_unique<VirtualSerialBluetooth>(queue, std::move(printer));
}

} // namespace harrowmint
