// The deadline of a serial transfer, and events out of turn.
#include "SerialRig.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

// The deadline

std::string nameOf(SerialRequest request)
{
    static constexpr const char* names[] = {"Devices", "Find", "Query", "Open", "Write"};
    return names[static_cast<int>(request)];
}

class SerialStalls : public Serial, public testing::WithParamInterface<SerialRequest> { };

INSTANTIATE_TEST_SUITE_P(EveryStep, SerialStalls,
    testing::Values(SerialRequest::find, SerialRequest::query, SerialRequest::open, SerialRequest::write),
    [](const auto& each) { return nameOf(each.param); });

TEST_P(SerialStalls, EndAfter50SecondsAndTheNextJobPrints)
{
    world.answerLate(GetParam(), {});
    const auto ended = start();
    clock->advance(50s - 1ms);
    EXPECT_FALSE(ended->has_value());
    clock->advance(1ms);
    ASSERT_TRUE(ended->has_value());
    EXPECT_EQ((*ended)->message,
        QStringLiteral("Bluetooth receipt transfer timed out.")
            + (GetParam() == SerialRequest::write ? serialPaperWarning : nothingSent));
    world.answer = [](SerialRequest) { return FakeSerial::Answer{}; };
    world.packets.clear();
    EXPECT_EQ(run().message, QString());
    EXPECT_EQ(world.received(), jobBytes(3000));
}

// Events that come late, twice or out of turn

TEST_F(Serial, IgnoresASecondServiceAnswerOnceTheChannelIsAskedFor)
{
    world.answerLate(SerialRequest::open, {1s});
    const auto ended = start();
    clock->advance(500ms);
    world.events()->sdpQueryComplete(false);
    world.events()->sdpQueryComplete(true);
    clock->advance(10s);
    EXPECT_EQ(ended->value().message, QString());
    EXPECT_EQ(world.log.count(QStringLiteral("open 1")), 1);
}

using SerialInjection = std::pair<const char*, void (*)(SerialLinkEvents&)>;

class SerialIgnores : public Serial, public testing::WithParamInterface<SerialInjection> { };

INSTANTIATE_TEST_SUITE_P(Events, SerialIgnores,
    testing::Values(SerialInjection{"DeviceFound", [](SerialLinkEvents& to) { to.deviceFound(true); }},
        SerialInjection{"DeviceNotFound", [](SerialLinkEvents& to) { to.deviceFound(false); }},
        SerialInjection{"QueryFailed", [](SerialLinkEvents& to) { to.sdpQueryComplete(false); }},
        SerialInjection{"Opened", [](SerialLinkEvents& to) { to.rfcommChannelOpenComplete(SerialOpenResult::opened); }},
        SerialInjection{
            "OpenFailed", [](SerialLinkEvents& to) { to.rfcommChannelOpenComplete(SerialOpenResult::failed); }},
        SerialInjection{"UnaskedWriteComplete", [](SerialLinkEvents& to) { to.rfcommChannelWriteComplete(false); }}),
    [](const auto& each) { return each.param.first; });

TEST_P(SerialIgnores, BetweenTwoPackets)
{
    const auto ended = start();
    clock->advance(1ms);
    ASSERT_EQ(world.packets.size(), 1U);
    GetParam().second(*world.events());
    clock->advance(1s);
    EXPECT_EQ(ended->value().message, QString());
    EXPECT_EQ(world.received(), jobBytes(3000));
    EXPECT_EQ(world.packets[1].time - world.packets[0].time, 10ms);
}

TEST_F(Serial, IgnoresAChannelThatClosesBeforeItIsAskedFor)
{
    world.answerLate(SerialRequest::query, {1s});
    const auto ended = start();
    clock->advance(500ms);
    world.events()->rfcommChannelClosed();
    clock->advance(10s);
    EXPECT_EQ(ended->value().message, QString());
}

TEST_F(Serial, IgnoresEverythingOnceItHasFinished)
{
    int results = 0;
    backend->start(jobBytes(10), serialPort, TransferCompletion([&](const TransferOutcome& outcome) {
        EXPECT_FALSE(outcome);
        ++results;
        world.events()->rfcommChannelClosed();
        world.events()->rfcommChannelWriteComplete(false);
        world.events()->deviceFound(false);
    }));
    world.reportsLateAnswers = true;
    clock->advance(60s);
    EXPECT_EQ(results, 1);
    EXPECT_EQ(world.log.count(QStringLiteral("close")), 1);
}

} // namespace
