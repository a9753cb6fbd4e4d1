// The agent as it is installed, on a system bus with a simulated bluetoothd.
#include "e2e/BluetoothRig.h"

#include <QDeadlineTimer>
#include <QThread>
#include <functional>
#include <gtest/gtest.h>
#include <ostream>

namespace harrowmint::test {
namespace {

const auto program = QStringLiteral("harrowmint-printer-scripted");
const QByteArray partMayHavePrinted = " Check the paper before retrying; part may have printed.";
constexpr int longJob = 600; // rows: more than 2 s over LE
constexpr int shortJob = 24;
constexpr int someBytes = 2000;

/// What the agent says of each way.
struct Texts {
    const char* name;
    QByteArray sent;
    QByteArray nothingSent;
    QByteArray turnOn; ///< the adapter is off
    QByteArray missing; ///< there is no adapter, or no bluetoothd
    QByteArray denied;
    QByteArray offOnTheWay;
    QByteArray disconnected;
};

const Texts& textsOf(Way way)
{
    static const QByteArray allow = "Allow Bluetooth access for Harrowmint Printer in macOS Privacy settings.";
    static const QByteArray receiptsOff = "Turn on Bluetooth and your receipt printer.";
    static const QByteArray labelsOff = "Turn on Bluetooth and your label printer.";
    static const QByteArray pair = "Pair this receipt printer in macOS Bluetooth settings first.";
    static const QByteArray serialLost = "Bluetooth receipt printer disconnected.";
    static const Texts receipts{"ReceiptOverLE", "Receipt sent to Bluetooth printer. Please check the paper.",
        " No receipt data was sent.", receiptsOff, receiptsOff, allow, receiptsOff, "Receipt printer disconnected."};
    static const Texts labels{"LabelOverLE", "Label sent to Bluetooth printer. Please check the paper.",
        " No label data was sent.", labelsOff, labelsOff, allow, labelsOff, "Label printer disconnected."};
    static const Texts serial{"ReceiptOverSerial", receipts.sent, receipts.nothingSent,
        "Cannot connect this Bluetooth receipt printer. Check power and other connected apps.", pair, pair, serialLost,
        serialLost};
    return way == Way::ReceiptLE ? receipts : way == Way::Label ? labels : serial;
}

/// Something that goes wrong with Bluetooth, and how it is mended.
struct Fault {
    const char* name;
    std::function<void(BluetoothRig&)> happen;
    std::function<void(BluetoothRig&)> mend;
    QByteArray Texts::*sentence;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault)
{
    return out << fault.name;
}

const Fault faultsAtTheStart[] = {
    {"TheAdapterIsMissing", [](BluetoothRig& rig) { rig.bluez.start(); }, [](BluetoothRig& rig) { rig.publish(); },
        &Texts::missing},
    {"TheAdapterIsOff",
        [](BluetoothRig& rig) {
            rig.publish();
            rig.setPowered(false);
        },
        [](BluetoothRig& rig) { rig.setPowered(true); }, &Texts::turnOn},
    {"BluetoothdIsAbsent", [](BluetoothRig&) {}, [](BluetoothRig& rig) { rig.publish(); }, &Texts::missing},
    {"AccessIsDenied",
        [](BluetoothRig& rig) {
            rig.publish();
            rig.bus.denyBluez(true);
        },
        [](BluetoothRig& rig) { rig.bus.denyBluez(false); }, &Texts::denied},
};

const Fault faultsOnTheWay[] = {
    {"TheAdapterIsSwitchedOff", [](BluetoothRig& rig) { rig.bluez.powerOff(BluetoothRig::adapter, 0); },
        [](BluetoothRig& rig) { rig.setPowered(true); }, &Texts::offOnTheWay},
    {"TheAdapterIsRemoved", [](BluetoothRig& rig) { rig.bluez.remove(BluetoothRig::adapter); },
        [](BluetoothRig& rig) { rig.publish(); }, &Texts::offOnTheWay},
    {"BluetoothdIsRestarted", [](BluetoothRig& rig) { rig.restartBluez(); }, [](BluetoothRig&) {},
        &Texts::disconnected},
};

QByteArray reply(bool success, const QByteArray& message)
{
    return QByteArray("{\"success\":") + (success ? "true" : "false") + ",\"message\":\"" + message + "\"}";
}

class BluetoothAgent : public ::testing::Test {
protected:
    /// Prints a job and expects exactly its bytes.
    void expectPrints(Way way, int rows = shortJob)
    {
        const QByteArray before = m_rig.received(way);
        const QByteArray body = jobFor(way, rows);
        EXPECT_EQ(m_rig.print(body).body, reply(true, textsOf(way).sent));
        EXPECT_EQ(m_rig.received(way).mid(before.size()), streamOf(body));
    }

    /// As a cashier does: again, as long as it is said that nothing was sent. The agent looks for Bluetooth every 3 s
    /// at the latest, and more jobs than these would count as a burst.
    void expectPrintsSoon(Way way)
    {
        constexpr int attempts = 6;
        const QByteArray before = m_rig.received(way);
        QByteArray body;
        HttpResponse response;
        for (int i = 0; i < attempts && response.status != 200; ++i) {
            if (i > 0) {
                EXPECT_TRUE(response.body.contains(textsOf(way).nothingSent)) << response.body.constData();
                QThread::msleep(800);
            }
            body = jobFor(way, shortJob);
            response = m_rig.print(body);
        }
        EXPECT_EQ(response.body, reply(true, textsOf(way).sent)) << m_rig.agent->log().constData();
        EXPECT_EQ(m_rig.received(way).mid(before.size()), streamOf(body));
    }

