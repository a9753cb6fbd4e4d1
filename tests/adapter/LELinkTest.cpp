// Links: from the request to connect to their end.
#include "adapter/AdapterRig.h"

#include <QElapsedTimer>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

const QString deviceInterface = QStringLiteral("org.bluez.Device1");

class BluezLELinks : public CentralTest {
protected:
    void askPrinterWithoutServices(const QVariantMap& properties)
    {
        m_bluez.add(hci0, adapterObject(true));
        m_bluez.add(printerPath, deviceObject(printerAddress, properties));
        m_bluez.start();
        switchOn();
        m_central->connect(printer);
        ASSERT_TRUE(waitForEvent("connected"));
        m_central->discoverServices(printer, {channel.service});
    }
};

TEST_F(BluezLELinks, IdentifiersCarryTheAddress)
{
    EXPECT_EQ(bluez::identifierOf(QStringLiteral("aa:bb:cc:dd:ee:01")).toString(QUuid::WithoutBraces).toUpper(),
        QStringLiteral("00000000-0000-0000-0000-AABBCCDDEE01"));
    EXPECT_EQ(bluez::addressOf(printer), printerAddress);
    EXPECT_TRUE(bluez::identifierOf(QStringLiteral("AA:BB:CC:DD:EE")).isNull());
    EXPECT_TRUE(bluez::identifierOf(QStringLiteral("AA-BB-CC-DD-EE-01")).isNull());
    EXPECT_TRUE(bluez::addressOf(QUuid(QStringLiteral("12345678-0000-0000-0000-AABBCCDDEE01"))).isEmpty());
    EXPECT_TRUE(bluez::addressOf(QUuid()).isEmpty());
}

TEST_F(BluezLELinks, ConnectsAndReadsServicesOnceTheyAreResolved)
{
    startWithPrinter();
    switchOn();
    ASSERT_EQ(m_central->knownPeripherals(printer).size(), 1U);
    EXPECT_EQ(m_central->knownPeripherals(printer).front().name, QStringLiteral("Printer"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnected);
    m_central->connect(printer);
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::connecting);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::connected);
    m_central->discoverServices(printer, {0xFFE0, channel.service});
    ASSERT_TRUE(waitForEvent("services 18F0"));
    m_central->discoverCharacteristic(printer, channel);
    EXPECT_TRUE(waitForEvent("characteristics 18F0 2AF1 writeWithoutResponse"));
}

TEST_F(BluezLELinks, ReportsBothWaysOfWritingAndMissingCharacteristics)
{
    startWithPrinter({QStringLiteral("read"), QStringLiteral("write"), QStringLiteral("write-without-response")});
    switchOn();
    connectPrinter();
    m_central->discoverCharacteristic(printer, channel);
    EXPECT_TRUE(waitForEvent("characteristics 18F0 2AF1 write writeWithoutResponse"));
    m_central->discoverCharacteristic(printer, {channel.service, 0xFF02});
    EXPECT_TRUE(waitForEvent("characteristics 18F0"));
}

TEST_F(BluezLELinks, ADeviceThatIsConnectedAlreadyIsUsedAsItIs)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath,
        deviceObject(printerAddress,
            {{QStringLiteral("Connected"), true}, {QStringLiteral("ServicesResolved"), true},
                {QStringLiteral("UUIDs"), QStringList{bluez::uuidText(channel.service)}}}));
    m_bluez.add(servicePath, serviceObject(channel.service));
    m_bluez.start();
    switchOn();
    EXPECT_EQ(m_central->connectedPeripherals({channel.service}).size(), 1U);
    EXPECT_TRUE(m_central->connectedPeripherals({0xFFE0}).empty());
    connectPrinter();
    m_central->cancelConnection(printer);
    EXPECT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 0);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 0) << "somebody else's link";
}

TEST_F(BluezLELinks, CachedServicesCountOnlyOnceTheyAreResolved)
{
    startWithPrinter();
    m_bluez.add(servicePath, serviceObject(channel.service));
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("resolve"), false}});
    switchOn();
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    m_central->discoverServices(printer, {channel.service});
    letPass(200ms);
    EXPECT_FALSE(m_events.has("services 18F0"));
    m_bluez.change(printerPath, deviceInterface, {{QStringLiteral("ServicesResolved"), true}});
    EXPECT_TRUE(waitForEvent("services 18F0"));
}

