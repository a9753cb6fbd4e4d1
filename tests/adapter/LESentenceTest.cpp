// Which sentence the cashier reads when something goes wrong over LE, and that the next receipt comes out.
#include "adapter/BackendRig.h"

namespace adapter {

using namespace std::chrono_literals;

const QString adapterInterface = QStringLiteral("org.bluez.Adapter1");
const QString nothingSent = QStringLiteral(" No receipt data was sent.");
const QString checkPaper = QStringLiteral(" Check the paper before retrying; part may have printed.");
const QString turnOn = QStringLiteral("Turn on Bluetooth and your receipt printer.");
const QString disconnected = QStringLiteral("Receipt printer disconnected.");
const QString allowAccess = QStringLiteral("Allow Bluetooth access for Harrowmint Printer in macOS Privacy settings.");
const QString cannotConnect =
    QStringLiteral("Cannot connect your receipt printer. Check power and close other apps using it.");

const QByteArray receipt = pattern(20'000);
constexpr int someBytes = 2'000;

class BluezLESentences : public BackendTest {
protected:
    void expectNextReceiptComesOut()
    {
        const QByteArray before = m_bluez.received(writePath);
        const QByteArray next = pattern(700);
        EXPECT_EQ(sentence(printReceipt(next)), QString());
        EXPECT_EQ(m_bluez.received(writePath).mid(before.size()), next);
    }

    void setPowered(bool powered) { m_bluez.change(hci0, adapterInterface, {{QStringLiteral("Powered"), powered}}); }

    /// A job that has handed out some bytes.
    Outcome startReceipt()
    {
        Outcome outcome = printReceipt(receipt);
        waitForBytes(writePath, someBytes);
        return outcome;
    }

    /// The central is made with the first job; afterwards it takes a moment until it knows.
    void printUntilItWorks()
    {
        EXPECT_TRUE(waitFor([&] { return sentence(printReceipt(pattern(700))).isEmpty(); }));
    }
};

TEST_F(BluezLESentences, NoneWhenAllIsWellAndTheBytesAreUnaltered)
{
    startWithPrinter();
    EXPECT_EQ(sentence(printReceipt(receipt)), QString());
    EXPECT_EQ(m_bluez.received(writePath), receipt);
    expectNextReceiptComesOut();
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 1) << "the printer stays connected";
}

TEST_F(BluezLESentences, PairAPrinterThatBlueZConnectsTheClassicWay)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath,
        deviceObject(printerAddress, {{QStringLiteral("UUIDs"), QStringList{harrowmint::bluez::serialPortUuid}}}));
    m_bluez.start();
    EXPECT_EQ(sentence(printReceipt(receipt)),
        QStringLiteral("This device has no supported ESC/POS Bluetooth LE channel. Pair serial printers in macOS "
                       "Bluetooth settings and choose their paired entry.")
            + nothingSent);
}

