// The road of a job to an LE printer, for receipts and labels alike.
#include "LEExpectations.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class LEPrinter : public BothKinds { };

INSTANTIATE_TEST_SUITE_P(Both, LEPrinter, testing::Values(Kind::receipts, Kind::labels),
    [](const auto& each) { return nameOf(each.param); });

TEST_P(LEPrinter, DeliversTheWholeStreamInOrderAndUnaltered)
{
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

TEST_P(LEPrinter, MakesItsCentralOnlyWhenItIsNeeded)
{
    rig.disconnect();
    rig.clock->runDue();
    EXPECT_FALSE(rig.world.hasCentral());
    rig.run();
    rig.run();
    EXPECT_EQ(rig.world.log.count(QStringLiteral("central")), 1);
}

TEST_P(LEPrinter, ReportsSuccessWhenTheSettlePauseAfterTheLastChunkIsOver)
{
    const Ended ended = rig.run();
    EXPECT_EQ(ended.time - rig.world.printer().writes.back().time, expected.settle);
}

TEST_P(LEPrinter, KeepsThePrinterConnectedAndSkipsConnectingForTheNextJob)
{
    rig.run();
    rig.world.log.clear();
    EXPECT_EQ(rig.run().message, QString());
    const QString open =
        GetParam() == Kind::receipts ? QStringLiteral("open with response") : QStringLiteral("open without response");
    EXPECT_EQ(rig.world.log, (QStringList{open, QStringLiteral("close")}));
    EXPECT_EQ(rig.world.printer().received(), rig.stream() + rig.stream());
}

TEST_P(LEPrinter, ConnectsAnewWhenTheKeptPrinterHasGoneMeanwhile)
{
    rig.run();
    rig.world.dropLink(FakeLE::identifier());
    rig.clock->runDue();
    rig.world.log.clear();
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.log.first(), QStringLiteral("connect"));
}

TEST_P(LEPrinter, ConnectsAnewWhenTheKeptPrinterIsGoneButNotReported)
{
    rig.run();
    rig.world.printer().state = LEPeripheralState::disconnected;
    rig.world.log.clear();
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.log.first(), QStringLiteral("connect"));
}

TEST_P(LEPrinter, LetsTheKeptPrinterGoForAJobToAnother)
{
    FakePeripheral& other = rig.world.addPrinter(2);
    other.services = rig.world.printer(1).services;
    rig.run(1);
    rig.world.log.clear();
    EXPECT_EQ(rig.run(2).message, QString());
    EXPECT_EQ(rig.world.log.mid(0, 2), (QStringList{QStringLiteral("cancel"), QStringLiteral("connect")}));
    EXPECT_EQ(rig.world.printer(1).state, LEPeripheralState::disconnected);
    EXPECT_EQ(other.received(), rig.stream());
}

TEST_P(LEPrinter, RefusesASecondJobAtOnceAndLeavesTheFirstUntouched)
{
    const auto first = rig.start();
    rig.clock->advance(20ms);
    const auto second = rig.start();
    rig.clock->runDue();
    ASSERT_TRUE(second->has_value());
    EXPECT_EQ((*second)->message, expected.capital() + QStringLiteral(" printer is busy."));
    rig.clock->advance(10s);
    EXPECT_TRUE(first->value().succeeded());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

// Looking for a printer that the system does not know

TEST_P(LEPrinter, ScansForAnUnknownPrinterAndConnectsWhenItIsSeen)
{
    rig.world.printer().known = false;
    const auto ended = rig.start();
    rig.clock->advance(5s);
    EXPECT_EQ(rig.world.log, (QStringList{QStringLiteral("central"), QStringLiteral("scan")}));
    rig.world.events().discovered({FakeLE::identifier(9), {}}, {});
    EXPECT_TRUE(rig.world.scanning);
    rig.world.events().discovered({FakeLE::identifier(1), {}}, {});
    EXPECT_FALSE(rig.world.scanning);
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
}

TEST_P(LEPrinter, ConnectsOnceThoughItsPrinterIsSeenAgain)
{
    rig.world.printer().known = false;
    const auto ended = rig.start();
    rig.clock->advance(1s);
    rig.world.events().discovered({FakeLE::identifier(1), {}}, {});
    rig.world.events().discovered({FakeLE::identifier(1), {}}, {});
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.log.count(QStringLiteral("connect")), 1);
}

TEST_P(LEPrinter, StopsScanningWhenItsPrinterIsNeverSeen)
{
    rig.world.printer().known = false;
    const Ended ended = rig.run();
    EXPECT_EQ(
        ended.message, expected.capital() + QStringLiteral(" printer did not finish in time.") + expected.nothingSent);
    EXPECT_FALSE(rig.world.scanning);
}

// Write sizes

struct SizeRow {
    int maximum;
    int chunk;
};

class LEWriteSize : public testing::TestWithParam<std::tuple<Kind, SizeRow, bool>> { };

INSTANTIATE_TEST_SUITE_P(Limits, LEWriteSize,
    testing::Combine(testing::Values(Kind::receipts, Kind::labels),
        testing::Values(SizeRow{512, 180}, SizeRow{181, 180}, SizeRow{180, 180}, SizeRow{179, 179}, SizeRow{20, 20},
            SizeRow{9, 9}, SizeRow{8, 8}, SizeRow{7, 0}, SizeRow{0, 0}),
        testing::Bool()),
    [](const auto& each) {
        return nameOf(std::get<0>(each.param)) + "AtMost" + std::to_string(std::get<1>(each.param).maximum)
            + (std::get<2>(each.param) ? "WithoutResponse" : "WithResponse");
    });

