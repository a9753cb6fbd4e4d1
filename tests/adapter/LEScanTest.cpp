// Looking for advertising peripherals.
#include "adapter/AdapterRig.h"

#include <QElapsedTimer>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

const QString deviceInterface = QStringLiteral("org.bluez.Device1");
const QString newPath = hci0 + QStringLiteral("/dev_AA_BB_CC_DD_EE_02");
const QString newAddress = QStringLiteral("AA:BB:CC:DD:EE:02");

class BluezLEScan : public CentralTest {
protected:
    void startScan()
    {
        m_central->startScan();
        ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) > 0; }));
        letPass(30ms);
    }

    void advertise(const QString& path, short rssi)
    {
        m_bluez.change(path, deviceInterface, {{QStringLiteral("RSSI"), QVariant::fromValue(rssi)}});
    }

    static QVariantMap seen(const QVariantMap& more = {})
    {
        QVariantMap properties{{QStringLiteral("RSSI"), QVariant::fromValue(short(-60))}};
        properties.insert(more);
        return properties;
    }
};

TEST_F(BluezLEScan, LooksForLEOnlyAndReportsADeviceThatAppears)
{
    startWithPrinter();
    switchOn();
    startScan();
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("SetDiscoveryFilter /org/bluez/hci0 le")), 1);
    m_bluez.add(newPath, deviceObject(newAddress, seen({{QStringLiteral("Alias"), QStringLiteral("New")}})));
    ASSERT_TRUE(waitForEvent("discovered New"));
    EXPECT_EQ(m_events.sightings.front().identifier, bluez::identifierOf(newAddress));
}

TEST_F(BluezLEScan, ReportsAKnownDeviceOnlyWhenItIsSeenAndOnlyOnce)
{
    startWithPrinter();
    switchOn();
    startScan();
    letPass(50ms);
    EXPECT_TRUE(m_events.sightings.empty());
    advertise(printerPath, -70);
    ASSERT_TRUE(waitForEvent("discovered Printer"));
    advertise(printerPath, -50);
    letPass(100ms);
    EXPECT_EQ(m_events.count("discovered Printer"), 1);
}

TEST_F(BluezLEScan, ReportsWhatARunningSearchOfAnotherProgramHasSeen)
{
    startWithPrinter();
    advertise(printerPath, -70);
    switchOn();
    startScan();
    EXPECT_TRUE(waitForEvent("discovered Printer"));
}

TEST_F(BluezLEScan, ReportsADeviceAgainWhenItsNameBecomesKnown)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_bluez.add(
        newPath, deviceObject(newAddress, seen({{QStringLiteral("Alias"), QStringLiteral("AA-BB-CC-DD-EE-02")}})));
    ASSERT_TRUE(waitForEvent("discovered "));
    m_bluez.change(newPath, deviceInterface,
        {{QStringLiteral("Name"), QStringLiteral("Late")}, {QStringLiteral("Alias"), QStringLiteral("Late")}});
    ASSERT_TRUE(waitForEvent("discovered Late"));
    EXPECT_EQ(m_events.sightings.size(), 2U);
}

TEST_F(BluezLEScan, ReportsADeviceAgainInTheNextScan)
{
    startWithPrinter();
    switchOn();
    startScan();
    advertise(printerPath, -70);
    ASSERT_TRUE(waitForEvent("discovered Printer"));
    m_central->stopScan();
    m_central->startScan();
    EXPECT_TRUE(waitFor([&] { return m_events.count("discovered Printer") == 2; }));
}

TEST_F(BluezLEScan, ReportsNothingAfterItsEnd)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_central->stopScan();
    advertise(printerPath, -70);
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) == 1; }));
    letPass(50ms);
    EXPECT_TRUE(m_events.sightings.empty());
}

TEST_F(BluezLEScan, StartingOrEndingItTwiceChangesNothing)
{
    startWithPrinter();
    switchOn();
    m_central->stopScan();
    startScan();
    m_central->startScan();
    m_central->stopScan();
    m_central->stopScan();
    letPass(100ms);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StartDiscovery")), 1);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery")), 1);
}

