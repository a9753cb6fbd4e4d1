// Searches of two centrals of one process, and one's search beside the other that connects.
#include "adapter/AdapterRig.h"
#include "transports/linux/bluez/BluezRadio.h"

#include <QElapsedTimer>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

/// `m_other` searches, `m_central` mostly connects. Searches wait for that as long as it takes.
class BluezSharedScan : public CentralTest {
protected:
    std::chrono::milliseconds m_longestPause = 1h;
    const QString connectAlone = QStringLiteral("Connect ") + printerPath; ///< not " beside a search"

    void startBoth()
    {
        m_radioLimits.pause = m_longestPause;
        startWithPrinter();
        switchOnBoth();
    }

    void search()
    {
        m_other->startScan();
        ASSERT_TRUE(searches(1));
        letPass(30ms);
    }

    /// Waits for that many sessions to have been asked for.
    [[nodiscard]] bool searches(int count)
    {
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) >= count; });
    }
    [[nodiscard]] bool hasPaused()
    {
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) >= 1; });
    }
    void advertisePrinter()
    {
        m_bluez.change(printerPath, QStringLiteral("org.bluez.Device1"),
            {{QStringLiteral("RSSI"), QVariant::fromValue(short(-60))}});
    }
    void muteConnect()
    {
        m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    }
};

TEST_F(BluezSharedScan, BeginsOnlyOnceAnotherThatIsBeginningHasBegun)
{
    startBoth();
    m_bluez.behave(QStringLiteral("StartDiscovery"), {{QStringLiteral("delay"), 200}});
    m_central->startScan();
    m_other->startScan();
    ASSERT_TRUE(searches(2));
    advertisePrinter();
    EXPECT_TRUE(waitForEvent("discovered Printer")) << "BlueZ does not answer the first of two that meet";
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("discovered Printer"); }));
}

TEST_F(BluezSharedScan, ThatIsWantedAnewBehindAnothersRequestTellsOfAllPrintersAnew)
{
    startBoth();
    search();
    m_central->startScan();
    ASSERT_TRUE(searches(2));
    advertisePrinter();
    ASSERT_TRUE(waitForEvent("discovered Printer"));
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("mute"), true}});
    m_other->stopScan();
    m_events.log.clear();
    m_central->stopScan();
    m_central->startScan();
    EXPECT_TRUE(waitForEvent("discovered Printer"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery")), 1) << "its own session went on";
}

TEST_F(BluezSharedScan, TellsOfPrintersAlthoughAnotherProgramsKeptBlueZFromAnswering)
{
    startBoth();
    const BluezLECentrals elsewhere(m_bus.address());
    RecordedEvents elsewhereEvents;
    const auto stranger = elsewhere.on(m_queue)(elsewhereEvents);
    ASSERT_TRUE(waitFor([&] { return stranger->state() == LECentralState::poweredOn; }));
    m_bluez.behave(QStringLiteral("StartDiscovery"), {{QStringLiteral("delay"), 500}});
    m_central->startScan();
    ASSERT_TRUE(searches(1));
    stranger->startScan();
    ASSERT_TRUE(searches(2));
    advertisePrinter();
    ASSERT_TRUE(waitFor([&] { return elsewhereEvents.has("discovered Printer"); }));
    EXPECT_TRUE(waitForEvent("discovered Printer"));
    m_central->stopScan();
    EXPECT_TRUE(hasPaused());
}

TEST_F(BluezSharedScan, PausesUntilTheLinkStands)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("delay"), 300}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    ASSERT_TRUE(waitForEvent("connected"));
    ASSERT_TRUE(searches(2));
    advertisePrinter();
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("discovered Printer"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery")), 1);
}

TEST_F(BluezSharedScan, HasEndedBeforeTheOtherConnects)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("delay"), 300}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    EXPECT_EQ(m_central->peripheralState(printer), LEPeripheralState::connecting);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_TRUE(m_bluez.calls().contains(connectAlone));
}

