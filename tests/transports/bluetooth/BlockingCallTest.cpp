// The blocking calls between real threads.
#include "base/QtQueue.h"
#include "support/BorrowedSerial.h"
#include "transports/ReceiptBLEBackend.h"
#include "transports/ReceiptSerialBackend.h"

#include <gtest/gtest.h>
#include <thread>

using namespace harrowmint;

namespace {

const QUuid identifier(0x6f1a2b3c, 0x0001, 0x4000, 0x80, 0, 0, 0, 0, 0, 0, 1);
const QString port = QStringLiteral("ble:6F1A2B3C-0001-4000-8000-000000000001");
constexpr LEChannel channel{0x18F0, 0x2AF1};

/// One printer that does everything right, on whatever queue it is made.
class PlainCentral final : public LECentral {
public:
    PlainCentral(SerialQueue& queue, LECentralEvents& events, QByteArray& received)
        : m_queue(queue)
        , m_events(events)
        , m_received(received)
    {
    }

    [[nodiscard]] LECentralState state() const override { return LECentralState::poweredOn; }
    [[nodiscard]] std::vector<LEPeripheral> knownPeripherals(const QUuid& which) const override
    {
        return {{which, QStringLiteral("Till")}};
    }
    [[nodiscard]] std::vector<LEPeripheral> connectedPeripherals(const std::vector<GattUuid>&) const override
    {
        return {};
    }
    [[nodiscard]] LEPeripheralState peripheralState(const QUuid&) const override
    {
        return m_connected ? LEPeripheralState::connected : LEPeripheralState::disconnected;
    }
    void startScan() override { }
    void stopScan() override { }
    void connect(const QUuid&) override
    {
        m_connected = true;
        later([this] { m_events.connected(identifier); });
    }
    void cancelConnection(const QUuid&) override { }
    void discoverServices(const QUuid&, const std::vector<GattUuid>&) override
    {
        later([this] { m_events.servicesDiscovered(identifier, false, {channel.service}); });
    }
    void discoverCharacteristic(const QUuid&, const LEChannel&) override
    {
        later([this] {
            m_events.characteristicsDiscovered(
                identifier, channel.service, false, {{.uuid = channel.characteristic, .write = true}});
        });
    }
    void openChannel(const QUuid&, const LEChannel&, LEWriteType) override
    {
        later([this] { m_events.channelOpened(identifier, channel); });
    }
    void closeChannel(const QUuid&) override { }
    [[nodiscard]] int maximumWriteLength(const QUuid&, LEWriteType) const override { return 182; }
    [[nodiscard]] bool canSendWriteWithoutResponse(const QUuid&) override { return true; }
    void write(const QUuid&, const LEChannel&, const QByteArray& bytes, LEWriteType) override
    {
        m_received += bytes;
        later([this] { m_events.valueWritten(identifier, channel, false); });
    }

private:
    void later(SerialQueue::Task task) { m_timer = m_queue.after({}, std::move(task)); }