TEST_F(BluezLESentences, NoneBeforeBlueZHasReadTheLastPacket)
{
    startWithPrinter();
    m_bluez.stall(true);
    const QByteArray shortReceipt = pattern(100);
    const Outcome outcome = printReceipt(shortReceipt);
    letPass(3'000ms);
    EXPECT_FALSE(outcome->has_value());
    EXPECT_EQ(m_bluez.received(writePath), QByteArray());
    m_bluez.stall(false);
    EXPECT_EQ(sentence(outcome), QString());
    EXPECT_EQ(m_bluez.received(writePath), shortReceipt);
}

TEST_F(BluezLESentences, NoneBeforeBlueZHasTakenTheLastWriteCommand)
{
    startWithPrinter();
    m_bluez.behave(
        QStringLiteral("AcquireWrite"), {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.NotSupported")}});
    m_bluez.behave(QStringLiteral("WriteValue"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.NotPermitted")},
            {QStringLiteral("text"), QStringLiteral("Write acquired")}, {QStringLiteral("times"), 25}});
    const QByteArray shortReceipt = pattern(100);
    const Outcome outcome = printReceipt(shortReceipt);
    EXPECT_EQ(sentence(outcome), QString());
    EXPECT_EQ(m_bluez.received(writePath), shortReceipt);
}

TEST_F(BluezLESentences, AdapterSwitchedOff)
{
    startWithPrinter();
    setPowered(false);
    EXPECT_EQ(sentence(printReceipt(receipt)), turnOn + nothingSent);
    setPowered(true);
    printUntilItWorks();
}

TEST_F(BluezLESentences, NoAdapter)
{
    m_bluez.start();
    EXPECT_EQ(sentence(printReceipt(receipt)), turnOn + nothingSent);
    startWithPrinter();
    printUntilItWorks();
}

TEST_F(BluezLESentences, NoBluetoothd)
{
    EXPECT_EQ(sentence(printReceipt(receipt)), turnOn + nothingSent);
    startWithPrinter();
    printUntilItWorks();
}

TEST_F(BluezLESentences, NoBus)
{
    m_bus.stop();
    EXPECT_EQ(sentence(printReceipt(receipt)), turnOn + nothingSent);
}

TEST_F(BluezLESentences, TheBusRefuses)
{
    startWithPrinter();
    m_bus.denyBluez(true);
    EXPECT_EQ(sentence(printReceipt(receipt)), allowAccess + nothingSent);
    m_bus.denyBluez(false);
    printUntilItWorks();
}

TEST_F(BluezLESentences, ThePrinterIsOff)
{
    startWithPrinter();
    m_bluez.behave(QStringLiteral("Connect"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")},
            {QStringLiteral("text"), QStringLiteral("le-connection-abort-by-local")}, {QStringLiteral("times"), 1}});
    EXPECT_EQ(sentence(printReceipt(receipt)), cannotConnect + nothingSent);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, ServicesThatCannotBeRead)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath, deviceObject(printerAddress));
    m_bluez.start();
    EXPECT_EQ(sentence(printReceipt(receipt)),
        QStringLiteral("Cannot read Bluetooth receipt services. No receipt data was sent."));
    startWithPrinter();
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, TheChannelHangsUp)
{
    startWithPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.hangUp(writePath);
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, TheLinkIsLost)
{
    startWithPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.dropLink(printerPath);
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, TheAdapterIsSwitchedOffOnTheWay)
{
    startWithPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.powerOff(hci0, 20);
    EXPECT_EQ(sentence(outcome), turnOn + checkPaper);
    setPowered(true);
    printUntilItWorks();
}

TEST_F(BluezLESentences, TheAdapterIsRemovedOnTheWay)
{
    startWithPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.remove(hci0);
    EXPECT_EQ(sentence(outcome), turnOn + checkPaper);
}

TEST_F(BluezLESentences, BluetoothdIsRestartedOnTheWay)
{
    startWithPrinter();
    const Outcome outcome = startReceipt();
    m_bluez.stop();
    forgetLink();
    m_bluez.start();
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    printUntilItWorks();
}

TEST_F(BluezLESentences, TheLinkIsLostWhileSettling)
{
    startWithPrinter();
    const QByteArray bytes = pattern(180);
    const Outcome outcome = printReceipt(bytes);
    waitForBytes(writePath, 180);
    m_bluez.dropLink(printerPath);
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, AWriteIsRefused)
{
    startWithPrinter({QStringLiteral("write")});
    m_bluez.behave(QStringLiteral("WriteValue"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.NotPermitted")},
            {QStringLiteral("text"), QStringLiteral("Write not permitted")}, {QStringLiteral("times"), 1}});
    EXPECT_EQ(sentence(printReceipt(receipt)), QStringLiteral("Receipt transfer failed.") + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, AWriteFailsWithTheLink)
{
    startWithPrinter({QStringLiteral("write")});
    const Outcome outcome = startReceipt();
    m_bluez.behave(QStringLiteral("WriteValue"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")},
            {QStringLiteral("text"), QStringLiteral("Operation failed")}, {QStringLiteral("dropsLink"), true},
            {QStringLiteral("times"), 1}});
    EXPECT_EQ(sentence(outcome), disconnected + checkPaper);
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, AWriteChannelThatIsTakenIsWaitedFor)
{
    startWithPrinter();
    m_bluez.behave(QStringLiteral("AcquireWrite"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.NotPermitted")},
            {QStringLiteral("text"), QStringLiteral("Write acquired")}, {QStringLiteral("times"), 5}});
    expectNextReceiptComesOut();
}

TEST_F(BluezLESentences, APrinterThatIsNotKnownIsLookedForAndFound)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.start();
    const Outcome outcome = printReceipt(receipt);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) == 1; }));
    m_bluez.stage(servicePath, serviceObject(channel.service));
    m_bluez.stage(writePath, characteristicObject(channel.characteristic, {QStringLiteral("write-without-response")}));
    m_bluez.add(printerPath, deviceObject(printerAddress, {{QStringLiteral("RSSI"), QVariant::fromValue(short(-60))}}));
    EXPECT_EQ(sentence(outcome), QString());
    EXPECT_EQ(m_bluez.received(writePath), receipt);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery")), 1);
}

TEST_F(BluezLESentences, TwoJobsOfTwoTransportsOnOnePrinterFollowEachOther)
{
    startWithPrinter();
    const Outcome first = startReceipt();
    harrowmint::ReceiptBLEBackend second(m_queue, m_centrals.on(m_queue));
    const auto other = std::make_shared<std::optional<QString>>();
    const QByteArray bytes = pattern(500);
    second.start(bytes, lePort, harrowmint::TransferCompletion([other](const harrowmint::TransferOutcome& error) {
        *other = error ? error->message() : QString();
    }));
    EXPECT_EQ(sentence(first), QString());
    EXPECT_EQ(sentence(other), QString());
    EXPECT_EQ(m_bluez.received(writePath), receipt + bytes);
}

} // namespace adapter
