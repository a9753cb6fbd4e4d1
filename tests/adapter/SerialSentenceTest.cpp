// Which sentence the cashier reads when something goes wrong over a serial channel, and that the next receipt comes
// out.
#include "adapter/BackendRig.h"

namespace adapter {

using namespace std::chrono_literals;

namespace {

const QString nothingSent = QStringLiteral(" No receipt data was sent.");
const QString checkPaper = QStringLiteral(" Check the paper before retrying; part may have printed.");
const QString pairFirst = QStringLiteral("Pair this receipt printer in macOS Bluetooth settings first.");
const QString noSerialPort =
    QStringLiteral("This paired device does not expose the Bluetooth serial printing service.");
const QString cannotConnect =
    QStringLiteral("Cannot connect this Bluetooth receipt printer. Check power and other connected apps.");
const QString connectionFailed = QStringLiteral("Bluetooth receipt connection failed.");
const QString disconnected = QStringLiteral("Bluetooth receipt printer disconnected.");

const QByteArray receipt = pattern(60'000);

} // namespace

class BluezSerialSentences : public BackendTest {
protected:
    void expectNextReceiptComesOut()
    {
        const QByteArray before = m_bluez.received(printerPath);
        const QByteArray next = pattern(3000);
        EXPECT_EQ(sentence(printSerially(next)), QString());
        EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath).mid(before.size()) == next; }));
    }

    Outcome startReceipt()
    {
        Outcome outcome = printSerially(receipt);
        waitForBytes(printerPath, 4096);
        return outcome;
    }
};

TEST_F(BluezSerialSentences, NoneWhenAllIsWellAndTheBytesAreUnaltered)
{
    startWithSerialPrinter();
    EXPECT_EQ(sentence(printSerially(receipt)), QString());
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath) == receipt; }));
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, NoBluetoothd)
{
    EXPECT_EQ(sentence(printSerially(receipt)), pairFirst + nothingSent);
    startWithSerialPrinter();
    EXPECT_TRUE(waitFor([&] { return sentence(printSerially(pattern(10))).isEmpty(); }));
}

TEST_F(BluezSerialSentences, NotPaired)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath, deviceObject(printerAddress));
    m_bluez.start();
    EXPECT_EQ(sentence(printSerially(receipt)), pairFirst + nothingSent);
}

TEST_F(BluezSerialSentences, TheAdapterIsOff)
{
    startWithSerialPrinter(false);
    EXPECT_EQ(sentence(printSerially(receipt)), cannotConnect + nothingSent);
}

TEST_F(BluezSerialSentences, NoSerialPort)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath, deviceObject(printerAddress, {{QStringLiteral("Paired"), true}}));
    m_bluez.start();
    EXPECT_EQ(sentence(printSerially(receipt)), noSerialPort + nothingSent);
}

TEST_F(BluezSerialSentences, ThePrinterIsOff)
{
    startWithSerialPrinter();
    behaveWithError("ConnectProfile", "org.bluez.Error.Failed", "br-connection-page-timeout", 1);
    EXPECT_EQ(sentence(printSerially(receipt)), noSerialPort + nothingSent);
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, ThePrinterRefuses)
{
    startWithSerialPrinter();
    behaveWithError("ConnectProfile", "org.bluez.Error.Failed", "br-connection-refused", 1);
    EXPECT_EQ(sentence(printSerially(receipt)), connectionFailed + nothingSent);
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, AnotherProgramHasThePort)
{
    startWithSerialPrinter();
    behaveWithError("RegisterProfile", "org.bluez.Error.NotPermitted", "UUID already registered", 1);
    EXPECT_EQ(sentence(printSerially(receipt)), cannotConnect + nothingSent);
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, ThePrinterCloses)
{
    startWithSerialPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.hangUp(printerPath);
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, BluetoothdIsRestartedOnTheWay)
{
    startWithSerialPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.stop();
    m_bluez.start();
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, BluetoothdIsRestartedWhileConnecting)
{
    startWithSerialPrinter();
    m_bluez.behave(QStringLiteral("ConnectProfile"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    const Outcome outcome = printSerially(receipt);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("ConnectProfile")) == 1; }));
    m_bluez.stop();
    EXPECT_EQ(sentence(outcome), disconnected + nothingSent);
    m_bluez.start();
    expectNextReceiptComesOut();
}

TEST_F(BluezSerialSentences, ListsThePairedPrinters)
{
    startWithSerialPrinter();
    makeSerial();
    m_serialReceipts = std::make_unique<harrowmint::ReceiptSerialBackend>(m_queue, harrowmint::test::lend(*m_serial));
    std::optional<std::vector<harrowmint::USBPrinter>> found;
    m_serialReceipts->discover([&found](const std::vector<harrowmint::USBPrinter>& printers) { found = printers; });
    ASSERT_TRUE(waitFor([&found] { return found.has_value(); }));
    ASSERT_EQ(found->size(), 1U);
    EXPECT_EQ(found->front().uri, serialPortName);
    EXPECT_EQ(found->front().name, QStringLiteral("Serial Printer (paired serial)"));
}

} // namespace adapter
