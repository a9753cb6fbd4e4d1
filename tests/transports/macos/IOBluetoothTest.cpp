#include "ScriptedIOBluetooth.h"
#include "support/VirtualQueue.h"
#include "transports/macos/bluetooth/IOBluetoothSerial.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

namespace {

using namespace std::chrono_literals;

QStringList lines(std::initializer_list<const char*> texts)
{
    QStringList list;
    for (const char* const text : texts)
        list += QString::fromUtf8(text);
    return list;
}

class IOBluetooth : public testing::Test {
protected:
    IOBluetooth()
        : queue(clock)
        , bluetooth(std::make_unique<IOBluetoothSerial>(queue, std::make_unique<ScriptedIOBluetooth>(script)))
        , link(bluetooth->makeLink(recorder))
    {
    }

    QStringList told()
    {
        clock->runDue();
        return recorder.taken();
    }
    QStringList asked() { return std::exchange(script.calls, {}); }

    void openChannel()
    {
        ASSERT_TRUE(link->openChannel(3));
        script.events->channelOpened(true);
        told();
        asked();
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue;
    SerialScript script;
    SerialEventRecorder recorder;
    std::unique_ptr<IOBluetoothSerial> bluetooth;
    std::unique_ptr<SerialLink> link;
};

TEST_F(IOBluetooth, HandsThePairedDevicesOverLaterInTheSystemsOrder)
{
    script.devices = {
        {QStringLiteral("aa-bb-cc-dd-ee-02"), QStringLiteral("B")}, {QStringLiteral("aa-bb-cc-dd-ee-01"), QString()}};
    QStringList addresses;
    bluetooth->pairedDevices([&addresses](const SerialBluetooth::Devices& devices) {
        for (const PairedDevice& device : devices)
            addresses += device.address;
    });
    EXPECT_EQ(addresses, QStringList());
    clock->runDue();
    EXPECT_EQ(addresses, lines({"aa-bb-cc-dd-ee-02", "aa-bb-cc-dd-ee-01"}));
}

TEST_F(IOBluetooth, DropsTheQuestionForDevicesWhenItDies)
{
    bool isAnswered = false;
    bluetooth->pairedDevices([&isAnswered](const SerialBluetooth::Devices&) { isAnswered = true; });
    link.reset();
    bluetooth.reset();
    clock->runDue();
    EXPECT_FALSE(isAnswered);
}

TEST_F(IOBluetooth, WalksFromTheDeviceToTheLastPacket)
{
    link->findDevice(QStringLiteral("AA-BB-CC-DD-EE-FF"));
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(told(), lines({"device well"}));
    EXPECT_TRUE(link->startServiceQuery());
    script.events->queryAnswered(true);
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(told(), lines({"query well"}));
    EXPECT_EQ(link->serialPortChannel(), 3);
    EXPECT_TRUE(link->openChannel(3));
    script.events->channelOpened(true);
    EXPECT_EQ(told(), lines({"open well"}));
    EXPECT_EQ(link->mtu(), 127);
    EXPECT_TRUE(link->write("abc"));
    script.events->packetWritten(true);
    EXPECT_EQ(told(), lines({"written well"}));
    link->closeChannel();
    EXPECT_EQ(asked(), lines({"find AA-BB-CC-DD-EE-FF", "query", "open 3", "write abc", "close"}));
}

TEST_F(IOBluetooth, TellsOfADeviceThatIsNotPaired)
{
    script.isPaired = false;
    link->findDevice(QStringLiteral("AA-BB-CC-DD-EE-FF"));
    EXPECT_EQ(told(), lines({"device failed"}));
}

TEST_F(IOBluetooth, SaysAtOnceWhatTheFrameworkDoesNotEvenBegin)
{
    script.takesQuery = script.takesOpening = script.takesWriting = false;
    EXPECT_FALSE(link->startServiceQuery());
    EXPECT_FALSE(link->openChannel(3));
    EXPECT_FALSE(link->write("abc"));
    script.events->queryAnswered(false);
    script.events->channelOpened(false);
    script.events->packetWritten(false);
    script.events->channelClosed();
    EXPECT_EQ(told(), QStringList());
}

TEST_F(IOBluetooth, ReportsAnswersThatComeWithinTheCallOnlyAfterIt)
{
    script.duringOpening = [this] { script.events->channelOpened(true); };
    script.duringWriting = [this] { script.events->packetWritten(true); };
    EXPECT_TRUE(link->openChannel(3));
    EXPECT_TRUE(link->write("abc"));
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(told(), lines({"open well", "written well"}));
}

TEST_F(IOBluetooth, ReportsEachAnswerOnce)
{
    EXPECT_TRUE(link->openChannel(3));
    script.events->channelOpened(false);
    script.events->channelOpened(true);
    script.events->channelClosed();
    EXPECT_EQ(told(), lines({"open failed"}));
}

TEST_F(IOBluetooth, TakesAChannelThatClosesBeforeItIsOpenForAFailedOpening)
{
    EXPECT_TRUE(link->openChannel(3));
    script.events->channelClosed();
    script.events->channelOpened(false);
    EXPECT_EQ(told(), lines({"open failed"}));
}

TEST_F(IOBluetooth, ReportsTheCloseOnceAndThenThePacketThatNeverWillBeTaken)
{
    openChannel();
    EXPECT_TRUE(link->write("abc"));
    script.events->channelClosed();
    script.events->channelClosed();
    script.events->packetWritten(false);
    EXPECT_EQ(told(), lines({"closed well", "written failed"}));
}

TEST_F(IOBluetooth, ReportsNothingOnceClosedNotEvenWhatIsOnItsWay)
{
    openChannel();
    EXPECT_TRUE(link->write("abc"));
    script.events->channelClosed();
    link->closeChannel();
    link->closeChannel();
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(asked(), lines({"write abc", "close"}));
}

TEST_F(IOBluetooth, MayBeClosedWithinAnEvent)
{
    openChannel();
    EXPECT_TRUE(link->write("abc"));
    recorder.onEvent = [this] { link->closeChannel(); };
    script.events->channelClosed();
    EXPECT_EQ(told(), lines({"closed well"}));
}

TEST_F(IOBluetooth, RefusesASecondPacketInFlight)
{
    openChannel();
    EXPECT_TRUE(link->write("abc"));
    EXPECT_FALSE(link->write("def"));
    EXPECT_EQ(asked(), lines({"write abc"}));
}

TEST_F(IOBluetooth, KeepsThePacketInItsPlaceUntilItIsWrittenWhateverItsOwnerDoes)
{
    openChannel();
    {
        QByteArray packet("abc");
        EXPECT_TRUE(link->write(packet));
        EXPECT_NE(script.packet, packet.constData());
        packet.fill('x');
    }
    link.reset();
    EXPECT_EQ(bluetooth->retiredLinks(), 1u);
    clock->advance(4min);
    EXPECT_EQ(std::string(script.packet, 3), "abc");
    EXPECT_EQ(asked(), lines({"write abc", "close"}));
    script.events->packetWritten(true);
    clock->advance(1s);
    EXPECT_EQ(asked(), lines({"end"}));
    EXPECT_EQ(bluetooth->retiredLinks(), 0u);
    EXPECT_EQ(recorder.taken(), QStringList());
}

TEST_F(IOBluetooth, KeepsTheQuerysReceiverUntilItHasItsAnswer)
{
    EXPECT_TRUE(link->startServiceQuery());
    link.reset();
    clock->advance(2min);
    ASSERT_NE(script.events, nullptr);
    script.events->queryAnswered(true);
    clock->advance(1s);
    EXPECT_EQ(script.events, nullptr);
    EXPECT_EQ(recorder.taken(), QStringList());
}

TEST_F(IOBluetooth, LetsAnAnswerThatNeverComesGoAfterFiveMinutes)
{
    EXPECT_TRUE(link->startServiceQuery());
    link.reset();
    clock->advance(5min - 1s);
    EXPECT_NE(script.events, nullptr);
    clock->advance(1s);
    EXPECT_EQ(script.events, nullptr);
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(IOBluetooth, LetsALinkThatIsNotInUseGoSoonAndLooksNoMore)
{
    link.reset();
    clock->advance(1s);
    EXPECT_EQ(asked(), lines({"close", "end"}));
    EXPECT_EQ(clock->pending(), 0u);
}

} // namespace

} // namespace harrowmint::test