TEST_F(BluezSharedScan, ThatIsJustBeginningHasEndedBeforeTheOtherConnects)
{
    startBoth();
    m_bluez.behave(QStringLiteral("StartDiscovery"), {{QStringLiteral("delay"), 300}, {QStringLiteral("times"), 1}});
    m_other->startScan();
    ASSERT_TRUE(searches(1));
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("delay"), 200}, {QStringLiteral("times"), 1}});
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_TRUE(m_bluez.calls().contains(connectAlone));
    EXPECT_TRUE(hasPaused());
    EXPECT_TRUE(searches(2));
}

TEST_F(BluezSharedScan, ThatDoesNotEndKeepsTheOtherFromConnectingForTwoSeconds)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("mute"), true}});
    QElapsedTimer clock;
    clock.start();
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_GE(clock.elapsed(), BluezRadio::Limits().searchEnd.count());
    EXPECT_TRUE(m_bluez.calls().contains(connectAlone + QStringLiteral(" beside a search")));
}

TEST_F(BluezSharedScan, WaitsNoLongerForALinkThatIsCancelledBeforeItWasAskedFor)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("StopDiscovery"), {{QStringLiteral("delay"), 1000}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_TRUE(searches(2));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 0);
}

TEST_F(BluezSharedScan, ThatIsRefusedIsTriedOnceASecondByEachCentral)
{
    startBoth();
    m_bluez.behave(
        QStringLiteral("StartDiscovery"), {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")}});
    QElapsedTimer clock;
    clock.start();
    m_central->startScan();
    m_other->startScan();
    ASSERT_TRUE(searches(4));
    EXPECT_GE(clock.elapsed(), 1'000);
}

TEST_F(BluezSharedScan, BeginsOnlyOnceTheLinkStands)
{
    startBoth();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("delay"), 1500}});
    m_central->connect(printer);
    ASSERT_TRUE(waitFor([&] { return m_bluez.callCount(QStringLiteral("Connect")) == 1; }));
    m_other->startScan();
    letPass(100ms);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StartDiscovery")), 0);
    ASSERT_TRUE(waitForEvent("connected"));
    EXPECT_TRUE(searches(1));
}

TEST_F(BluezSharedScan, GoesOnWhenTheConnectionFails)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("Connect"),
        {{QStringLiteral("error"), QStringLiteral("org.bluez.Error.Failed")}, {QStringLiteral("delay"), 200},
            {QStringLiteral("times"), 1}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    ASSERT_TRUE(waitForEvent("failedToConnect"));
    EXPECT_TRUE(searches(2));
}

TEST_F(BluezSharedScan, GoesOnWhenTheAttemptIsCancelled)
{
    startBoth();
    search();
    muteConnect();
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    m_central->cancelConnection(printer);
    EXPECT_TRUE(searches(2));
}

TEST_F(BluezSharedScan, GoesOnWhenTheConnectingCentralIsGone)
{
    startBoth();
    search();
    muteConnect();
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    m_central.reset();
    EXPECT_TRUE(searches(2));
}

TEST_F(BluezSharedScan, DoesNotBeginAgainWhenItWasStoppedMeanwhile)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("delay"), 300}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    m_other->stopScan();
    ASSERT_TRUE(waitForEvent("connected"));
    letPass(100ms);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StartDiscovery")), 1);
}

TEST_F(BluezSharedScan, IsNotHeldUpForLongByAPrinterThatDoesNotAnswer)
{
    m_longestPause = BluezRadio::Limits().pause;
    startBoth();
    search();
    muteConnect();
    QElapsedTimer clock;
    clock.start();
    m_central->connect(printer);
    ASSERT_TRUE(searches(2));
    EXPECT_GE(clock.elapsed(), m_longestPause.count());
    EXPECT_FALSE(m_events.has("connected"));
}

} // namespace adapter