TEST_P(LEWriteSize, TakesTheSmallerOfBothMaximaUpTo180AndNoLessThan8)
{
    const auto [kind, row, limitsWithoutResponse] = GetParam();
    LERig rig(kind);
    FakePeripheral& printer = rig.world.printer();
    // Offering writes with response only makes both maxima count for both kinds.
    rig.world.offerOnly(LEWriteType::withResponse);
    printer.maximumWithoutResponse = limitsWithoutResponse ? row.maximum : 512;
    printer.maximumWithResponse = limitsWithoutResponse ? 512 : row.maximum;
    const Ended ended = rig.run();
    if (row.chunk == 0) {
        const Expected expected = expectedOf(kind);
        EXPECT_EQ(ended.message,
            QStringLiteral("Bluetooth ") + expected.noun + QStringLiteral(" write size is unsupported.")
                + expected.nothingSent);
        EXPECT_TRUE(printer.writes.empty());
        return;
    }
    EXPECT_EQ(ended.message, QString());
    EXPECT_EQ(printer.received(), rig.stream());
    const std::vector<int> sizes = printer.chunkSizes();
    // A label's first chunks are 2 and 8 bytes, and then whole rows, here of 6 bytes.
    if (kind == Kind::receipts)
        EXPECT_EQ(sizes[0], row.chunk);
    else
        EXPECT_EQ(sizes[2], row.chunk - row.chunk % 6);
}

// Writing with and without response

TEST_P(LEPrinter, WaitsForEachConfirmationBeforeTheNextWrite)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    rig.world.answerLate(LERequest::write, {300ms});
    EXPECT_EQ(rig.run().message, QString());
    const auto& writes = rig.world.printer().writes;
    for (std::size_t i = 1; i < writes.size(); ++i) {
        const bool opening = GetParam() == Kind::labels && i == 1;
        EXPECT_EQ(writes[i].time - writes[i - 1].time, opening ? 340ms : 302ms);
        EXPECT_EQ(writes[i].type, LEWriteType::withResponse);
    }
}

TEST_P(LEPrinter, SettlesOnlyAfterTheLastConfirmation)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    rig.world.answerLate(LERequest::write, {300ms});
    const Ended ended = rig.run();
    EXPECT_EQ(ended.time - rig.world.printer().writes.back().time, 300ms + expected.settle);
}

TEST_P(LEPrinter, HoldsAWriteWithoutResponseBackUntilThePrinterIsReady)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.world.setCongested(true);
    const auto ended = rig.start();
    rig.clock->advance(7s);
    EXPECT_TRUE(rig.world.printer().writes.empty());
    rig.world.setCongested(false);
    rig.clock->runDue();
    EXPECT_EQ(rig.world.printer().writes.size(), 1U);
    rig.clock->advance(10s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.world.printer().received(), rig.stream());
}

TEST_P(LEPrinter, KeepsThePauseThoughThePrinterSaysItIsReady)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.start();
    rig.clock->advance(1ms);
    ASSERT_EQ(rig.world.printer().writes.size(), 1U);
    rig.world.events().readyToWrite(FakeLE::identifier());
    EXPECT_EQ(rig.world.printer().writes.size(), 1U);
}

TEST_P(LEPrinter, IgnoresAReadyPrinterWhileItWaitsForAConfirmation)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    rig.world.answerLate(LERequest::write, {300ms});
    rig.start();
    rig.clock->advance(100ms);
    rig.world.events().readyToWrite(FakeLE::identifier());
    EXPECT_EQ(rig.world.printer().writes.size(), 1U);
}

TEST_P(LEPrinter, WarnsOfThePaperWhenTheVeryFirstWriteIsRejected)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    rig.world.answer = [](LERequest request) { return FakeAnswer{{0ms}, request == LERequest::write}; };
    EXPECT_EQ(rig.run().message, expected.capital() + QStringLiteral(" transfer failed.") + paperWarning);
}

TEST_P(LEPrinter, IgnoresAConfirmationThatNothingWaitsFor)
{
    const auto ended = rig.start();
    rig.clock->advance(1ms);
    const FakeWrite& write = rig.world.printer().writes.front();
    rig.world.events().valueWritten(FakeLE::identifier(), write.channel, true);
    rig.clock->advance(10s);
    EXPECT_EQ(ended->value().message, QString());
}

TEST_P(LEPrinter, IgnoresAConfirmationOfAnotherCharacteristicOrPrinter)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    rig.world.answerLate(LERequest::write, {300ms});
    rig.start();
    rig.clock->advance(100ms);
    const LEChannel channel = rig.world.printer().writes.front().channel;
    rig.world.events().valueWritten(FakeLE::identifier(), {0xFFE0, 0xFFE1}, false);
    rig.world.events().valueWritten(FakeLE::identifier(2), channel, false);
    rig.clock->advance(100ms);
    EXPECT_EQ(rig.world.printer().writes.size(), 1U);
}

} // namespace