    SerialQueue& m_queue;
    LECentralEvents& m_events;
    QByteArray& m_received;
    bool m_connected = false;
    Timer m_timer;
};

TEST(BlockingCalls, PrintFromAnyThreadWhileTheWorkIsDoneOnTheQueue)
{
    QByteArray received;
    {
        WorkerQueue queue(QStringLiteral("com.harrowmint.printer.receipts"));
        ReceiptBLEBackend receipts(
            queue, [&](LECentralEvents& events) { return std::make_unique<PlainCentral>(queue, events, received); });
        const QByteArray job(500, 'x');
        std::thread caller([&] { EXPECT_NO_THROW(receipts.print(job, port)); });
        caller.join();
        EXPECT_NO_THROW(receipts.print(job, port));
    }
    EXPECT_EQ(received, QByteArray(1000, 'x'));
}

TEST(BlockingCalls, RefuseTheSecondOfTwoCallersAtOnce)
{
    QByteArray received;
    QString refusal;
    {
        WorkerQueue queue(QStringLiteral("com.harrowmint.printer.receipts"));
        ReceiptBLEBackend receipts(
            queue, [&](LECentralEvents& events) { return std::make_unique<PlainCentral>(queue, events, received); });
        // Submitted before the other, so that one is running when the other comes.
        receipts.start(QByteArray(500, 'x'), port, TransferCompletion([](const TransferOutcome&) {}));
        try {
            receipts.print(QByteArray(500, 'y'), port);
        } catch (const PrinterError& error) {
            refusal = error.message();
        }
    }
    EXPECT_EQ(refusal, QStringLiteral("Receipt printer is busy."));
    EXPECT_FALSE(received.contains('y'));
}

TEST(BlockingCalls, WakeWithoutAResultWhenTheTransportDies)
{
    QByteArray received;
    QString message;
    WorkerQueue queue(QStringLiteral("com.harrowmint.printer.receipts"));
    auto receipts = std::make_unique<ReceiptBLEBackend>(
        queue, [&](LECentralEvents& events) { return std::make_unique<PlainCentral>(queue, events, received); });
    const auto transfer = std::make_shared<TransferResult>();
    receipts->start(QByteArray(500, 'x'), port, TransferResult::completion(transfer));
    std::thread caller([&] {
        EXPECT_TRUE(Waiter::sleeping().wait(transfer->signal(), std::chrono::minutes(1)));
        try {
            throwUnlessSucceeded(*transfer, QStringLiteral("No result."));
        } catch (const PrinterError& error) {
            message = error.message();
        }
    });
    receipts.reset();
    caller.join();
    EXPECT_EQ(message, QStringLiteral("No result."));
}

class NoDevices final : public SerialBluetooth {
public:
    explicit NoDevices(SerialQueue& queue)
        : m_queue(queue)
    {
    }

    void pairedDevices(std::function<void(const Devices&)> completion) override
    {
        m_queue.async([completion = std::move(completion)] {
            completion({{QStringLiteral("AA-BB-CC-DD-EE-FF"), QStringLiteral("Till")}});
        });
    }
    [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override
    {
        return std::make_unique<Link>(m_queue, events);
    }

private:
    class Link final : public SerialLink {
    public:
        Link(SerialQueue& queue, SerialLinkEvents& events)
            : m_queue(queue)
            , m_events(events)
        {
        }
        void findDevice(const QString&) override
        {
            m_timer = m_queue.after({}, [this] { m_events.deviceFound(false); });
        }
        [[nodiscard]] bool startServiceQuery() override { return false; }
        [[nodiscard]] std::optional<int> serialPortChannel() const override { return std::nullopt; }
        [[nodiscard]] bool openChannel(int) override { return false; }
        [[nodiscard]] int mtu() const override { return 0; }
        [[nodiscard]] bool write(const QByteArray&) override { return false; }
        void closeChannel() override { }

    private:
        SerialQueue& m_queue;
        SerialLinkEvents& m_events;
        Timer m_timer;
    };

    SerialQueue& m_queue;
};

TEST(BlockingCalls, DiscoverAndFailOverSerial)
{
    WorkerQueue queue(QStringLiteral("main"));
    NoDevices bluetooth(queue);
    ReceiptSerialBackend serial(queue, test::lend(bluetooth));
    EXPECT_EQ(serial.discover(),
        (std::vector<USBPrinter>{{QStringLiteral("spp:AABBCCDDEEFF"), QStringLiteral("Till (paired serial)")}}));
    try {
        serial.print(QByteArrayLiteral("x"), QStringLiteral("spp:AABBCCDDEEFF"));
        FAIL() << "printed to nobody";
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(),
            QStringLiteral("Pair this receipt printer in macOS Bluetooth settings first. No receipt data was sent."));
    }
}

} // namespace
