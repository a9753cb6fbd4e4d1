#include "CoreBluetoothRig.h"

namespace harrowmint::test {

namespace {

using namespace std::chrono_literals;

class CoreBluetoothLinks : public CoreBluetoothRig {
protected:
    CoreBluetoothLinks() { powerOn(); }
};

TEST_F(CoreBluetoothLinks, ReportAConnectionLaterNeverWithinTheCall)
{
    script.duringConnect = [this] { framework().peripheralConnected(printer(1)); };
    central->connect(printer(1));
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::connecting);
    EXPECT_EQ(told(), lines({"connected 1"}));
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::connected);
}

TEST_F(CoreBluetoothLinks, ToAPeripheralThatTheSystemHasNotFailAfterAMoment)
{
    script.unknown.insert(printer(1));
    central->connect(printer(1));
    EXPECT_EQ(toldAfter(beforeDoubtEnds), QStringList());
    EXPECT_EQ(toldAfter(step), lines({"failed 1"}));
}

TEST_F(CoreBluetoothLinks, ThatFailAreReportedOnceAfterTheDoubt)
{
    central->connect(printer(1));
    script.states[printer(1)] = LEPeripheralState::disconnected;
    framework().peripheralFailedToConnect(printer(1));
    framework().peripheralDisconnected(printer(1));
    EXPECT_EQ(toldAfter(beforeDoubtEnds), QStringList());
    EXPECT_EQ(toldAfter(step), lines({"failed 1"}));
    EXPECT_EQ(toldAfter(1s), QStringList());
}

TEST_F(CoreBluetoothLinks, ThatBreakBeforeTheyStandAreReportedAsDisconnected)
{
    central->connect(printer(1));
    dropLink();
    EXPECT_EQ(toldAfter(beforeDoubtEnds + step), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothLinks, ThatStandAlreadyAreReportedAgain)
{
    connectPrinter();
    central->connect(printer(1));
    EXPECT_EQ(asked(), QStringList());
    EXPECT_EQ(told(), lines({"connected 1"}));
}

TEST_F(CoreBluetoothLinks, ThatBreakAreReportedAfterTheDoubt)
{
    connectPrinter();
    dropLink();
    EXPECT_EQ(toldAfter(beforeDoubtEnds), QStringList());
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::disconnected);
    EXPECT_EQ(toldAfter(step), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothLinks, AskedForAgainWhileTheReportIsDueTakeItsPlace)
{
    connectPrinter();
    dropLink();
    told();
    central->connect(printer(1));
    EXPECT_EQ(asked(), lines({"connect 1"}));
    framework().peripheralConnected(printer(1));
    EXPECT_EQ(toldAfter(1s), lines({"connected 1"}));
}

TEST_F(CoreBluetoothLinks, AreNotEndedByTheLateWordOfTheConnectionBefore)
{
    connectPrinter();
    framework().peripheralDisconnected(printer(1)); // but the framework has it connected
    EXPECT_EQ(toldAfter(1s), QStringList());
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::connected);
}

TEST_F(CoreBluetoothLinks, ThatAreCancelledReportNothingButTheirEnd)
{
    connectPrinter();
    central->discoverServices(printer(1), {0x18F0});
    central->cancelConnection(printer(1));
    central->cancelConnection(printer(1));
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::disconnecting);
    framework().servicesFound(printer(1), false, {0x18F0});
    framework().peripheralConnected(printer(1));
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(asked(), lines({"services 1", "cancel 1"}));
    dropLink();
    EXPECT_EQ(told(), lines({"disconnected 1"}));
    EXPECT_EQ(toldAfter(10s), QStringList());
}

TEST_F(CoreBluetoothLinks, CancelledBeforeTheirEndIsKnownAreReportedOnce)
{
    connectPrinter();
    dropLink();
    central->cancelConnection(printer(1)); // the end is on its way to the queue
    EXPECT_EQ(told(), lines({"disconnected 1"}));
    EXPECT_EQ(toldAfter(10s), QStringList());
}