    BluetoothRig m_rig{program};
};

class BluetoothAgentWay : public BluetoothAgent, public ::testing::WithParamInterface<Way> { };

TEST_P(BluetoothAgentWay, PrintsOneJobAfterTheOther)
{
    m_rig.publish();
    m_rig.startAgent(GetParam());
    expectPrints(GetParam(), longJob);
    expectPrints(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Each, BluetoothAgentWay, ::testing::Values(Way::ReceiptLE, Way::Label, Way::ReceiptSerial),
    [](const auto& info) { return std::string(textsOf(info.param).name); });

class BluetoothAgentFault : public BluetoothAgent, public ::testing::WithParamInterface<std::tuple<Way, Fault>> {
protected:
    const Way m_way = std::get<0>(GetParam());
    const Fault& m_fault = std::get<1>(GetParam());

    [[nodiscard]] QByteArray refusal(const QByteArray& outcome) const
    {
        return reply(false, textsOf(m_way).*m_fault.sentence + outcome);
    }
};

class BluetoothAgentFaultAtTheStart : public BluetoothAgentFault { };
class BluetoothAgentFaultOnTheWay : public BluetoothAgentFault { };

TEST_P(BluetoothAgentFaultAtTheStart, IsToldAndTheNextJobPrints)
{
    m_fault.happen(m_rig);
    m_rig.startAgent(m_way);
    const HttpResponse response = m_rig.print(jobFor(m_way, shortJob));
    EXPECT_EQ(response.status, 409);
    EXPECT_EQ(response.body, refusal(textsOf(m_way).nothingSent));
    EXPECT_EQ(m_rig.received(m_way), QByteArray());
    m_fault.mend(m_rig);
    expectPrintsSoon(m_way);
}

TEST_P(BluetoothAgentFaultOnTheWay, IsToldAndTheNextJobPrints)
{
    m_rig.publish();
    m_rig.startAgent(m_way);
    const QByteArray body = jobFor(m_way, longJob);
    auto response = m_rig.printMeanwhile(body);
    m_rig.waitForBytes(m_way, someBytes);
    m_fault.happen(m_rig);
    EXPECT_EQ(response.get().body, refusal(partMayHavePrinted));
    const QByteArray part = m_rig.received(m_way);
    EXPECT_TRUE(streamOf(body).startsWith(part));
    EXPECT_LT(part.size(), streamOf(body).size());
    m_fault.mend(m_rig);
    expectPrintsSoon(m_way);
}

const auto nameOfFault = [](const auto& info) {
    return std::string(std::get<1>(info.param).name) + textsOf(std::get<0>(info.param)).name;
};
INSTANTIATE_TEST_SUITE_P(Each, BluetoothAgentFaultAtTheStart,
    ::testing::Combine(
        ::testing::Values(Way::ReceiptLE, Way::Label, Way::ReceiptSerial), ::testing::ValuesIn(faultsAtTheStart)),
    nameOfFault);
INSTANTIATE_TEST_SUITE_P(Each, BluetoothAgentFaultOnTheWay,
    ::testing::Combine(
        ::testing::Values(Way::ReceiptLE, Way::Label, Way::ReceiptSerial), ::testing::ValuesIn(faultsOnTheWay)),
    nameOfFault);

TEST_F(BluetoothAgent, ServesThePageBeforeTheBusHasAnswered)
{
    m_rig.publish();
    m_rig.bus.freeze(true);
    m_rig.startAgent(Way::ReceiptLE);
    EXPECT_EQ(m_rig.health().status, 200);
    m_rig.bus.freeze(false);
}

TEST_F(BluetoothAgent, LooksForReceiptAndLabelPrintersWhenItStarts)
{
    m_rig.publish();
    m_rig.startAgent(Way::ReceiptLE);
    const QString scan = QStringLiteral("StartDiscovery ") + BluetoothRig::adapter;
    const QDeadlineTimer deadline(std::chrono::minutes(1));
    while (m_rig.bluez.calls().count(scan) < 2 && !deadline.hasExpired())
        QThread::msleep(10);
    EXPECT_EQ(m_rig.bluez.calls().count(scan), 2) << "one for each kind, as separate clients";
}

TEST_F(BluetoothAgent, AnswersThePageWhileTheBusIsMute)
{
    m_rig.publish();
    m_rig.bus.freeze(true);
    m_rig.startAgent(Way::ReceiptSerial);
    auto receipt = m_rig.printMeanwhile(jobFor(Way::ReceiptSerial, shortJob));
    m_rig.agent->waitForLog("Sending receipt to Bluetooth printer");
    EXPECT_EQ(m_rig.health().status, 200);
    const HttpResponse second = m_rig.print(jobFor(Way::Label, shortJob));
    EXPECT_EQ(second.body, reply(false, "Printer is busy. Wait for the current receipt to finish."));
    m_rig.bus.freeze(false);
    EXPECT_EQ(receipt.get().body, reply(true, textsOf(Way::ReceiptSerial).sent));
}

TEST_F(BluetoothAgent, PrintsReceiptsAndLabelsInTurn)
{
    m_rig.publish();
    m_rig.startAgent(Way::ReceiptLE);
    expectPrints(Way::Label);
    expectPrints(Way::ReceiptLE);
    expectPrints(Way::Label);
}

} // namespace
} // namespace harrowmint::test
