// Writing to a characteristic.
#include "adapter/AdapterRig.h"

#include <QElapsedTimer>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

constexpr auto withResponse = LEWriteType::withResponse;
constexpr auto withoutResponse = LEWriteType::withoutResponse;

const QString deviceInterface = QStringLiteral("org.bluez.Device1");
const QString failed = QStringLiteral("org.bluez.Error.Failed");
const QStringList bothFlags{QStringLiteral("write"), QStringLiteral("write-without-response")};

class BluezLEChannels : public CentralTest {
protected:
    void openChannelOf(LEWriteType type, const QStringList& flags, ushort mtu = 517)
    {
        startWithPrinter(flags, mtu);
        switchOn();
        connectPrinter();
        openChannel(type);
    }

    bool waitForBytes(const QByteArray& bytes)
    {
        return waitFor([&] { return m_bluez.received(writePath).size() >= bytes.size(); })
            && m_bluez.received(writePath) == bytes;
    }

    void behaveWithError(const char* member, const char* error, const char* text, int times = -1, int delay = 0)
    {
        m_bluez.behave(QLatin1String(member),
            {{QStringLiteral("error"), QString::fromLatin1(error)}, {QStringLiteral("text"), QString::fromLatin1(text)},
                {QStringLiteral("times"), times}, {QStringLiteral("delay"), delay}});
    }
};

TEST_F(BluezLEChannels, WithoutResponseBytesArriveInOrderInTheirPackets)
{
    openChannelOf(withoutResponse, bothFlags);
    const QByteArray bytes = pattern(5000);
    sendAll(bytes, 180);
    ASSERT_TRUE(waitForBytes(bytes));
    QList<int> expected(27, 180);
    expected.append(140);
    EXPECT_EQ(m_bluez.packets(writePath), expected);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("WriteValue")), 0);
}

struct MtuLimit {
    const char* name;
    ushort mtu;
    int largest;
};

void PrintTo(const MtuLimit& limit, std::ostream* out)
{
    *out << limit.mtu;
}

class BluezLEMtu : public CentralTest, public ::testing::WithParamInterface<MtuLimit> { };

TEST_P(BluezLEMtu, LeavesThreeBytesOfItAndAtMost512ForAWriteOfEitherKind)
{
    startWithPrinter({QStringLiteral("write"), QStringLiteral("write-without-response")}, GetParam().mtu);
    switchOn();
    connectPrinter();
    EXPECT_EQ(m_central->maximumWriteLength(printer, withoutResponse), 0) << "before it is open";
    openChannel(withoutResponse);
    EXPECT_EQ(m_central->maximumWriteLength(printer, withoutResponse), GetParam().largest);
    EXPECT_EQ(m_central->maximumWriteLength(printer, withResponse), GetParam().largest);
    m_events.log.clear();
    m_central->closeChannel(printer);
    openChannel(withResponse);
    EXPECT_EQ(m_central->maximumWriteLength(printer, withResponse), GetParam().largest);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BluezLEMtu,
    ::testing::Values(MtuLimit{"smallest", 23, 20}, MtuLimit{"usual", 185, 182}, MtuLimit{"mtu514", 514, 511},
        MtuLimit{"mtu515", 515, 512}, MtuLimit{"largest", 517, 512}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(BluezLEChannels, WithoutAKnownMtuTheSmallestCounts)
{
    openChannelOf(withResponse, {QStringLiteral("write")}, 0);
    EXPECT_EQ(m_central->maximumWriteLength(printer, withResponse), 20);
}

TEST_F(BluezLEChannels, APrinterThatDoesNotKeepUpIsWaitedFor)
{
    openChannelOf(withoutResponse, bothFlags);
    m_bluez.stall(true);
    const QByteArray bytes = pattern(20'000);
    qsizetype offset = 0;
    while (m_central->canSendWriteWithoutResponse(printer) && offset < bytes.size()) {
        m_central->write(printer, channel, bytes.mid(offset, 180), withoutResponse);
        offset += 180;
    }
    EXPECT_LT(offset, 8'000) << "the computer's own buffer is small";
    letPass(100ms);
    EXPECT_FALSE(m_events.has("ready"));
    m_bluez.stall(false);
    ASSERT_TRUE(waitForEvent("ready"));
    sendAll(bytes.mid(offset), 180);
    EXPECT_TRUE(waitForBytes(bytes));
}

TEST_F(BluezLEChannels, AreHandedOverOnceBlueZHasReadTheLastPacket)
{
    openChannelOf(withoutResponse, bothFlags);
    EXPECT_TRUE(m_central->hasHandedOver(printer)) << "nothing was written";
    m_bluez.stall(true);
    sendAll(pattern(100), 100);
    EXPECT_TRUE(m_central->canSendWriteWithoutResponse(printer));
    EXPECT_FALSE(m_central->hasHandedOver(printer));
    letPass(100ms);
    EXPECT_FALSE(m_events.has("ready"));
    m_bluez.stall(false);
    ASSERT_TRUE(waitForEvent("ready"));
    EXPECT_TRUE(m_central->hasHandedOver(printer));
    letPass(100ms);
    EXPECT_EQ(m_events.count("ready"), 1);
}

TEST_F(BluezLEChannels, AreHandedOverOnceTheLastWriteCommandIsTaken)
{
    behaveWithError("AcquireWrite", "org.bluez.Error.NotSupported", "Operation is not supported");
    openChannelOf(withoutResponse, bothFlags);
    behaveWithError("WriteValue", "org.bluez.Error.NotPermitted", "Write acquired", 2);
    m_central->write(printer, channel, pattern(20), withoutResponse);
    EXPECT_FALSE(m_central->hasHandedOver(printer));
    ASSERT_TRUE(waitForEvent("ready"));
    EXPECT_EQ(m_bluez.received(writePath), pattern(20));
    EXPECT_TRUE(m_central->hasHandedOver(printer));
}

TEST_F(BluezLEChannels, WhereItCannotBeAcquiredWriteCommandsGoOutOneByOne)
{
    behaveWithError("AcquireWrite", "org.bluez.Error.NotSupported", "Operation is not supported");
    openChannelOf(withoutResponse, bothFlags, 100);
    EXPECT_EQ(m_central->maximumWriteLength(printer, withoutResponse), 97);
    const QByteArray bytes = pattern(500);
    sendAll(bytes, 97);
    ASSERT_TRUE(waitForBytes(bytes));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("WriteValue %1 command").arg(writePath)), 6);
}

TEST_F(BluezLEChannels, AWriteCommandThatFailsMeansALostLink)
{
    behaveWithError("AcquireWrite", "org.bluez.Error.NotSupported", "Operation is not supported");
    openChannelOf(withoutResponse, bothFlags);
    m_events.log.clear();
    behaveWithError("WriteValue", "org.bluez.Error.Failed", "Operation failed");
    m_central->write(printer, channel, pattern(20), withoutResponse);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_events.log, std::vector<std::string>{"disconnected"});
}

TEST_F(BluezLEChannels, WhileSomebodyElseHoldsItTheChannelWaits)
{
    behaveWithError("AcquireWrite", "org.bluez.Error.NotPermitted", "Write acquired", 3);
    openChannelOf(withoutResponse, bothFlags);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("AcquireWrite")), 4);
}