TEST_F(CoreBluetoothLinks, CancelledAfterTheirEndIsKnownAreReportedOnceAsWell)
{
    connectPrinter();
    dropLink();
    told();
    central->cancelConnection(printer(1));
    EXPECT_EQ(toldAfter(10s), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothLinks, CancelledWithoutAnAnswerAreReportedWhenTheyWereTwiceSeenToBeOver)
{
    central->connect(printer(1));
    central->cancelConnection(printer(1));
    EXPECT_EQ(toldAfter(600ms), QStringList());
    script.states[printer(1)] = LEPeripheralState::disconnected;
    EXPECT_EQ(toldAfter(800ms), QStringList()); // seen at 1000 ms
    EXPECT_EQ(toldAfter(100ms), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothLinks, CancelledInVainAreTakenForEndedAfterFourSeconds)
{
    connectPrinter();
    central->cancelConnection(printer(1));
    EXPECT_EQ(toldAfter(3999ms), QStringList());
    EXPECT_EQ(toldAfter(1ms), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothLinks, AskedForWhileBeingCancelledBeginOnceTheOldOneIsOver)
{
    connectPrinter();
    central->cancelConnection(printer(1));
    central->connect(printer(1));
    EXPECT_EQ(asked(), lines({"cancel 1"}));
    dropLink();
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(asked(), lines({"connect 1"}));
    framework().peripheralConnected(printer(1));
    EXPECT_EQ(told(), lines({"connected 1"}));
}

TEST_F(CoreBluetoothLinks, CancelledOnceMoreDoNotBeginAgain)
{
    connectPrinter();
    central->cancelConnection(printer(1));
    central->connect(printer(1));
    central->cancelConnection(printer(1));
    dropLink();
    EXPECT_EQ(told(), lines({"disconnected 1"}));
    EXPECT_EQ(asked(), lines({"cancel 1"}));
}

TEST_F(CoreBluetoothLinks, AreEachTheirOwn)
{
    central->connect(printer(1));
    central->connect(printer(2));
    framework().peripheralConnected(printer(2));
    EXPECT_EQ(told(), lines({"connected 2"}));
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::connecting);
}

TEST_F(CoreBluetoothLinks, NobodyAskedForAreIgnored)
{
    framework().peripheralConnected(printer(3));
    framework().peripheralDisconnected(printer(3));
    EXPECT_EQ(toldAfter(1s), QStringList());
}

TEST_F(CoreBluetoothLinks, TellOfTheServicesAskedForOnly)
{
    connectPrinter();
    central->discoverServices(printer(1), {0x18F0, 0xFFE0});
    framework().servicesFound(printer(1), false, {0x1800, 0xFFE0});
    framework().servicesFound(printer(1), false, {0xFFE0}); // nobody asked again
    EXPECT_EQ(told(), lines({"services 1 well [ffe0]"}));
}

TEST_F(CoreBluetoothLinks, TellOfServicesThatCannotBeRead)
{
    connectPrinter();
    central->discoverServices(printer(1), {0x18F0});
    framework().servicesFound(printer(1), true, {});
    EXPECT_EQ(told(), lines({"services 1 failed []"}));
}

TEST_F(CoreBluetoothLinks, TellOfTheCharacteristicOfTheServiceAskedForOnly)
{
    connectPrinter();
    central->discoverCharacteristic(printer(1), channel);
    framework().characteristicsFound(printer(1), 0xFFE0, false, {{0xFFE1, true, true}});
    framework().characteristicsFound(printer(1), 0x18F0, false, {{0x2AF1, true, true}});
    EXPECT_EQ(told(), lines({"characteristics 1 18f0 well (1)"}));
}

TEST_F(CoreBluetoothLinks, AnswerAServiceThatIsGoneWithAFailureNotWithSilence)
{
    connectPrinter();
    script.hasService = false;
    central->discoverServices(printer(1), {0x18F0});
    central->discoverCharacteristic(printer(1), channel);
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(told(), lines({"services 1 failed []", "characteristics 1 18f0 failed (0)"}));
}

TEST_F(CoreBluetoothLinks, ThatDoNotExistAnswerEveryRequest)
{
    central->discoverServices(printer(1), {0x18F0});
    central->discoverCharacteristic(printer(1), channel);
    central->openChannel(printer(1), channel, LEWriteType::withResponse);
    central->write(printer(1), channel, "x", LEWriteType::withResponse);
    EXPECT_EQ(told(),
        lines(
            {"services 1 failed []", "characteristics 1 18f0 failed (0)", "disconnected 1", "written 1 2af1 failed"}));
}

TEST_F(CoreBluetoothLinks, ReportNothingOnceTheCentralIsGone)
{
    connectPrinter();
    dropLink();
    central.reset();
    EXPECT_EQ(asked(), lines({"end"}));
    EXPECT_EQ(toldAfter(10s), QStringList());
}

} // namespace

} // namespace harrowmint::test
