// What a central says of Bluetooth as a whole while adapters, bluetoothd and the bus come and go.
#include "adapter/AdapterRig.h"

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

class BluezLEState : public CentralTest { };

TEST_F(BluezLEState, IsUnknownAtFirstAndReportsNothingWithinTheConstructor)
{
    startWithPrinter();
    makeCentral();
    EXPECT_EQ(m_central->state(), LECentralState::unknown);
    EXPECT_TRUE(m_events.log.empty());
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsOffWithoutABus)
{
    m_bus.stop();
    makeCentral();
    EXPECT_TRUE(waitForEvent("poweredOff"));
}

TEST_F(BluezLEState, IsOffWithoutBluetoothdAndOnWhenItStarts)
{
    makeCentral();
    ASSERT_TRUE(waitForEvent("poweredOff"));
    startWithPrinter();
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsOffWithoutAnAdapterAndOnWhenOneIsPluggedIn)
{
    m_bluez.start();
    makeCentral();
    ASSERT_TRUE(waitForEvent("poweredOff"));
    m_bluez.add(hci0, adapterObject(true));
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsOffWhileTheAdapterIsSwitchedOff)
{
    m_bluez.add(hci0, adapterObject(false));
    m_bluez.start();
    makeCentral();
    ASSERT_TRUE(waitForEvent("poweredOff"));
    m_bluez.change(hci0, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Powered"), true}});
    ASSERT_TRUE(waitForEvent("poweredOn"));
    m_bluez.powerOff(hci0);
    EXPECT_TRUE(waitForState(LECentralState::poweredOff));
}

TEST_F(BluezLEState, IsOnWhenAnyAdapterIs)
{
    m_bluez.add(hci0, adapterObject(false));
    m_bluez.add(QStringLiteral("/org/bluez/hci1"), adapterObject(true));
    m_bluez.start();
    makeCentral();
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsOffWhenTheAdapterIsRemoved)
{
    startWithPrinter();
    switchOn();
    m_bluez.remove(hci0);
    EXPECT_TRUE(waitForEvent("poweredOff"));
}

TEST_F(BluezLEState, IsUnauthorisedWhileTheBusRefusesAndOnAfterwards)
{
    startWithPrinter();
    m_bus.denyBluez(true);
    makeCentral();
    ASSERT_TRUE(waitForEvent("unauthorised"));
    m_bus.denyBluez(false);
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsUnauthorisedOnceAnyRequestIsRefused)
{
    startWithPrinter();
    switchOn();
    m_bus.denyBluez(true);
    m_central->startScan();
    EXPECT_TRUE(waitForEvent("unauthorised"));
}

TEST_F(BluezLEState, IsOffWhileBluetoothdIsMuteAndOnWhenItAnswers)
{
    m_bluez.behave(QStringLiteral("GetManagedObjects"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    startWithPrinter();
    makeCentral();
    ASSERT_TRUE(waitForEvent("poweredOff"));
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsOffWhileTheBusIsMuteWithoutHoldingUpTheQueue)
{
    startWithPrinter();
    m_bus.freeze(true);
    makeCentral();
    bool ran = false;
    const Timer timer = m_queue.after(1ms, [&ran] { ran = true; });
    ASSERT_TRUE(waitFor([&ran] { return ran; }));
    EXPECT_TRUE(m_events.log.empty()) << "the queue ran before the bus was given up";
    ASSERT_TRUE(waitForEvent("poweredOff"));
    m_bus.freeze(false);
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, ComesBackAfterTheBusHasBeenRestarted)
{
    makeCentral();
    ASSERT_TRUE(waitForEvent("poweredOff"));
    m_bus.stop();
    m_bus.start();
    SimulatedBluez another(m_bus.address());
    another.add(hci0, adapterObject(true));
    another.start();
    EXPECT_TRUE(waitForEvent("poweredOn"));
}

TEST_F(BluezLEState, IsResettingForAMomentWhenBluetoothdRestarts)
{
    startWithPrinter();
    switchOn();
    m_bluez.stop();
    ASSERT_TRUE(waitForEvent("resetting"));
    m_bluez.start();
    ASSERT_TRUE(waitFor([&] { return m_events.count("poweredOn") == 2; }));
    EXPECT_FALSE(m_events.has("poweredOff"));
}

TEST_F(BluezLEState, IsOffWhenBluetoothdDoesNotComeBack)
{
    startWithPrinter();
    switchOn();
    m_bluez.stop();
    ASSERT_TRUE(waitForEvent("resetting"));
    EXPECT_TRUE(waitForEvent("poweredOff"));
    m_bluez.start();
    EXPECT_TRUE(waitFor([&] { return m_events.count("poweredOn") == 2; }));
}

TEST_F(BluezLEState, EveryChangeIsReportedOnce)
{
    startWithPrinter();
    switchOn();
    m_bluez.change(hci0, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Discovering"), true}});
    m_bluez.add(QStringLiteral("/org/bluez/hci1"), adapterObject(true));
    m_bluez.remove(QStringLiteral("/org/bluez/hci1"));
    letPass(100ms);
    EXPECT_EQ(m_events.count("poweredOn"), 1);
}

TEST_F(BluezLEState, WorksOnAThreadOfItsOwn)
{
    startWithPrinter();
    WorkerQueue worker(QStringLiteral("com.harrowmint.printer.receipts"));
    RecordedEvents events;
    const BluezLECentrals centrals(m_bus.address());
    std::unique_ptr<LECentral> central;
    std::atomic<LECentralState> state = LECentralState::unknown;
    worker.async([&] { central = centrals.on(worker)(events); });
    ASSERT_TRUE(waitFor([&] {
        worker.async([&] { state = central->state(); });
        return state == LECentralState::poweredOn;
    }));
    std::atomic<bool> gone = false;
    worker.async([&] {
        central.reset();
        gone = true;
    });
    EXPECT_TRUE(waitFor([&] { return gone.load(); }));
}

} // namespace adapter