TEST_F(BluezLEChannels, IsFreeForAnotherCentralOnceItIsClosed)
{
    openChannelOf(withoutResponse, bothFlags);
    makeCentral();
    ASSERT_TRUE(waitFor([&] { return m_other->state() == LECentralState::poweredOn; }));
    m_other->connect(printer);
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("connected"); }));
    m_other->openChannel(printer, channel, withoutResponse);
    letPass(300ms);
    EXPECT_FALSE(m_otherEvents.has("opened"));
    m_central->closeChannel(printer);
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("opened"); }));
}

TEST_F(BluezLEChannels, WhatWasWrittenArrivesThoughTheChannelIsClosed)
{
    openChannelOf(withoutResponse, bothFlags);
    m_bluez.stall(true);
    const QByteArray bytes = pattern(500);
    sendAll(bytes, 250);
    m_central->closeChannel(printer);
    letPass(100ms);
    m_bluez.stall(false);
    EXPECT_TRUE(waitForBytes(bytes));
}

TEST_F(BluezLEChannels, ThatBlueZHangsUpOnMeanALostLink)
{
    openChannelOf(withoutResponse, bothFlags);
    m_events.log.clear();
    m_bluez.hangUp(writePath);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_events.log, std::vector<std::string>{"disconnected"});
    m_events.log.clear();
    connectPrinter();
    openChannel(withoutResponse);
}

TEST_F(BluezLEChannels, ThatBlueZHangsUpOnAreExplainedByPowerThatGoesOff)
{
    openChannelOf(withoutResponse, bothFlags);
    m_events.log.clear();
    m_bluez.powerOff(hci0);
    ASSERT_TRUE(waitForEvent("poweredOff"));
    letPass(300ms);
    EXPECT_EQ(m_events.log, std::vector<std::string>{"poweredOff"});
}

TEST_F(BluezLEChannels, AHangUpIsInDoubtUntilAWhileAfterTheLinkIsSeenToBeDown)
{
    openChannelOf(withoutResponse, bothFlags);
    QElapsedTimer clock;
    clock.start();
    m_bluez.dropLink(printerPath, 50);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_GE(clock.elapsed(), 50 + 200);
}

TEST_F(BluezLEChannels, WritingAfterTheHangUpIsALostLinkToo)
{
    openChannelOf(withoutResponse, bothFlags);
    m_events.log.clear();
    m_bluez.hangUp(writePath);
    m_central->write(printer, channel, pattern(20), withoutResponse);
    EXPECT_TRUE(m_events.log.empty()) << "nothing within the call";
    ASSERT_TRUE(waitForEvent("disconnected"));
}