TEST_F(BluezLEScan, IsEndedThoughItIsStoppedBeforeBlueZHasStartedIt)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("StartDiscovery"), {{QStringLiteral("delay"), 100}, {QStringLiteral("times"), 1}});
    m_central->startScan();
    m_central->stopScan();
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) == 1; }));
}

TEST_F(BluezLEScan, IsTriedAgainWhenTheAdapterIsNotReadyYet)
{
    startWithPrinter();
    switchOn();
    m_bluez.behave(QStringLiteral("StartDiscovery"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.NotReady")}, {QStringLiteral("times"), 1}});
    startScan();
    advertise(printerPath, -70);
    EXPECT_TRUE(waitForEvent("discovered Printer"));
}

TEST_F(BluezLEScan, TellsOfPrintersAlthoughBlueZHasNotEndedTheOneBefore)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_bluez.behave(
        QStringLiteral("StopDiscovery"), {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.InProgress")}});
    m_central->stopScan();
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) == 1; }));
    letPass(30ms);
    advertise(printerPath, -70);
    m_central->startScan();
    ASSERT_TRUE(waitForEvent("discovered Printer")) << "seen before";
    m_bluez.add(newPath, deviceObject(newAddress, seen({{QStringLiteral("Alias"), QStringLiteral("New")}})));
    EXPECT_TRUE(waitForEvent("discovered New")) << "seen now";
    m_central->stopScan();
    m_bluez.change(newPath, deviceInterface, {{QStringLiteral("Alias"), QStringLiteral("Newer")}});
    letPass(50ms);
    EXPECT_EQ(m_events.sightings.size(), 2U);
}

TEST_F(BluezLEScan, OfTwoCentralsRunSideBySide)
{
    startWithPrinter();
    switchOnBoth();
    startScan();
    m_other->startScan();
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) == 2; }));
    m_central->stopScan();
    letPass(50ms);
    advertise(printerPath, -70);
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("discovered Printer"); }));
    EXPECT_FALSE(m_events.has("discovered Printer"));
}

TEST_F(BluezLEScan, IsOverWhenPowerGoesOffAndStartsAnewAfterwards)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_bluez.powerOff(hci0);
    ASSERT_TRUE(waitForEvent("poweredOff"));
    m_central->startScan();
    m_bluez.change(hci0, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Powered"), true}});
    ASSERT_TRUE(waitFor([&] { return m_events.count("poweredOn") == 2; }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StartDiscovery")), 1);
    m_central->startScan();
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) == 2; }));
    advertise(printerPath, -70);
    EXPECT_TRUE(waitForEvent("discovered Printer"));
}

TEST_F(BluezLEScan, MovesToTheAdapterThatIsStillOn)
{
    startWithPrinter();
    m_bluez.add(QStringLiteral("/org/bluez/hci1"), adapterObject(true));
    switchOn();
    startScan();
    m_bluez.powerOff(hci0);
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery /org/bluez/hci1")) == 1; }));
    EXPECT_FALSE(m_events.has("poweredOff"));
}

TEST_F(BluezLEScan, LeavesNoSessionOnTheAdapterThatIsUsedNoMore)
{
    startWithPrinter();
    m_bluez.change(hci0, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Powered"), false}});
    m_bluez.add(QStringLiteral("/org/bluez/hci1"), adapterObject(true));
    switchOn();
    startScan();
    m_bluez.change(hci0, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Powered"), true}});
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery /org/bluez/hci0")) == 1; }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery /org/bluez/hci1")), 1);
}

TEST_F(BluezLEScan, IsEndedBeforeAConnectionIsMade)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("delay"), 400}});
    QElapsedTimer clock;
    clock.start();
    m_central->stopScan();
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_GE(clock.elapsed(), 400);
}

TEST_F(BluezLEScan, ThatDoesNotEndKeepsItsCentralFromConnectingForTwoSeconds)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("mute"), true}});
    QElapsedTimer clock;
    clock.start();
    m_central->stopScan();
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_GE(clock.elapsed(), 2'000);
}

TEST_F(BluezLEScan, EndsWithItsCentral)
{
    startWithPrinter();
    switchOn();
    startScan();
    m_central.reset();
    EXPECT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) == 1; }));
}

} // namespace adapter
