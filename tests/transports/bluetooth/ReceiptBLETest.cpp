// What is particular to receipts over Bluetooth LE.
#include "LERig.h"
#include "support/LateTimers.h"
#include "transports/ReceiptByteCursor.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class ReceiptBLE : public testing::Test {
protected:
    /// The times between the writes, and between the last one and the end, of a job of `bytes` bytes.
    std::vector<std::chrono::milliseconds> pausesOf(int bytes)
    {
        const auto ended = rig.start(jobBytes(bytes));
        rig.clock->advance(50s);
        EXPECT_EQ(ended->value().message, QString());
        std::vector<std::chrono::milliseconds> pauses;
        const auto& writes = rig.world.printer().writes;
        for (std::size_t i = 0; i < writes.size(); ++i) {
            const auto next = i + 1 < writes.size() ? writes[i + 1].time : ended->value().time;
            pauses.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(next - writes[i].time));
        }
        return pauses;
    }

    LERig rig{LERig::Kind::receipts};
};

// The cursor

TEST(ReceiptByteCursor, HandsOutChunksOfTheLargestAllowedSize)
{
    ReceiptByteCursor cursor(QByteArrayLiteral("abcdefgh"));
    EXPECT_EQ(cursor.next(5), QByteArrayLiteral("abcde"));
    EXPECT_EQ(cursor.next(5), QByteArrayLiteral("abcde"));
    cursor.advance(5);
    EXPECT_EQ(cursor.offset(), 5);
    EXPECT_EQ(cursor.lastCount(), 5);
    EXPECT_FALSE(cursor.finished());
    EXPECT_EQ(cursor.next(5), QByteArrayLiteral("fgh"));
    cursor.advance(3);
    EXPECT_EQ(cursor.lastCount(), 3);
    EXPECT_TRUE(cursor.finished());
    EXPECT_EQ(cursor.next(5), std::nullopt);
}

TEST(ReceiptByteCursor, HandsOutNothingWhenNothingIsAllowed)
{
    const ReceiptByteCursor cursor(QByteArrayLiteral("abc"));
    EXPECT_EQ(cursor.next(0), std::nullopt);
    EXPECT_EQ(cursor.next(-1), std::nullopt);
    EXPECT_EQ(cursor.next(1), QByteArrayLiteral("a"));
}

TEST(ReceiptByteCursorDeathTest, StopsTheProgramWhenItIsMovedByNothingOrPastTheEnd)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ReceiptByteCursor cursor(QByteArrayLiteral("abc"));
    EXPECT_DEATH(cursor.advance(0), "cannot move by 0 bytes");
    EXPECT_DEATH(cursor.advance(-1), "cannot move by -1 bytes");
    EXPECT_DEATH(cursor.advance(4), "cannot move by 4 bytes");
    cursor.advance(3);
    EXPECT_DEATH(cursor.advance(1), "cannot move by 1 bytes");
}

// What can be printed

TEST_F(ReceiptBLE, TakesOneByte)
{
    const auto ended = rig.start(QByteArrayLiteral("!"));
    rig.clock->advance(1s);
    EXPECT_EQ(ended->value().message, QString());
    EXPECT_EQ(rig.world.printer().received(), QByteArrayLiteral("!"));
}

TEST_F(ReceiptBLE, TakesUpTo900000Bytes)
{
    EXPECT_NO_THROW(rig.start(QByteArray(900000, 'x')));
    try {
        rig.start(QByteArray(900001, 'x'));
        FAIL() << "too many bytes were taken";
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(), QStringLiteral("Choose your Bluetooth receipt printer in the app."));
    }
}

TEST_F(ReceiptBLE, RefusesAnEmptyJob)
{
    try {
        rig.start(QByteArray());
        FAIL() << "an empty job was taken";
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(), QStringLiteral("Choose your Bluetooth receipt printer in the app."));
    }
}

// Writing

TEST_F(ReceiptBLE, PrefersWritesWithResponse)
{
    rig.run();
    EXPECT_EQ(rig.world.printer().writes.front().type, LEWriteType::withResponse);
}

