// A search beside another central of the process that connects: BlueZ takes seconds to connect while anyone searches.
#include "adapter/AdapterRig.h"
#include "support/VirtualQueue.h"
#include "transports/linux/bluez/BluezScanPause.h"

#include <QElapsedTimer>
#include <optional>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

/// `m_other` searches, `m_central` connects.
class BluezSharedScan : public CentralTest {
protected:
    void startBoth()
    {
        startWithPrinter();
        switchOn();
        makeCentral();
        ASSERT_TRUE(waitFor([&] { return m_other->state() == LECentralState::poweredOn; }));
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
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) == count; });
    }
    [[nodiscard]] bool hasPaused()
    {
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) == 1; });
    }
    void muteConnect()
    {
        m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    }
};

TEST_F(BluezSharedScan, PausesUntilTheLinkStands)
{
    startBoth();
    search();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("delay"), 300}});
    m_central->connect(printer);
    ASSERT_TRUE(hasPaused());
    EXPECT_FALSE(m_events.has("connected"));
    ASSERT_TRUE(waitForEvent("connected"));
    ASSERT_TRUE(searches(2));
    m_bluez.change(
        printerPath, QStringLiteral("org.bluez.Device1"), {{QStringLiteral("RSSI"), QVariant::fromValue(short(-60))}});
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("discovered Printer"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("StopDiscovery")), 1);
}

TEST_F(BluezSharedScan, BeginsOnlyOnceTheLinkStands)
{
    startBoth();
    m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("delay"), 300}});
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
    startBoth();
    search();
    muteConnect();
    QElapsedTimer clock;
    clock.start();
    m_central->connect(printer);
    ASSERT_TRUE(searches(2));
    EXPECT_GE(clock.elapsed(), BluezScan::longestPause.count());
    EXPECT_FALSE(m_events.has("connected"));
}

TEST(BluezScanPauses, ApplyToTheOthersWhileOneConnectsAtLeastOnce)
{
    const auto clock = std::make_shared<test::VirtualClock>();
    test::VirtualQueue queue{clock};
    BluezScanPause pause;
    std::vector<std::string> told;
    const int first = 0;
    const int second = 0;
    pause.join(&first, queue, [&] { told.emplace_back("first"); });
    pause.join(&second, queue, [&] { told.emplace_back("second"); });
    pause.begin(&first);
    pause.begin(&first);
    EXPECT_FALSE(pause.appliesTo(&first));
    EXPECT_TRUE(pause.appliesTo(&second));
    pause.end(&first);
    EXPECT_TRUE(pause.appliesTo(&second));
    pause.end(&first);
    EXPECT_FALSE(pause.appliesTo(&second));
    EXPECT_TRUE(told.empty()) << "never within the call";
    clock->runDue();
    EXPECT_EQ(told, (std::vector<std::string>{"second", "second"}));
}

TEST(BluezScanPauses, TellNobodyWhoHasLeft)
{
    const auto clock = std::make_shared<test::VirtualClock>();
    test::VirtualQueue queue{clock};
    BluezScanPause pause;
    int told = 0;
    const int first = 0;
    const int second = 0;
    pause.join(&first, queue, [] {});
    pause.join(&second, queue, [&] { ++told; });
    pause.begin(&first);
    pause.leave(&second);
    pause.end(&first);
    pause.end(&second);
    clock->runDue();
    EXPECT_EQ(told, 0);
}

} // namespace adapter
