// Searches of two centrals of one process.
#include "adapter/AdapterRig.h"

#include <QElapsedTimer>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

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
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StartDiscovery")) >= count; });
    }
    [[nodiscard]] bool asksForAnEnd()
    {
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("StopDiscovery")) >= 1; });
    }
    void advertisePrinter()
    {
        m_bluez.change(printerPath, QStringLiteral("org.bluez.Device1"),
            {{QStringLiteral("RSSI"), QVariant::fromValue(short(-60))}});
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
    EXPECT_TRUE(asksForAnEnd());
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

} // namespace adapter
