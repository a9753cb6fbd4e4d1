// What is particular to labels over Bluetooth LE.
#include "LERig.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class LabelBLE : public testing::Test {
protected:
    Ended print(const LabelDocument& document)
    {
        const auto ended = rig.start(document);
        rig.clock->advance(30s);
        return ended->value_or(Ended{QStringLiteral("never ended"), {}});
    }

    [[nodiscard]] std::vector<std::chrono::milliseconds> pauses() const
    {
        std::vector<std::chrono::milliseconds> between;
        const auto& writes = rig.world.printers.front().writes;
        for (std::size_t i = 1; i < writes.size(); ++i)
            between.push_back(
                std::chrono::duration_cast<std::chrono::milliseconds>(writes[i].time - writes[i - 1].time));
        return between;
    }

    LERig rig{LERig::Kind::labels};
};

TEST_F(LabelBLE, WritesWithoutResponseWhereBothAreOffered)
{
    rig.run();
    EXPECT_EQ(rig.world.printer().writes.front().type, LEWriteType::withoutResponse);
    EXPECT_EQ(rig.world.printer().writes.front().channel, (LEChannel{0xFF00, 0xFF02}));
}

TEST_F(LabelBLE, WritesWithResponseWhereNothingElseIsOffered)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().writes.front().type, LEWriteType::withResponse);
}

TEST_F(LabelBLE, SendsTheCommandTheHeaderAndThenWholeRows)
{
    rig.world.printer().maximumWithoutResponse = 182;
    EXPECT_EQ(print(label(384, 10)).message, QString());
    EXPECT_EQ(rig.world.printer().chunkSizes(), (std::vector<int>{2, 8, 144, 144, 144, 48}));
    EXPECT_EQ(rig.world.printer().received(), label(384, 10).bytes());
}

TEST_F(LabelBLE, Pauses40MillisecondsAfterTheOpeningCommand)
{
    print(label(384, 10));
    EXPECT_EQ(pauses(), (std::vector{40ms, 2ms, 12ms, 12ms, 12ms}));
}

TEST_F(LabelBLE, Pauses40MillisecondsAfterTheOpeningCommandWithResponseAsWell)
{
    rig.world.offerOnly(LEWriteType::withResponse);
    print(label(384, 10));
    EXPECT_EQ(pauses(), (std::vector{40ms, 2ms, 2ms, 2ms, 2ms}));
}

TEST_F(LabelBLE, Pauses2MillisecondsAfterAChunkBelow13BytesAndMoreFrom25On)
{
    rig.world.printer().maximumWithoutResponse = 12;
    print(label(96, 3));
    EXPECT_EQ(pauses(), (std::vector{40ms, 2ms, 2ms, 2ms}));
    rig.world.printer().writes.clear();
    rig.world.printer().maximumWithoutResponse = 25;
    print(label(200, 3));
    EXPECT_EQ(pauses(), (std::vector{40ms, 2ms, 3ms, 3ms}));
}

TEST_F(LabelBLE, ReportsSuccess4SecondsAfterTheLastChunk)
{
    const Ended ended = print(label(8, 1));
    EXPECT_EQ(rig.world.printer().chunkSizes(), (std::vector<int>{2, 8, 1}));
    EXPECT_EQ(ended.time - rig.world.printer().writes.back().time, 4s);
}

TEST_F(LabelBLE, SendsTheLargestLabelInTime)
{
    EXPECT_EQ(print(label(384, 800)).message, QString());
    EXPECT_EQ(rig.world.printer().received(), label(384, 800).bytes());
}

TEST_F(LabelBLE, TriesNoOtherServiceThanFF00)
{
    rig.world.printer().services = {{0x18F0, {{.uuid = 0x2AF1, .write = true}}}};
    EXPECT_EQ(rig.run().message,
        QStringLiteral(
            "This label printer does not expose the supported Bluetooth printing service. No label data was sent."));
    EXPECT_FALSE(rig.world.log.join(QLatin1Char(' ')).contains(QStringLiteral("characteristic")));
}

TEST_F(LabelBLE, ForgetsWhatAnEarlierJobHasSeen)
{
    rig.world.printer().services = {{0xFF00, {}}};
    EXPECT_EQ(rig.run().message,
        QStringLiteral("This label printer has no supported Bluetooth write channel. No label data was sent."));
    rig.world.printer().services.clear();
    EXPECT_EQ(rig.run().message,
        QStringLiteral(
            "This label printer does not expose the supported Bluetooth printing service. No label data was sent."));
}

TEST(LabelsAndReceipts, AreInFlightTogetherOnDifferentPrinters)
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue receiptQueue(clock);
    VirtualQueue labelQueue(clock);
    VirtualWaiter waiter(*clock);
    FakeLE receiptWorld(receiptQueue);
    FakeLE labelWorld(labelQueue);
    receiptWorld.addPrinter(1);
    labelWorld.addPrinter(2).services[0xFF00] = {{.uuid = 0xFF02, .writeWithoutResponse = true}};
    {
        ReceiptBLEBackend receipts(receiptQueue, receiptWorld.factory(), waiter);
        LabelBackend labels(labelQueue, labelWorld.factory(), waiter);
        int ended = 0;
        const auto completion = [&ended](const TransferOutcome& outcome) {
            EXPECT_FALSE(outcome);
            ++ended;
        };
        receipts.start(jobBytes(5000), portOf(1), TransferCompletion(completion));
        labels.start(label(384, 100), portOf(2), TransferCompletion(completion));
        clock->advance(50ms);
        EXPECT_FALSE(receiptWorld.printer(1).writes.empty());
        EXPECT_FALSE(labelWorld.printer(2).writes.empty());
        clock->advance(20s);
        EXPECT_EQ(ended, 2);
    }
    clock->runDue();
    EXPECT_EQ(receiptWorld.printer(1).received(), jobBytes(5000));
    EXPECT_EQ(labelWorld.printer(2).received(), label(384, 100).bytes());
}

} // namespace
