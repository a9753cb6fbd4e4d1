// Time limits, events out of turn, and the blocking call, for receipts and labels alike.
#include "LEExpectations.h"
#include "support/LateQueue.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class LELimit : public BothKinds { };

INSTANTIATE_TEST_SUITE_P(
    Both, LELimit, testing::Values(Kind::receipts, Kind::labels), [](const auto& each) { return nameOf(each.param); });

// Time limits

class LEStalls : public testing::TestWithParam<std::tuple<Kind, LERequest>> { };

INSTANTIATE_TEST_SUITE_P(EveryStep, LEStalls,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels),
        testing::Values(LERequest::report, LERequest::connect, LERequest::services, LERequest::characteristic,
            LERequest::open, LERequest::write)),
    [](const auto& each) { return nameOf(std::get<0>(each.param)) + "At" + nameOf(std::get<1>(each.param)); });

TEST_P(LEStalls, EndAtTheWatchdogAndTheNextJobPrints)
{
    const auto [kind, stalled] = GetParam();
    const Expected expected = expectedOf(kind);
    LERig rig(kind);
    rig.world.offerOnly(LEWriteType::withResponse);
    if (stalled == LERequest::report)
        rig.world.firstState = LECentralState::resetting;
    rig.world.answerLate(stalled, {});
    const auto ended = rig.start();
    rig.clock->advance(expected.watchdog - 1ms);
    EXPECT_FALSE(ended->has_value());
    rig.clock->advance(1ms);
    ASSERT_TRUE(ended->has_value());
    EXPECT_EQ((*ended)->message,
        expected.capital() + QStringLiteral(" printer did not finish in time.")
            + (stalled == LERequest::write ? paperWarning : expected.nothingSent));

    rig.world.answer = [](LERequest) { return FakeAnswer{}; };
    rig.world.setState(LECentralState::poweredOn);
    rig.world.printer().writes.clear();
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

TEST_P(LELimit, EndsAtTheWatchdogWhenThePrinterIsNeverReady)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.world.written = [this](FakePeripheral&) { rig.world.setCongested(true); };
    const Ended ended = rig.run();
    EXPECT_EQ(ended.message, expected.capital() + QStringLiteral(" printer did not finish in time.") + paperWarning);
    EXPECT_EQ(ended.time, expected.watchdog);
}

TEST_P(LELimit, SucceedsOnlyOnceTheLastWriteWithoutResponseIsHandedOver)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.world.written = [this](FakePeripheral& printer) {
        if (printer.received() == rig.stream())
            rig.world.setCongested(true);
    };
    const auto ended = rig.start();
    rig.clock->advance(expected.settle + 10s);
    ASSERT_TRUE(rig.world.congested());
    EXPECT_FALSE(ended->has_value());
    rig.world.setCongested(false);
    rig.clock->advance(1ms);
    ASSERT_TRUE(ended->has_value());
    EXPECT_EQ((*ended)->message, QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
    EXPECT_EQ(rig.clock->pending(), 0U);
}

TEST_P(LELimit, SettlesInFullThoughTheLastWriteIsHandedOverBefore)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.run();
    const auto ended = rig.start();
    rig.clock->runUntil([this] { return rig.world.printer().received() == rig.stream() + rig.stream(); }, 20s);
    rig.world.events().readyToWrite(FakeLE::identifier());
    rig.clock->advance(expected.settle - 1ms);
    EXPECT_FALSE(ended->has_value());
    rig.clock->advance(1ms);
    EXPECT_TRUE(ended->has_value());
}

TEST_P(LELimit, WarnsAtTheWatchdogWhenTheLastWriteIsNeverHandedOver)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.world.written = [this](FakePeripheral& printer) {
        if (printer.received() == rig.stream())
            rig.world.setCongested(true);
    };
    const Ended ended = rig.run();
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
    EXPECT_EQ(ended.message, expected.capital() + QStringLiteral(" printer did not finish in time.") + paperWarning);
    EXPECT_EQ(ended.time, expected.watchdog);
}