TEST_F(BluezLELinks, ServicesThatShowOnlyAfterTheNewsThatTheyAreResolvedAreFound)
{
    startWithPrinter();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("early"), true}});
    switchOn();
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    m_central->discoverServices(printer, {channel.service});
    ASSERT_TRUE(waitForEvent("services 18F0"));
    EXPECT_FALSE(m_events.has("services failed"));
    m_central->discoverCharacteristic(printer, channel);
    EXPECT_TRUE(waitForEvent("characteristics 18F0 2AF1 writeWithoutResponse"));
}

TEST_F(BluezLELinks, ResolvedWithoutAnyServiceMeansUnreadable)
{
    askPrinterWithoutServices({});
    EXPECT_TRUE(waitForEvent("services failed"));
}

TEST_F(BluezLELinks, ResolvedWithoutAnyServiceMeansThatASerialPrinterHasNoneForLE)
{
    askPrinterWithoutServices({{QStringLiteral("UUIDs"), QStringList{bluez::serialPortUuid.toUpper()}}});
    EXPECT_TRUE(waitForEvent("services"));
    EXPECT_FALSE(m_events.has("services failed"));
}

TEST_F(BluezLELinks, AnUnknownDeviceCannotBeConnected)
{
    startWithPrinter();
    switchOn();
    m_central->connect(bluez::identifierOf(QStringLiteral("AA:BB:CC:DD:EE:99")));
    EXPECT_TRUE(m_events.log.size() == 1) << "nothing within the call";
    EXPECT_TRUE(waitForEvent("failedToConnect"));
}

struct ConnectError {
    const char* name;
    const char* error;
    const char* text;
};

void PrintTo(const ConnectError& error, std::ostream* out)
{
    *out << error.error << ' ' << error.text;
}

class BluezLEConnectErrors : public CentralTest, public ::testing::WithParamInterface<ConnectError> { };

TEST_P(BluezLEConnectErrors, MeanThatTheConnectionDidNotComeAboutAndTheNextOneWorks)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"),
        {{QStringLiteral("error"), QString::fromLatin1(GetParam().error)},
            {QStringLiteral("text"), QString::fromLatin1(GetParam().text)}, {QStringLiteral("times"), 1}});
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("failedToConnect"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnected);
    connectPrinter();
}

INSTANTIATE_TEST_SUITE_P(Errors, BluezLEConnectErrors,
    ::testing::Values(ConnectError{"Aborted", "org.bluez.Error.Failed", "le-connection-abort-by-local"},
        ConnectError{"InputOutput", "org.bluez.Error.Failed", "Input/output error"},
        ConnectError{"Cancelled", "org.bluez.Error.Failed", "br-connection-canceled"},
        ConnectError{"NotReady", "org.bluez.Error.NotReady", "Resource Not Ready"},
        ConnectError{"NoReply", "org.freedesktop.DBus.Error.NoReply", "Did not receive a reply"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(BluezLELinks, SuccessWithoutALinkIsAFailure)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("idle"), true}});
    m_central->connect(printer);
    EXPECT_TRUE(waitForEvent("failedToConnect"));
}

TEST_F(BluezLELinks, AnErrorCountsForNothingWhenTheLinkStands)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")}, {QStringLiteral("delay"), 300}});
    m_central->connect(printer);
    m_bluez.change(printerPath, deviceInterface, {{QStringLiteral("Connected"), true}});
    EXPECT_TRUE(waitForEvent("connected"));
}

TEST_F(BluezLELinks, AConnectionThatIsUnderWayIsWaitedFor)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")},
            {QStringLiteral("text"), QStringLiteral("Operation already in progress")}, {QStringLiteral("times"), 3}});
    m_central->connect(printer);
    EXPECT_TRUE(waitForEvent("connected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 4);
}

TEST_F(BluezLELinks, CancellingIsAnsweredOnceTheLinkIsDown)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_central->cancelConnection(printer);
    m_central->cancelConnection(printer);
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnecting);
    EXPECT_TRUE(m_events.log.empty());
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnected);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
    letPass(300ms);
    EXPECT_EQ(m_events.count("disconnected"), 1);
    connectPrinter();
}

