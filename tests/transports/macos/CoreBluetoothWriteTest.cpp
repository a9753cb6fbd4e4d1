#include "CoreBluetoothRig.h"

namespace harrowmint::test {

namespace {

using namespace std::chrono_literals;

class CoreBluetoothWrites : public CoreBluetoothRig {
protected:
    CoreBluetoothWrites() { powerOn(); }

    void writeWithResponse(const char* bytes) { central->write(printer(1), channel, bytes, LEWriteType::withResponse); }
    void writeWithoutResponse(const char* bytes)
    {
        central->write(printer(1), channel, bytes, LEWriteType::withoutResponse);
    }
};

TEST_F(CoreBluetoothWrites, WaitForAChannelThatIsOpenedLater)
{
    connectPrinter();
    EXPECT_EQ(central->maximumWriteLength(printer(1), LEWriteType::withResponse), 0);
    central->openChannel(printer(1), channel, LEWriteType::withResponse);
    EXPECT_EQ(recorder.taken(), QStringList());
    EXPECT_EQ(told(), lines({"opened 1 2af1"}));
    EXPECT_EQ(central->maximumWriteLength(printer(1), LEWriteType::withResponse), 512);
}

TEST_F(CoreBluetoothWrites, HaveNoChannelThatWasClosedBeforeItWasOpen)
{
    connectPrinter();
    central->openChannel(printer(1), channel, LEWriteType::withResponse);
    central->closeChannel(printer(1));
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothWrites, ToACharacteristicThatBecameInvalidEndTheLink)
{
    connectPrinter();
    script.hasCharacteristic = false;
    central->openChannel(printer(1), channel, LEWriteType::withResponse);
    EXPECT_EQ(asked(), lines({"cancel 1"}));
    dropLink();
    EXPECT_EQ(told(), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothWrites, ToAServiceThatIsInvalidatedEndTheLink)
{
    openChannel();
    framework().servicesInvalidated(printer(1), {0x1801, 0x18F0});
    told();
    EXPECT_EQ(asked(), lines({"cancel 1"}));
    dropLink();
    EXPECT_EQ(told(), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothWrites, DoNotCareForOtherServicesThatAreInvalidated)
{
    openChannel();
    framework().servicesInvalidated(printer(1), {0x1801});
    central->closeChannel(printer(1));
    framework().servicesInvalidated(printer(1), {0x18F0});
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(asked(), QStringList());
}

TEST_F(CoreBluetoothWrites, WithResponseAreAnsweredOnce)
{
    openChannel();
    writeWithResponse("abc");
    EXPECT_EQ(asked(), lines({"write 1 abc"}));
    framework().valueWritten(printer(1), channel, false);
    framework().valueWritten(printer(1), channel, false);
    EXPECT_EQ(told(), lines({"written 1 2af1 well"}));
}

TEST_F(CoreBluetoothWrites, AreNotAnsweredByAnotherCharacteristicsAnswer)
{
    openChannel();
    writeWithResponse("abc");
    framework().valueWritten(printer(1), {0xFFE0, 0xFFE1}, false);
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothWrites, ThatFailAreReportedAfterTheDoubt)
{
    openChannel();
    writeWithResponse("abc");
    framework().valueWritten(printer(1), channel, true);
    EXPECT_EQ(toldAfter(beforeDoubtEnds), QStringList());
    EXPECT_EQ(toldAfter(step), lines({"written 1 2af1 failed"}));
}

TEST_F(CoreBluetoothWrites, ThatFailWithTheLinkAreNotReportedButTheLinkIs)
{
    openChannel();
    writeWithResponse("abc");
    framework().valueWritten(printer(1), channel, true);
    told();
    clock->advance(100ms);
    dropLink();
    EXPECT_EQ(toldAfter(1s), lines({"disconnected 1"}));
}

TEST_F(CoreBluetoothWrites, ThatFailWithBluetoothAreNotReportedButTheStateIs)
{
    openChannel();
    writeWithResponse("abc");
    framework().valueWritten(printer(1), channel, true);
    told();
    framework().managerStateChanged(coreBluetooth::statePoweredOff, coreBluetooth::authorizationAllowed);
    EXPECT_EQ(toldAfter(1s), QStringList(QStringLiteral("state %1").arg(static_cast<int>(LECentralState::poweredOff))));
}

TEST_F(CoreBluetoothWrites, AreNotAnsweredWithWhatWasSaidOfTheConnectionBefore)
{
    openChannel();
    writeWithResponse("abc");
    framework().valueWritten(printer(1), channel, true);
    told();
    dropLink();
    told();
    openChannel(); // all of it while the failure's report was due
    writeWithResponse("def");
    EXPECT_EQ(toldAfter(1s), QStringList());
    framework().valueWritten(printer(1), channel, false);
    EXPECT_EQ(told(), lines({"written 1 2af1 well"}));
}

TEST_F(CoreBluetoothWrites, OfTheConnectionBeforeAreNotAnsweredInTheNext)
{
    openChannel();
    writeWithResponse("abc");
    dropLink();
    told();
    openChannel();
    framework().valueWritten(printer(1), channel, false);
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothWrites, WithResponseThatTheFrameworkCannotTakeFail)
{
    openChannel();
    script.hasCharacteristic = false;
    writeWithResponse("abc");
    EXPECT_EQ(toldAfter(beforeDoubtEnds + step), lines({"written 1 2af1 failed"}));
}

TEST_F(CoreBluetoothWrites, WithoutResponseThatTheFrameworkCannotTakeEndTheLink)
{
    openChannel();
    script.hasCharacteristic = false;
    writeWithoutResponse("abc");
    EXPECT_EQ(asked(), lines({"cancel 1"}));
}

TEST_F(CoreBluetoothWrites, WithoutResponseAreNotAnswered)
{
    openChannel();
    writeWithoutResponse("abc");
    framework().valueWritten(printer(1), channel, false);
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothWrites, WithoutRoomWaitForTheFrameworksWordAndHearItOnce)
{
    openChannel();
    script.hasRoom = false;
    EXPECT_FALSE(central->canSendWriteWithoutResponse(printer(1)));
    script.hasRoom = true;
    framework().readyToWrite(printer(1));
    framework().readyToWrite(printer(1));
    EXPECT_EQ(toldAfter(1s), lines({"ready 1"}));
}

TEST_F(CoreBluetoothWrites, WithoutRoomFindItByThemselvesWhenTheFrameworkIsSilent)
{
    openChannel();
    script.hasRoom = false;
    EXPECT_FALSE(central->canSendWriteWithoutResponse(printer(1)));
    EXPECT_EQ(toldAfter(90ms), QStringList());
    EXPECT_EQ(script.roomQuestions, 5);
    script.hasRoom = true;
    EXPECT_EQ(toldAfter(10ms), lines({"ready 1"}));
    EXPECT_EQ(toldAfter(1s), QStringList());
    EXPECT_EQ(script.roomQuestions, 6);
}

TEST_F(CoreBluetoothWrites, AreNotToldOfRoomThatNobodyWaitsFor)
{
    openChannel();
    EXPECT_TRUE(central->canSendWriteWithoutResponse(printer(1)));
    framework().readyToWrite(printer(1));
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothWrites, DoNotAskForRoomOnceTheChannelIsClosed)
{
    openChannel();
    script.hasRoom = false;
    EXPECT_FALSE(central->canSendWriteWithoutResponse(printer(1)));
    central->closeChannel(printer(1));
    script.hasRoom = true;
    EXPECT_EQ(toldAfter(1s), QStringList());
    EXPECT_EQ(script.roomQuestions, 1);
    EXPECT_FALSE(central->canSendWriteWithoutResponse(printer(1)));
}

} // namespace

} // namespace harrowmint::test