TEST_F(ReceiptBLE, WritesWithoutResponseWhereNothingElseIsOffered)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.run();
    EXPECT_EQ(rig.world.printer().writes.front().type, LEWriteType::withoutResponse);
}

TEST_F(ReceiptBLE, CutsChunksAt180BytesOfALinkThatTakes512)
{
    rig.world.printer().maximumWithoutResponse = 512;
    rig.run();
    EXPECT_EQ(rig.world.printer().chunkSizes(), (std::vector<int>{180, 180, 140}));
}

TEST_F(ReceiptBLE, PausesAMillisecondForEvery12BytesWithoutResponse)
{
    rig.world.offerOnly(LEWriteType::withoutResponse);
    EXPECT_EQ(pausesOf(360), (std::vector{15ms, 500ms}));
}

struct PauseRow {
    int chunk;
    std::chrono::milliseconds pause;
};

class ReceiptBLEPause : public testing::TestWithParam<PauseRow> { };

INSTANTIATE_TEST_SUITE_P(WithoutResponse, ReceiptBLEPause,
    testing::Values(PauseRow{8, 2ms}, PauseRow{12, 2ms}, PauseRow{13, 2ms}, PauseRow{20, 2ms}, PauseRow{24, 2ms},
        PauseRow{25, 3ms}, PauseRow{36, 3ms}, PauseRow{37, 4ms}, PauseRow{179, 15ms}, PauseRow{180, 15ms}),
    [](const auto& each) { return std::to_string(each.param.chunk) + "Bytes"; });

TEST_P(ReceiptBLEPause, FollowsAChunkOfThisSize)
{
    LERig rig(LERig::Kind::receipts);
    rig.world.offerOnly(LEWriteType::withoutResponse);
    rig.world.printer().maximumWithoutResponse = GetParam().chunk;
    const auto ended = rig.start(jobBytes(2 * GetParam().chunk));
    rig.clock->advance(1s);
    const auto& writes = rig.world.printer().writes;
    ASSERT_EQ(writes.size(), 2U);
    EXPECT_EQ(writes[1].time - writes[0].time, GetParam().pause);
    EXPECT_EQ(ended->value().time - writes[1].time, 500ms);
}

TEST_F(ReceiptBLE, Pauses2MillisecondsAfterEachConfirmation)
{
    EXPECT_EQ(pausesOf(400), (std::vector{2ms, 2ms, 500ms}));
}

TEST_F(ReceiptBLE, MakesNoLongerPauseAfterAnOpeningOf2Bytes)
{
    // Such a chunk is only possible as a whole job; the settle pause is all that follows.
    EXPECT_EQ(pausesOf(2), std::vector{500ms});
}

/// The time from the first of 101 chunks of 180 bytes to the last, when every timer is late by `lateness`, and the
/// tenth by `once` in addition.
SerialQueue::Duration timeFor100Pauses(SerialQueue::Duration lateness, SerialQueue::Duration once = {})
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue inner(clock);
    LateTimers queue(inner, lateness, once);
    VirtualWaiter waiter(*clock);
    FakeLE world(inner);
    world.addPrinter(1);
    world.offerOnly(LEWriteType::withoutResponse);
    {
        ReceiptBLEBackend receipts(queue, world.factory(), waiter);
        EXPECT_NO_THROW(receipts.print(jobBytes(101 * 180), portOf(1)));
    }
    clock->runDue();
    return world.printer(1).writes.back().time - world.printer(1).writes.front().time;
}

TEST(ReceiptBLEPacing, DoesNotAddUpTheLatenessOfItsTimers)
{
    EXPECT_EQ(timeFor100Pauses(0ms), 1500ms);
    EXPECT_EQ(timeFor100Pauses(1ms), 1501ms);
}