TEST_F(BluezLEChannels, WithResponseEachWriteIsConfirmed)
{
    openChannelOf(withResponse, {QStringLiteral("write")});
    for (int i = 0; i < 3; ++i) {
        m_central->write(printer, channel, pattern(180), withResponse);
        ASSERT_TRUE(waitFor([&] { return m_events.count("written") == i + 1; }));
    }
    EXPECT_EQ(m_bluez.received(writePath), pattern(180) + pattern(180) + pattern(180));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("WriteValue %1 request").arg(writePath)), 3);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("AcquireWrite")), 0);
}

TEST_F(BluezLEChannels, ARefusedRequestIsReportedWhileTheLinkStands)
{
    openChannelOf(withResponse, {QStringLiteral("write")});
    m_events.log.clear();
    behaveWithError("WriteValue", "org.bluez.Error.NotPermitted", "Write not permitted");
    m_central->write(printer, channel, pattern(20), withResponse);
    ASSERT_TRUE(waitForEvent("write failed"));
    EXPECT_EQ(m_events.log, std::vector<std::string>{"write failed"});
}

TEST_F(BluezLEChannels, ARequestThatFailsJustBeforeTheLinkIsLostIsALostLink)
{
    openChannelOf(withResponse, {QStringLiteral("write")});
    m_events.log.clear();
    m_bluez.behave(
        QStringLiteral("WriteValue"), {{QStringLiteral("error"), failed}, {QStringLiteral("dropsLink"), true}});
    m_central->write(printer, channel, pattern(20), withResponse);
    ASSERT_TRUE(waitForEvent("disconnected"));
    letPass(300ms);
    EXPECT_EQ(m_events.log, std::vector<std::string>{"disconnected"});
}

struct Taken {
    const char* name;
    const char* error;
    const char* text;
};

void PrintTo(const Taken& taken, std::ostream* out)
{
    *out << taken.error;
}

class BluezLETaken : public CentralTest, public ::testing::WithParamInterface<Taken> { };

TEST_P(BluezLETaken, ARequestWaitsForItsTurn)
{
    startWithPrinter({QStringLiteral("write")});
    switchOn();
    connectPrinter();
    openChannel(withResponse);
    m_bluez.behave(QStringLiteral("WriteValue"),
        {{QStringLiteral("error"), QString::fromLatin1(GetParam().error)},
            {QStringLiteral("text"), QString::fromLatin1(GetParam().text)}, {QStringLiteral("times"), 2}});
    m_central->write(printer, channel, pattern(20), withResponse);
    ASSERT_TRUE(waitForEvent("written"));
    EXPECT_EQ(m_bluez.received(writePath), pattern(20)) << "once";
}

INSTANTIATE_TEST_SUITE_P(Errors, BluezLETaken,
    ::testing::Values(Taken{"held", "org.bluez.Error.NotPermitted", "Write acquired"},
        Taken{"inProgress", "org.bluez.Error.InProgress", "In Progress"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(BluezLEChannels, ACharacteristicThatIsGoneMeansALostLink)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_central->openChannel(printer, {channel.service, 0xFF02}, withoutResponse);
    EXPECT_TRUE(waitForEvent("disconnected"));
}

TEST_F(BluezLEChannels, ANewJobMayUseTheLinkAgain)
{
    openChannelOf(withoutResponse, bothFlags);
    for (int job = 1; job <= 3; ++job) {
        sendAll(pattern(300), 100);
        m_central->closeChannel(printer);
        m_events.log.clear();
        openChannel(withoutResponse);
        EXPECT_TRUE(waitFor([&] { return m_bluez.received(writePath).size() == job * 300; }));
    }
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 1);
}

TEST_F(BluezLEChannels, AnAnswerThatComesAfterTheEndLeavesNothingHeld)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.behave(QStringLiteral("AcquireWrite"), {{QStringLiteral("delay"), 1000}, {QStringLiteral("times"), 1}});
    m_central->openChannel(printer, channel, withoutResponse);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("AcquireWrite")) == 1; }));
    m_central->closeChannel(printer);
    letPass(1200ms);
    EXPECT_FALSE(m_events.has("opened"));
    openChannel(withoutResponse);
}

TEST_F(BluezLEChannels, NoDescriptorIsLeftBehind)
{
    startWithPrinter();
    const int before = openDescriptors();
    switchOn();
    for (int job = 0; job < 8; ++job) {
        m_events.log.clear();
        connectPrinter();
        openChannel(withoutResponse);
        sendAll(pattern(300), 100);
        if (job % 2 == 0)
            m_central->closeChannel(printer);
        m_central->cancelConnection(printer);
        ASSERT_TRUE(waitForEvent("disconnected"));
    }
    m_central.reset();
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= before; })) << openDescriptors() - before << " left";
}

} // namespace adapter
