#include "simulator/VirtualLE.h"

#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/VirtualBluetooth.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWaiter.h"
#include "transports/LabelBackend.h"
#include "transports/ReceiptBLEBackend.h"

#include <QDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

const QByteArray receipt = QByteArray::fromHex("1b40 1b6100 1d763000 0100 0200 f00f 1b6404");
const LabelDocument label{1, 16, 2, QByteArrayLiteral("gAEBgA==")};
const auto strangerPort = QStringLiteral("ble:6F1A2B3C-0001-4000-8000-0000000000FF");

class VirtualLE : public ::testing::Test {
protected:
    /// The sentence of the failure, "" for success.
    QString print(const QByteArray& bytes, const QString& port = virtualReceiptPort)
    {
        return sentenceOf([&] { receipts.print(bytes, port); });
    }
    QString print(const LabelDocument& document, const QString& port = virtualLabelPort)
    {
        return sentenceOf([&] { labels.print(document, port); });
    }

    template <class Action>
    static QString sentenceOf(Action action)
    {
        try {
            action();
        } catch (const PrinterError& error) {
            return error.message();
        }
        return {};
    }

    [[nodiscard]] QStringList papers() const
    {
        return QDir(folder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    [[nodiscard]] QImage picture(const QString& name) const { return QImage(QDir(folder()).filePath(name)); }
    [[nodiscard]] QString folder() const { return directory.filePath(QStringLiteral("Papers")); }

    TemporaryDirectory directory;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    VirtualWaiter waiter{*clock};
    BluetoothPorts ports = virtualBluetooth(folder());
    ReceiptBLEBackend receipts{queue, ports.lowEnergy(queue), waiter};
    LabelBackend labels{queue, ports.lowEnergy(queue), waiter};
};

TEST_F(VirtualLE, PrintsEveryReceiptOnAPaperOfItsOwnThatIsThereWhenTheJobIsDone)
{
    for (int number = 1; number <= 3; ++number) {
        EXPECT_EQ(print(receipt), QString());
        EXPECT_EQ(picture(QStringLiteral("receipt-%1.png").arg(number)), paper(receipt));
    }
    EXPECT_EQ(papers().size(), 3);
}

TEST_F(VirtualLE, PrintsLabels)
{
    EXPECT_EQ(print(label), QString());
    EXPECT_EQ(print(label), QString());
    EXPECT_THAT(papers(), ElementsAre(QStringLiteral("label-1.png"), QStringLiteral("label-2.png")));
    EXPECT_EQ(picture(QStringLiteral("label-1.png")), paper(label.bytes()));
    EXPECT_EQ(picture(QStringLiteral("label-1.png")).size(), QSize(16, 2));
}

TEST_F(VirtualLE, PrintsAReceiptOfManyWrites)
{
    QByteArray stream = QByteArray::fromHex("1b40");
    for (int band = 0; band < 5; ++band)
        stream += QByteArray::fromHex("1d763000 4800 0001") + QByteArray(qsizetype(256) * 72, '\x55');
    EXPECT_EQ(print(stream), QString());
    EXPECT_EQ(picture(QStringLiteral("receipt-1.png")), paper(stream));
}

TEST_F(VirtualLE, IsFoundByBothTransports)
{
    std::vector<USBPrinter> found;
    receipts.discover(std::nullopt, [&found](const std::vector<USBPrinter>& printers) { found = printers; });
    clock->advance(8s);
    const std::vector<USBPrinter> expected{
        {virtualReceiptPort, virtualReceiptName}, {virtualLabelPort, virtualLabelName}};
    EXPECT_EQ(found, expected);
    found.clear();
    labels.discover(virtualLabelPort, [&found](const std::vector<USBPrinter>& printers) { found = printers; });
    clock->advance(8s);
    EXPECT_EQ(found, expected);
}

TEST_F(VirtualLE, HasNoOtherPrinters)
{
    EXPECT_EQ(print(receipt, strangerPort),
        QStringLiteral("Receipt printer did not finish in time. No receipt data was sent."));
    EXPECT_EQ(print(label, virtualReceiptPort),
        QStringLiteral("This label printer does not expose the supported Bluetooth printing service. No label data was "
                       "sent."));
    EXPECT_EQ(papers(), QStringList());
    EXPECT_EQ(print(receipt), QString());
    EXPECT_EQ(print(label), QString());
}

TEST_F(VirtualLE, SaysWhyNoPaperComesOut)
{
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(print("hello"), QString()) << "over LE nobody hears of it";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
        "virtual printer: nothing came out. The stream does not begin by initialising the printer.\n");
    EXPECT_EQ(papers(), QStringList());
    EXPECT_EQ(print(receipt), QString());
    EXPECT_EQ(picture(QStringLiteral("receipt-1.png")), paper(receipt));
}

TEST_F(VirtualLE, PrintsAfterThePrinterWasLetGo)
{
    EXPECT_EQ(print(receipt), QString());
    receipts.disconnect();
    EXPECT_EQ(print(receipt), QString());
    receipts.disconnect();
    clock->advance(1s);
    EXPECT_EQ(print(receipt), QString());
    EXPECT_EQ(papers().size(), 3);
}

// The central by itself

class Events : public LECentralEvents {
public:
    MOCK_METHOD(void, stateChanged, (LECentralState), (override));
    MOCK_METHOD(void, discovered, (const LEPeripheral&, const QString&), (override));
    MOCK_METHOD(void, connected, (const QUuid&), (override));
    MOCK_METHOD(void, failedToConnect, (const QUuid&), (override));
    MOCK_METHOD(void, disconnected, (const QUuid&), (override));
    MOCK_METHOD(void, servicesDiscovered, (const QUuid&, bool, const std::vector<GattUuid>&), (override));
    MOCK_METHOD(void, characteristicsDiscovered, (const QUuid&, GattUuid, bool, const std::vector<LECharacteristic>&),
        (override));
    MOCK_METHOD(void, channelOpened, (const QUuid&, const LEChannel&), (override));
    MOCK_METHOD(void, valueWritten, (const QUuid&, const LEChannel&, bool), (override));
    MOCK_METHOD(void, readyToWrite, (const QUuid&), (override));
};

class VirtualCentral : public VirtualLE {
protected:
    const QUuid printer{virtualReceiptPort.mid(4)};
    const QUuid stranger{strangerPort.mid(4)};
    ::testing::StrictMock<Events> events;
    std::unique_ptr<LECentral> central = ports.lowEnergy(queue)(events);
};

TEST_F(VirtualCentral, SeesEachPrinterOnceInAScanAndNoneAfterItsEnd)
{
    EXPECT_CALL(events, discovered).Times(2);
    central->startScan();
    central->startScan();
    clock->advance(1s);
    ::testing::Mock::VerifyAndClearExpectations(&events);
    central->stopScan();
    central->startScan();
    central->stopScan();
    clock->advance(1s);
}

TEST_F(VirtualCentral, TellsTheEndOfAConnectionOnceAndFromTheLoop)
{
    EXPECT_CALL(events, connected(printer));
    central->connect(printer);
    clock->advance(1s);
    EXPECT_EQ(central->peripheralState(printer), LEPeripheralState::connected);
    EXPECT_EQ(central->connectedPeripherals({0x18F0}).size(), 1U);
    central->cancelConnection(printer);
    EXPECT_CALL(events, disconnected(printer));
    clock->advance(1s);
    EXPECT_EQ(central->peripheralState(printer), LEPeripheralState::disconnected);
    central->cancelConnection(printer);
    clock->advance(1s);
}

TEST_F(VirtualCentral, FailsToConnectAStranger)
{
    EXPECT_TRUE(central->knownPeripherals(stranger).empty());
    EXPECT_CALL(events, failedToConnect(stranger));
    central->connect(stranger);
    clock->advance(1s);
}

TEST_F(VirtualCentral, ReportsNothingOnceItHasGone)
{
    central->connect(printer);
    central->startScan();
    central.reset();
    clock->advance(1s);
}

} // namespace
} // namespace harrowmint::test