TEST(ReceiptBLEPacing, MakesUpForNoMoreThanAnEighthOfAPause)
{
    // Each pause is 5 ms late; each but the first makes up for 1.875 ms of what came before.
    EXPECT_EQ(timeFor100Pauses(5ms), 100 * 20ms - 99 * 1'875us);
}

TEST(ReceiptBLEPacing, MakesUpForOneLongDelayOverSeveralPauses)
{
    EXPECT_EQ(timeFor100Pauses(0ms, 6ms), 1500ms);
    // No more than a pause is made up for, and nothing within the pause that is late.
    EXPECT_EQ(timeFor100Pauses(0ms, 60ms), 1500ms + 60ms - 15ms);
}

TEST(ReceiptBLEPacing, DoesNotMakeUpForAPrinterThatWasNotReady)
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue inner(clock);
    LateTimers queue(inner, 1ms);
    VirtualWaiter waiter(*clock);
    FakeLE world(inner);
    world.addPrinter(1);
    world.offerOnly(LEWriteType::withoutResponse);
    {
        ReceiptBLEBackend receipts(queue, world.factory(), waiter);
        receipts.start(jobBytes(540), portOf(1), TransferCompletion([](const TransferOutcome&) {}));
        clock->advance(1ms);
        world.setCongested(true);
        clock->advance(100ms);
        world.setCongested(false);
        clock->advance(1s);
    }
    clock->runDue();
    const auto& writes = world.printer(1).writes;
    ASSERT_EQ(writes.size(), 3U);
    EXPECT_EQ(writes[1].time - writes[0].time, 101ms);
    EXPECT_EQ(writes[2].time - writes[1].time, 16ms);
}

// Profiles

class ReceiptBLEProfiles : public ReceiptBLE {
protected:
    static LECharacteristic writable(GattUuid uuid) { return {.uuid = uuid, .write = true}; }

    QStringList lookedFor() const
    {
        QStringList channels;
        for (const QString& entry : rig.world.log) {
            if (entry.startsWith(QStringLiteral("characteristic ")))
                channels += entry.mid(15);
        }
        return channels;
    }

    std::map<GattUuid, std::vector<LECharacteristic>>& services = rig.world.printer().services;
};

TEST_F(ReceiptBLEProfiles, TakesTheFirstOfAllThree)
{
    services = {{0xFF00, {writable(0xFF02)}}, {0xFFE0, {writable(0xFFE1)}}, {0x18F0, {writable(0x2AF1)}}};
    rig.run();
    EXPECT_EQ(rig.world.printer().writes.front().channel, (LEChannel{0x18F0, 0x2AF1}));
    EXPECT_EQ(lookedFor(), QStringList{QStringLiteral("18f0/2af1")});
}

TEST_F(ReceiptBLEProfiles, PrefersTheEarlierOfFFE0AndFF00)
{
    services = {{0xFF00, {writable(0xFF02)}}, {0xFFE0, {writable(0xFFE1)}}};
    rig.run();
    EXPECT_EQ(rig.world.printer().writes.front().channel, (LEChannel{0xFFE0, 0xFFE1}));
    EXPECT_EQ(lookedFor(), QStringList{QStringLiteral("ffe0/ffe1")});
}

TEST_F(ReceiptBLEProfiles, FallsBackUntilACharacteristicIsWritable)
{
    services = {{0x18F0, {{.uuid = 0x2AF1}}}, {0xFFE0, {writable(0xFFE9)}}, {0xFF00, {writable(0xFF02)}}};
    EXPECT_EQ(rig.run().message, QString());
    EXPECT_EQ(rig.world.printer().writes.front().channel, (LEChannel{0xFF00, 0xFF02}));
    EXPECT_EQ(lookedFor(),
        (QStringList{QStringLiteral("18f0/2af1"), QStringLiteral("ffe0/ffe1"), QStringLiteral("ff00/ff02")}));
}

TEST_F(ReceiptBLEProfiles, IgnoreTheCharacteristicsOfAnotherService)
{
    services = {{0xFFE0, {writable(0xFFE1)}}};
    rig.world.answerLate(LERequest::characteristic, {1s});
    const auto ended = rig.start(jobBytes(10));
    rig.clock->advance(500ms);
    rig.world.events().characteristicsDiscovered(FakeLE::identifier(), 0x18F0, true, {});
    rig.world.events().characteristicsDiscovered(FakeLE::identifier(), 0xFF00, false, {writable(0xFF02)});
    rig.clock->advance(10s);
    EXPECT_EQ(ended->value().message, QString());
    EXPECT_EQ(rig.world.printer().writes.front().channel, (LEChannel{0xFFE0, 0xFFE1}));
}

} // namespace
