// The composed transports on their real queues, with virtual printers.
#include "app/BluetoothTransports.h"

#include "base/EventLoop.h"
#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/VirtualBluetooth.h"
#include "support/TemporaryDirectory.h"

#include <QDir>
#include <atomic>
#include <future>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

const QByteArray receipt = QByteArray::fromHex("1b40 1b6100 1d763000 0100 0200 f00f 1b6404");
const LabelDocument label{1, 16, 2, QByteArrayLiteral("gAEBgA==")};

class BluetoothTransportsTest : public ::testing::Test {
protected:
    /// The virtual ports, counting what is made of them.
    [[nodiscard]] BluetoothPorts ports()
    {
        const BluetoothPorts all = virtualBluetooth(directory.path());
        return {
            .lowEnergy =
                [this, all](SerialQueue& queue) {
                    return [this, &queue, make = all.lowEnergy(queue)](LECentralEvents& events) {
                        EXPECT_TRUE(queue.isCurrent());
                        ++centrals;
                        return make(events);
                    };
                },
            .serial =
                [this, all](SerialQueue& queue) {
                    EXPECT_TRUE(queue.isCurrent());
                    ++serials;
                    return all.serial(queue);
                },
        };
    }

    /// Runs a blocking call as the worker does; its sentence, "" for success.
    static std::future<QString> onWorker(std::function<void()> call)
    {
        return std::async(std::launch::async, [call = std::move(call)] {
            try {
                call();
            } catch (const PrinterError& error) {
                return error.message();
            }
            return QString();
        });
    }

    static bool isReady(const std::future<QString>& result)
    {
        return result.wait_for(std::chrono::seconds::zero()) == std::future_status::ready;
    }

    [[nodiscard]] QStringList papers() const
    {
        return QDir(directory.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    TemporaryDirectory directory;
    std::atomic<int> centrals = 0;
    std::atomic<int> serials = 0;
    QtQueue main;
};

TEST_F(BluetoothTransportsTest, PrintEachKindOfJobOnItsOwnQueueAtTheSameTime)
{
    BluetoothTransports bluetooth(main, ports());
    Transports transports;
    bluetooth.addTo(transports);
    auto le = onWorker([&] { transports.receiptBLE(receipt, virtualReceiptPort); });
    auto serial = onWorker([&] { transports.receiptSerial(receipt, virtualSerialPort); });
    auto labels = onWorker([&] { transports.labels(label, virtualLabelPort); });
    runEventsUntil([&] { return isReady(le) && isReady(serial) && isReady(labels); });
    EXPECT_EQ(le.get(), QString());
    EXPECT_EQ(serial.get(), QString());
    EXPECT_EQ(labels.get(), QString());
    EXPECT_EQ(papers(),
        (QStringList{QStringLiteral("label-1.png"), QStringLiteral("receipt-1.png"), QStringLiteral("receipt-2.png")}));
}

TEST_F(BluetoothTransportsTest, OpenNothingBeforeAPrinterIsNeeded)
{
    BluetoothTransports bluetooth(main, ports());
    bluetooth.disconnect();
    std::optional<std::vector<USBPrinter>> found;
    bluetooth.serialReceipts().discover([&found](const std::vector<USBPrinter>& printers) { found = printers; });
    EXPECT_EQ(serials, 0);
    runEventsUntil([&] { return found.has_value(); });
    EXPECT_EQ(found->size(), 1U);
    EXPECT_EQ(serials, 1);
    EXPECT_EQ(centrals, 0);
}

TEST_F(BluetoothTransportsTest, MayGoInTheMidstOfDiscoveriesAndAJob)
{
    std::optional<BluetoothTransports> bluetooth;
    bluetooth.emplace(main, ports());
    bluetooth->receipts().discover(std::nullopt, [](const std::vector<USBPrinter>&) { FAIL(); });
    std::atomic<bool> ended = false;
    bluetooth->labels().start(label, virtualLabelPort,
        TransferCompletion(
            [](const TransferOutcome&) { FAIL() << "a dead transport printed"; }, [&ended] { ended = true; }));
    bluetooth->serialReceipts().start(receipt, virtualSerialPort,
        TransferCompletion([](const TransferOutcome&) { FAIL() << "a dead transport printed"; }));
    bluetooth.reset();
    EXPECT_TRUE(ended) << "the queue outlives what runs on it, and takes it along";
    runEventsUntil([&, turns = 0]() mutable { return ++turns > 3; });
}

} // namespace
} // namespace harrowmint::test
