#include "CoreBluetoothRig.h"

namespace harrowmint::test {

namespace {

using namespace coreBluetooth;

QString stateLine(LECentralState state)
{
    return QStringLiteral("state %1").arg(static_cast<int>(state));
}

class CoreBluetoothState : public CoreBluetoothRig { };
class CoreBluetoothScan : public CoreBluetoothRig { };

TEST_F(CoreBluetoothState, IsUnknownUntilTheManagerSpeaks)
{
    EXPECT_EQ(central->state(), LECentralState::unknown);
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothState, ChangesOnTheOwnersQueueAtTheMomentOfTheReport)
{
    framework().managerStateChanged(statePoweredOn, authorizationAllowed);
    EXPECT_EQ(central->state(), LECentralState::unknown);
    EXPECT_EQ(told(), QStringList(stateLine(LECentralState::poweredOn)));
    EXPECT_EQ(central->state(), LECentralState::poweredOn);
}

TEST_F(CoreBluetoothState, IsReportedOnceForEachChange)
{
    framework().managerStateChanged(statePoweredOff, authorizationAllowed);
    framework().managerStateChanged(statePoweredOff, authorizationAllowed);
    EXPECT_EQ(told(), QStringList(stateLine(LECentralState::poweredOff)));
}

struct StateRow {
    int state;
    int authorization;
    LECentralState expected;
};

TEST(CoreBluetoothStates, TellDeniedFromOff)
{
    const StateRow rows[] = {
        {stateUnknown, authorizationNotDetermined, LECentralState::unknown},
        {stateResetting, authorizationAllowed, LECentralState::resetting},
        {stateUnsupported, authorizationAllowed, LECentralState::unsupported},
        {stateUnauthorized, authorizationNotDetermined, LECentralState::unauthorised},
        {statePoweredOff, authorizationAllowed, LECentralState::poweredOff},
        {statePoweredOff, authorizationNotDetermined, LECentralState::poweredOff},
        {statePoweredOff, authorizationDenied, LECentralState::unauthorised},
        {statePoweredOff, authorizationRestricted, LECentralState::unauthorised},
        {stateUnknown, authorizationDenied, LECentralState::unauthorised},
        {statePoweredOn, authorizationAllowed, LECentralState::poweredOn},
        {17, authorizationAllowed, LECentralState::unknown},
    };
    for (const StateRow& row : rows)
        EXPECT_EQ(centralState(row.state, row.authorization), row.expected) << row.state << ' ' << row.authorization;
}

TEST(CoreBluetoothNumbers, AreReadFromBothFormsAndFromNoOthers)
{
    EXPECT_EQ(assignedNumber(QByteArray::fromHex("18f0")), GattUuid(0x18F0));
    EXPECT_EQ(assignedNumber(QByteArray::fromHex("0000ffe100001000800000805f9b34fb")), GattUuid(0xFFE1));
    EXPECT_EQ(assignedNumber(QByteArray::fromHex("0001ffe100001000800000805f9b34fb")), std::nullopt);
    EXPECT_EQ(assignedNumber(QByteArray::fromHex("e7810a7173ae499d8c15faa9aef0c3f2")), std::nullopt);
    EXPECT_EQ(assignedNumber(QByteArray::fromHex("000018f0")), std::nullopt);
    EXPECT_EQ(assignedNumber(QByteArray()), std::nullopt);
}

TEST_F(CoreBluetoothState, NothingIsAskedOfAManagerThatIsNotOn)
{
    central->startScan();
    central->connect(printer(1));
    EXPECT_TRUE(central->knownPeripherals(printer(1)).empty());
    EXPECT_TRUE(central->connectedPeripherals({0x18F0}).empty());
    EXPECT_EQ(asked(), QStringList());
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothState, LeavingOnEndsTheLinksWithoutAWordFromTheFramework)
{
    powerOn();
    connectPrinter();
    framework().managerStateChanged(statePoweredOff, authorizationAllowed);
    EXPECT_EQ(told(), QStringList(stateLine(LECentralState::poweredOff)));
    EXPECT_EQ(asked(), lines({"keep []"}));
    EXPECT_EQ(central->peripheralState(printer(1)), LEPeripheralState::disconnected);
    dropLink(); // late
    EXPECT_EQ(toldAfter(std::chrono::seconds(1)), QStringList());
}

TEST_F(CoreBluetoothState, LeavingOnAnswersACancellationAfterTheNewState)
{
    powerOn();
    connectPrinter();
    central->cancelConnection(printer(1));
    framework().managerStateChanged(statePoweredOff, authorizationAllowed);
    EXPECT_EQ(told(), QStringList({stateLine(LECentralState::poweredOff), QStringLiteral("disconnected 1")}));
}

TEST_F(CoreBluetoothState, TheStateComesFirstWhenTheLinkIsSeenToGoBeforeIt)
{
    powerOn();
    connectPrinter();
    dropLink();
    EXPECT_EQ(toldAfter(beforeDoubtEnds), QStringList());
    framework().managerStateChanged(statePoweredOff, authorizationAllowed);
    EXPECT_EQ(toldAfter(std::chrono::seconds(1)), QStringList(stateLine(LECentralState::poweredOff)));
}

TEST_F(CoreBluetoothScan, ReportsAPeripheralOnceUntilItsNamesAreKnown)
{
    powerOn();
    central->startScan();
    EXPECT_EQ(asked(), lines({"keep []", "scan 1"}));
    const LEPeripheral nameless{printer(1), QString()};
    const LEPeripheral named{printer(1), QStringLiteral("Till")};
    framework().peripheralDiscovered(1, nameless, QString());
    framework().peripheralDiscovered(1, nameless, QString());
    framework().peripheralDiscovered(1, nameless, QStringLiteral("MTP-2"));
    framework().peripheralDiscovered(1, nameless, QString());
    framework().peripheralDiscovered(1, named, QStringLiteral("MTP-2"));
    framework().peripheralDiscovered(1, named, QString());
    EXPECT_EQ(told(), lines({"discovered 1 '' ''", "discovered 1 '' 'MTP-2'", "discovered 1 'Till' 'MTP-2'"}));
}

TEST_F(CoreBluetoothScan, ReportsNothingOnceItIsStopped)
{
    powerOn();
    central->startScan();
    framework().peripheralDiscovered(1, {printer(1), QString()}, QString());
    central->stopScan();
    EXPECT_EQ(told(), QStringList());
}

TEST_F(CoreBluetoothScan, TakesNoSightingOfTheScanBefore)
{
    powerOn();
    central->startScan();
    framework().peripheralDiscovered(1, {printer(1), QString()}, QString());
    central->stopScan();
    central->startScan();
    framework().peripheralDiscovered(2, {printer(2), QString()}, QString());
    EXPECT_EQ(told(), lines({"discovered 2 '' ''"}));
}

TEST_F(CoreBluetoothScan, IsStartedAndStoppedOnce)
{
    powerOn();
    central->startScan();
    central->startScan();
    central->stopScan();
    central->stopScan();
    EXPECT_EQ(asked(), lines({"keep []", "scan 1", "stop scan"}));
}

TEST_F(CoreBluetoothScan, LetsGoOfAllPeripheralsButTheLinkedOnes)
{
    powerOn();
    connectPrinter();
    central->startScan();
    EXPECT_EQ(asked(), lines({"keep [1]", "scan 1"}));
}

TEST_F(CoreBluetoothScan, ReportsAThousandPeripheralsAndNoMore)
{
    powerOn();
    central->startScan();
    const int most = static_cast<int>(CoreBluetoothCentral::maximumSightings);
    for (int number = 1; number <= most + 1; ++number)
        framework().peripheralDiscovered(1, {printer(number), QString()}, QString());
    EXPECT_EQ(told().size(), most);
    // One of those that are known is still told again with its name.
    framework().peripheralDiscovered(1, {printer(1), QString()}, QStringLiteral("Till"));
    EXPECT_EQ(told(), lines({"discovered 1 '' 'Till'"}));
}

TEST_F(CoreBluetoothScan, IsOverWhenBluetoothGoesOffAndCanBeginAgain)
{
    powerOn();
    central->startScan();
    setState(statePoweredOff);
    powerOn();
    central->startScan();
    EXPECT_EQ(asked(), lines({"keep []", "scan 2"}));
}

} // namespace

} // namespace harrowmint::test