TEST_P(LELimit, LeavesNoTimerBehindAJob)
{
    rig.run();
    EXPECT_EQ(rig.clock->pending(), 0U);
}

// Events that come late, twice or out of turn

using Injection = std::pair<const char*, void (*)(LECentralEvents&)>;

const Injection injections[] = {
    {"PoweredOn", [](LECentralEvents& to) { to.stateChanged(LECentralState::poweredOn); }},
    {"Discovered",
        [](LECentralEvents& to) {
            to.discovered({FakeLE::identifier(), {}}, {});
        }},
    {"Connected", [](LECentralEvents& to) { to.connected(FakeLE::identifier()); }},
    {"NoServices", [](LECentralEvents& to) { to.servicesDiscovered(FakeLE::identifier(), true, {}); }},
    {"NoCharacteristics",
        [](LECentralEvents& to) { to.characteristicsDiscovered(FakeLE::identifier(), 0x18F0, true, {}); }},
    {"ChannelOpened",
        [](LECentralEvents& to) {
            to.channelOpened(FakeLE::identifier(), {0x18F0, 0x2AF1});
        }},
    {"FailedToConnect", [](LECentralEvents& to) { to.failedToConnect(FakeLE::identifier()); }},
    {"OtherDisconnected", [](LECentralEvents& to) { to.disconnected(FakeLE::identifier(7)); }},
    {"OtherFailedToConnect", [](LECentralEvents& to) { to.failedToConnect(FakeLE::identifier(7)); }},
    {"OtherReady", [](LECentralEvents& to) { to.readyToWrite(FakeLE::identifier(7)); }},
};

class LEIgnores : public testing::TestWithParam<std::tuple<Kind, Injection>> { };

INSTANTIATE_TEST_SUITE_P(Events, LEIgnores,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels), testing::ValuesIn(injections)),
    [](const auto& each) { return nameOf(std::get<0>(each.param)) + std::get<1>(each.param).first; });

TEST_P(LEIgnores, WhileItSendsAndSettlesAndWhenItIsIdle)
{
    const auto& [kind, injection] = GetParam();
    LERig rig(kind);
    for (int i = 0; i < 2; ++i) {
        const auto ended = rig.start();
        rig.clock->advance(1ms);
        while (!ended->has_value()) {
            injection.second(rig.world.events());
            rig.clock->advance(7ms);
        }
        EXPECT_EQ((*ended)->message, QString());
        injection.second(rig.world.events());
        rig.clock->advance(1s);
    }
    EXPECT_EQ(rig.world.printer().received(), rig.stream() + rig.stream());
    EXPECT_EQ(rig.world.log.count(QStringLiteral("connect")), 1);
}

// Life and death

TEST_P(LELimit, WakesItsCallerWithoutAResultWhenItDiesDuringAJob)
{
    rig.world.written = [this](FakePeripheral&) { rig.destroy(); };
    EXPECT_EQ(rig.print(portOf(1)), QStringLiteral("No ") + expected.noun + QStringLiteral(" transfer result."));
    EXPECT_FALSE(rig.world.hasCentral());
}

