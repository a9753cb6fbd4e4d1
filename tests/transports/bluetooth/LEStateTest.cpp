// Bluetooth coming and going, and printers being let go, for receipts and labels alike.
#include "LEExpectations.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class LEState : public BothKinds { };

INSTANTIATE_TEST_SUITE_P(
    Both, LEState, testing::Values(Kind::receipts, Kind::labels), [](const auto& each) { return nameOf(each.param); });

// Bluetooth coming and going

TEST_P(LEState, WaitsWhileTheStateIsNotKnownYet)
{
    rig.world.firstState = LECentralState::unknown;
    rig.world.answerLate(LERequest::report, {20s});
    const auto ended = rig.start();
    rig.clock->advance(20s - 1ms);
    EXPECT_EQ(rig.world.log, QStringList{QStringLiteral("central")});
    rig.clock->advance(8s);
    EXPECT_TRUE(ended->value().succeeded());
}

TEST_P(LEState, IgnoresUnknownAndResettingWhileAJobRuns)
{
    const auto ended = rig.start();
    rig.clock->advance(1ms);
    rig.world.events().stateChanged(LECentralState::resetting);
    rig.world.events().stateChanged(LECentralState::unknown);
    rig.world.events().stateChanged(LECentralState::poweredOn);
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

TEST_P(LEState, StartsConnectingAfreshWhenBluetoothComesBackFromAReset)
{
    rig.world.answerLate(LERequest::services, {});
    const auto ended = rig.start();
    rig.clock->advance(1s);
    rig.world.setState(LECentralState::resetting);
    rig.clock->advance(1s);
    EXPECT_FALSE(ended->has_value());
    rig.world.answer = [](LERequest) { return FakeAnswer{}; };
    rig.world.setState(LECentralState::poweredOn);
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.log.count(QStringLiteral("connect")), 2);
}

TEST_P(LEState, KeepsItsConnectionWhenPoweredOnIsReportedTwice)
{
    rig.world.answerLate(LERequest::services, {1s});
    const auto ended = rig.start();
    rig.clock->advance(500ms);
    rig.world.events().stateChanged(LECentralState::poweredOn);
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.log.count(QStringLiteral("connect")), 1);
}

TEST_P(LEState, LetsTheKeptPrinterGoWhenBluetoothGoesOff)
{
    rig.run();
    rig.world.setState(LECentralState::poweredOff);
    rig.clock->runDue();
    rig.world.setState(LECentralState::poweredOn);
    rig.clock->runDue();
    rig.world.log.clear();
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.log.first(), QStringLiteral("connect"));
}

TEST_P(LEState, LetsTheKeptPrinterGoWhenAsked)
{
    rig.run();
    rig.world.log.clear();
    rig.disconnect();
    rig.clock->runDue();
    EXPECT_EQ(rig.world.log, QStringList{QStringLiteral("cancel")});
    EXPECT_EQ(rig.run().message, QString());
}

TEST_P(LEState, KeepsThePrinterWhenAskedToLetItGoDuringAJob)
{
    const auto ended = rig.start();
    rig.clock->advance(1ms);
    rig.disconnect();
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.log.count(QStringLiteral("cancel")), 0);
}

// A printer that is still being let go

TEST_P(LEState, WaitsForTheEndOfACancelledConnectionBeforeItConnectsAgain)
{
    rig.run();
    rig.world.answerLate(LERequest::cancel, {2s});
    rig.world.log.clear();
    rig.disconnect();
    const auto ended = rig.start();
    rig.clock->advance(2s - 1ms);
    EXPECT_EQ(rig.world.log, QStringList{QStringLiteral("cancel")});
    rig.clock->advance(1ms);
    EXPECT_EQ(rig.world.log.mid(0, 2), (QStringList{QStringLiteral("cancel"), QStringLiteral("connect")}));
    rig.clock->advance(8s);
    EXPECT_TRUE(ended->value().succeeded());
}

TEST_P(LEState, TakesAFailedConnectionForTheEndOfACancelledAttempt)
{
    rig.world.answer = [](LERequest request) {
        if (request == LERequest::cancel)
            return FakeAnswer{{2s}, true};
        return request == LERequest::connect ? FakeAnswer{{}} : FakeAnswer{};
    };
    const Ended first = rig.run();
    EXPECT_EQ(
        first.message, expected.capital() + QStringLiteral(" printer did not finish in time.") + expected.nothingSent);
    const auto second = rig.start();
    rig.clock->advance(1s);
    rig.world.answer = [](LERequest) { return FakeAnswer{}; };
    rig.clock->advance(9s);
    EXPECT_TRUE(second->value().succeeded());
}

TEST_P(LEState, ConnectsAfter5SecondsWhenTheEndOfACancelledConnectionIsNeverReported)
{
    rig.run();
    rig.world.answerLate(LERequest::cancel, {});
    rig.world.log.clear();
    rig.disconnect();
    rig.clock->advance(1s);
    const auto ended = rig.start();
    rig.clock->advance(4s - 1ms);
    EXPECT_EQ(rig.world.log, QStringList{QStringLiteral("cancel")});
    rig.clock->advance(1ms);
    EXPECT_EQ(rig.world.log.mid(0, 2), (QStringList{QStringLiteral("cancel"), QStringLiteral("connect")}));
    rig.clock->advance(8s);
    EXPECT_TRUE(ended->value().succeeded());
}

TEST_P(LEState, ConnectsAtOnceWhenACancelledConnectionIsLongUnreported)
{
    rig.run();
    rig.world.answerLate(LERequest::cancel, {});
    rig.disconnect();
    rig.clock->advance(20s);
    const auto ended = rig.start();
    rig.clock->advance(8s);
    EXPECT_TRUE(ended->value().succeeded());
}

} // namespace