TEST_F(BluezLELinks, AnAttemptCanBeCancelled)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    m_central->connect(printer);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("Connect")) == 1; }));
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_FALSE(m_events.has("connected"));
    EXPECT_FALSE(m_events.has("failedToConnect"));
    m_events.log.clear();
    connectPrinter();
}

TEST_F(BluezLELinks, CancellingWithoutALinkIsNotAnswered)
{
    startWithPrinter();
    switchOn();
    m_central->cancelConnection(printer);
    letPass(100ms);
    EXPECT_FALSE(m_events.has("disconnected"));
}

TEST_F(BluezLELinks, ANewLinkMayBeAskedForBeforeTheOldOneIsDown)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_central->cancelConnection(printer);
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_FALSE(m_events.has("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 2);
}

TEST_F(BluezLELinks, ALostLinkIsReportedOnce)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    QElapsedTimer clock;
    clock.start();
    m_bluez.dropLink(printerPath);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_GE(clock.elapsed(), 100) << "in doubt at first";
    letPass(300ms);
    EXPECT_EQ(m_events.log, std::vector<std::string>{"disconnected"});
}

TEST_F(BluezLELinks, PowerThatGoesOffExplainsALostLink)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.powerOff(hci0);
    ASSERT_TRUE(waitForEvent("poweredOff"));
    letPass(300ms);
    EXPECT_EQ(m_events.log, std::vector<std::string>{"poweredOff"});
}

TEST_F(BluezLELinks, LinksAreGoneWithTheAdapter)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.remove(hci0);
    ASSERT_TRUE(waitForEvent("poweredOff"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnected);
    EXPECT_FALSE(m_events.has("disconnected"));
}

TEST_F(BluezLELinks, ADeviceThatBlueZForgetsIsDisconnected)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.remove(printerPath);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_TRUE(m_central->knownPeripherals(printer).empty());
}

TEST_F(BluezLELinks, EndWithBluetoothdAndCanBeMadeAgain)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.stop();
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_events.log, (std::vector<std::string>{"resetting", "disconnected"}));
    m_bluez.change(printerPath, deviceInterface,
        {{QStringLiteral("Connected"), false}, {QStringLiteral("ServicesResolved"), false}});
    m_bluez.start();
    ASSERT_TRUE(waitForEvent("poweredOn"));
    connectPrinter();
}

TEST_F(BluezLELinks, AnAttemptEndsWithBluetoothd)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("mute"), true}});
    m_central->connect(printer);
    letPass(50ms);
    m_bluez.stop();
    EXPECT_TRUE(waitForEvent("disconnected"));
}

TEST_F(BluezLELinks, ThatBlueZDoesNotTellOfAreUsed)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("silent"), true}});
    connectPrinter();
    openChannel(LEWriteType::withoutResponse);
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
}

TEST_F(BluezLELinks, ThatAreBeingCancelledAreReportedWhenPowerGoesOff)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("mute"), true}});
    m_central->cancelConnection(printer);
    m_bluez.powerOff(hci0, 0);
    ASSERT_TRUE(waitForEvent("disconnected"));
    letPass(100ms);
    EXPECT_EQ(m_events.count("disconnected"), 1);
}

TEST_F(BluezLELinks, ACancelThatBlueZNeverCarriesOutIsGivenUp)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("mute"), true}});
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    m_events.log.clear();
    m_central->connect(printer);
    EXPECT_TRUE(waitForEvent("connected"));
}

TEST_F(BluezLELinks, EndWithTheirCentral)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    m_central.reset();
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("Disconnect")) == 1; }));
}

TEST_F(BluezLELinks, WhoseChannelAloneIsLostAreLetGo)
{
    startWithPrinter();
    switchOn();
    connectPrinter();
    openChannel(LEWriteType::withoutResponse);
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("delay"), 500}});
    m_bluez.hangUp(writePath);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("Disconnect")) == 1; }));
    EXPECT_FALSE(m_events.has("disconnected")) << "still up";
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::disconnected);
    letPass(300ms);
    EXPECT_EQ(m_events.count("disconnected"), 1);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
}

} // namespace adapter