TEST_P(LELimit, BlocksItsCallerUntilTheJobHasEnded)
{
    EXPECT_EQ(rig.print(portOf(1)), QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
    EXPECT_GE(rig.clock->elapsed(), expected.settle);
}

TEST_P(LELimit, HandsTheFailureOfTheJobToItsCaller)
{
    rig.world.state = LECentralState::poweredOff;
    EXPECT_EQ(rig.print(portOf(1)),
        QStringLiteral("Turn on Bluetooth and your ") + expected.noun + QStringLiteral(" printer.")
            + expected.nothingSent);
}

/// A receipt transport whose queue does not get to its tasks for a while.
class LECallerLimit : public testing::Test {
protected:
    QString printOn(SerialQueue& queue)
    {
        ReceiptBLEBackend receipts(queue, world.factory(), waiter);
        try {
            receipts.print(jobBytes(500), portOf(1));
            return {};
        } catch (const PrinterError& error) {
            returned = clock->elapsed();
            // Let the queue get to everything while the transport still exists.
            clock->advance(120s);
            return error.message();
        }
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue inner{clock};
    VirtualWaiter waiter{*clock};
    FakeLE world{inner};
    SerialQueue::Duration returned{};
};

const QString receiptTimedOut =
    QStringLiteral("Receipt response timed out. Check the paper before retrying; part may have printed.");

TEST_F(LECallerLimit, IsOver52SecondsAfterTheCallAndNothingPrintsAfterwards)
{
    world.addPrinter(1);
    {
        LateQueue late(inner, 60s);
        EXPECT_EQ(printOn(late), receiptTimedOut);
        clock->advance(1s);
    }
    EXPECT_EQ(returned, 52s);
    EXPECT_TRUE(world.printer(1).writes.empty());
    EXPECT_EQ(world.printer(1).state, LEPeripheralState::disconnected);
}

TEST_F(LECallerLimit, ComesBeforeTheWatchdogOfAJobThatBeganLate)
{
    // The job begins after 10 s, so its own limit is only over after 60 s.
    world.addPrinter(1);
    world.answerLate(LERequest::connect, {});
    {
        LateQueue late(inner, 10s);
        EXPECT_EQ(printOn(late), receiptTimedOut);
        clock->advance(1s);
    }
    EXPECT_EQ(returned, 52s);
}

TEST_F(LECallerLimit, IsNotReachedBy50SecondsOfWatchdog)
{
    world.addPrinter(1);
    world.answerLate(LERequest::connect, {});
    {
        LateQueue late(inner, 1s);
        EXPECT_EQ(printOn(late), QStringLiteral("Receipt printer did not finish in time. No receipt data was sent."));
        clock->advance(1s);
    }
    EXPECT_EQ(returned, 51s);
}

TEST(LELabelCallerLimit, IsOver32SecondsAfterTheCall)
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue inner(clock);
    VirtualWaiter waiter(*clock);
    FakeLE world(inner);
    LateQueue late(inner, 60s);
    LabelBackend labels(late, world.factory(), waiter);
    try {
        labels.print(label(8, 1), portOf(1));
        FAIL() << "a label without a printer was printed";
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(),
            QStringLiteral("Label response timed out. Check the paper before retrying; part may have printed."));
    }
    EXPECT_EQ(clock->elapsed(), 32s);
}

class LEPort : public testing::TestWithParam<std::tuple<Kind, QString>> { };

INSTANTIATE_TEST_SUITE_P(Refused, LEPort,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels),
        testing::Values(QString(), QStringLiteral("ble"), QStringLiteral("ble:"), QStringLiteral("spp:AABBCCDDEEFF"),
            QStringLiteral("BLE:6F1A2B3C-0001-4000-8000-000000000001"),
            QStringLiteral("ble:{6F1A2B3C-0001-4000-8000-000000000001}"),
            QStringLiteral("ble:6F1A2B3C-0001-4000-8000-00000000000"),
            QStringLiteral("ble:6F1A2B3C-0001-4000-8000-0000000000011"),
            QStringLiteral("ble:6F1A2B3C000140008000000000000001"),
            QStringLiteral("usb:6F1A2B3C-0001-4000-8000-000000000001"))));

TEST_P(LEPort, ThatIsNoAddressIsRefusedAtOnce)
{
    const auto& [kind, port] = GetParam();
    LERig rig(kind);
    EXPECT_EQ(rig.print(port),
        QStringLiteral("Choose your Bluetooth ") + expectedOf(kind).noun + QStringLiteral(" printer in the app."));
    EXPECT_FALSE(rig.world.hasCentral());
}

TEST_P(LELimit, TakesAnAddressInLowerCase)
{
    const QString port = portOf(1);
    EXPECT_EQ(rig.print(port.left(4) + port.mid(4).toLower()), QString());
}

} // namespace
