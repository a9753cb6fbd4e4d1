// Every failure of an LE printer, for receipts and labels, before and after the first byte.
#include "LEExpectations.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

// Failures: both halves of the table, before and after the first byte

struct Failure {
    std::string name;
    std::function<void(LERig&)> arrange;
    QString receipt;
    QString label;
};

void PrintTo(const Failure& failure, std::ostream* out)
{
    *out << failure.name;
}

const QString noChannelForReceipts =
    QStringLiteral("This device has no supported ESC/POS Bluetooth LE channel. Pair serial printers in macOS "
                   "Bluetooth settings and choose their paired entry.");
const QString noServiceForLabels =
    QStringLiteral("This label printer does not expose the supported Bluetooth printing service.");
const QString noChannelForLabels = QStringLiteral("This label printer has no supported Bluetooth write channel.");
const QString notAllowed = QStringLiteral("Allow Bluetooth access for Harrowmint Printer in macOS Privacy settings.");
const QString receiptsOff = QStringLiteral("Turn on Bluetooth and your receipt printer.");
const QString labelsOff = QStringLiteral("Turn on Bluetooth and your label printer.");

std::function<void(LERig&)> failing(LERequest which)
{
    return [which](LERig& rig) {
        rig.world.answer = [which](LERequest request) { return FakeAnswer{{0ms}, request == which}; };
    };
}

std::function<void(LERig&)> inState(LECentralState state)
{
    return [state](LERig& rig) { rig.world.state = state; };
}

std::function<void(LERig&)> foundOutSoon(LECentralState state)
{
    return [state](LERig& rig) {
        rig.world.firstState = LECentralState::unknown;
        rig.world.state = state;
    };
}

std::function<void(LERig&)> withServices(const std::map<GattUuid, std::vector<LECharacteristic>>& services)
{
    return [services](LERig& rig) { rig.world.printer().services = services; };
}

const LECharacteristic readOnly2AF1{.uuid = 0x2AF1};
const LECharacteristic readOnlyFF02{.uuid = 0xFF02};
const LECharacteristic stranger{.uuid = 0xFF01, .write = true, .writeWithoutResponse = true};

const Failure failuresBeforeTheFirstByte[] = {
    {"PoweredOff", inState(LECentralState::poweredOff), receiptsOff, labelsOff},
    {"Unsupported", inState(LECentralState::unsupported), receiptsOff, labelsOff},
    {"Unauthorised", inState(LECentralState::unauthorised), notAllowed, notAllowed},
    {"PoweredOffFoundOutSoon", foundOutSoon(LECentralState::poweredOff), receiptsOff, labelsOff},
    {"UnsupportedFoundOutSoon", foundOutSoon(LECentralState::unsupported), receiptsOff, labelsOff},
    {"UnauthorisedFoundOutSoon", foundOutSoon(LECentralState::unauthorised), notAllowed, notAllowed},
    {"ConnectionFails", failing(LERequest::connect),
        QStringLiteral("Cannot connect your receipt printer. Check power and close other apps using it."),
        QStringLiteral("Cannot connect your label printer. Check power and close other apps using it.")},
    {"ServicesUnreadable", failing(LERequest::services), QStringLiteral("Cannot read Bluetooth receipt services."),
        noServiceForLabels},
    {"NoServices", withServices({}), noChannelForReceipts, noServiceForLabels},
    {"OtherServices", withServices({{0x180A, {stranger}}}), noChannelForReceipts, noServiceForLabels},
    {"CharacteristicsUnreadable", failing(LERequest::characteristic), noChannelForReceipts, noChannelForLabels},
    {"NoCharacteristics", withServices({{0x18F0, {}}, {0xFF00, {}}}), noChannelForReceipts, noChannelForLabels},
    {"OtherCharacteristics", withServices({{0x18F0, {stranger}}, {0xFF00, {stranger}}}), noChannelForReceipts,
        noChannelForLabels},
    {"NotWritable", withServices({{0x18F0, {readOnly2AF1}}, {0xFF00, {readOnlyFF02}}}), noChannelForReceipts,
        noChannelForLabels},
};

using FailureCase = std::tuple<Kind, Failure>;

std::string failureName(const testing::TestParamInfo<FailureCase>& each)
{
    return nameOf(std::get<0>(each.param)) + std::get<1>(each.param).name;
}

class LEFailsEarly : public testing::TestWithParam<FailureCase> { };

INSTANTIATE_TEST_SUITE_P(Table, LEFailsEarly,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels), testing::ValuesIn(failuresBeforeTheFirstByte)),
    failureName);

TEST_P(LEFailsEarly, AtOnceSayingThatNothingWasSentAndTheNextJobPrints)
{
    const auto& [kind, failure] = GetParam();
    LERig rig(kind);
    const auto services = rig.world.printer().services;
    failure.arrange(rig);
    const Ended ended = rig.run();
    EXPECT_EQ(ended.message, (kind == Kind::receipts ? failure.receipt : failure.label) + expectedOf(kind).nothingSent);
    EXPECT_EQ(ended.time, 0s);
    EXPECT_TRUE(rig.world.printer().writes.empty());

    rig.world.answer = [](LERequest) { return FakeAnswer{}; };
    rig.world.printer().services = services;
    rig.world.setState(LECentralState::poweredOn);
    rig.clock->advance(1s);
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

/// What goes wrong while the second chunk is on its way.
const Failure failuresAfterTheFirstByte[] = {
    {"PowersOff", [](LERig& rig) { rig.world.setState(LECentralState::poweredOff); }, receiptsOff, labelsOff},
    {"BecomesUnsupported", [](LERig& rig) { rig.world.setState(LECentralState::unsupported); }, receiptsOff, labelsOff},
    {"LosesAccess", [](LERig& rig) { rig.world.setState(LECentralState::unauthorised); }, notAllowed, notAllowed},
    {"Disconnects", [](LERig& rig) { rig.world.dropLink(FakeLE::identifier()); },
        QStringLiteral("Receipt printer disconnected."), QStringLiteral("Label printer disconnected.")},
};

class LEFailsLate : public testing::TestWithParam<FailureCase> { };

INSTANTIATE_TEST_SUITE_P(Table, LEFailsLate,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels), testing::ValuesIn(failuresAfterTheFirstByte)),
    failureName);

TEST_P(LEFailsLate, WhileSendingWithAWarningAndTheNextJobPrints)
{
    const auto& [kind, failure] = GetParam();
    LERig rig(kind);
    const auto ended = rig.start();
    rig.clock->advance(1ms);
    ASSERT_EQ(rig.world.printer().writes.size(), 1U);
    failure.arrange(rig);
    rig.clock->runDue();
    ASSERT_TRUE(ended->has_value());
    EXPECT_EQ((*ended)->message, (kind == Kind::receipts ? failure.receipt : failure.label) + paperWarning);

    rig.world.setState(LECentralState::poweredOn);
    rig.world.printer().writes.clear();
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

TEST_P(LEFailsLate, WhileSettlingThoughEveryByteIsOut)
{
    const auto& [kind, failure] = GetParam();
    LERig rig(kind);
    const auto ended = rig.start();
    rig.clock->runUntil([&rig] { return rig.world.printer().received() == rig.stream(); }, 10s);
    rig.clock->advance(expectedOf(kind).settle - 1ms);
    failure.arrange(rig);
    rig.clock->runDue();
    ASSERT_TRUE(ended->has_value());
    EXPECT_EQ((*ended)->message, (kind == Kind::receipts ? failure.receipt : failure.label) + paperWarning);
}

} // namespace
