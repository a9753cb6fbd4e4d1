#include "transports/USBTransferProgress.h"

#include <atomic>
#include <thread>

namespace harrowmint {
namespace {

const QByteArray waiting = "STATE: +cups-waiting-for-job-completed\n";

struct Row {
    const char* name;
    qint64 expectedBytes;
    QByteArray output;
    bool acknowledged;
};

class ProgressTable : public ::testing::TestWithParam<Row> { };

TEST_P(ProgressTable, GivesItsVerdictOnTheWholeOutput)
{
    USBTransferProgress progress(GetParam().expectedBytes);
    EXPECT_EQ(progress.consume(GetParam().output), GetParam().acknowledged);
}

TEST_P(ProgressTable, GivesTheSameVerdictOnceWhenBytesComeOneAtATime)
{
    USBTransferProgress progress(GetParam().expectedBytes);
    int acknowledgements = 0;
    for (const char byte : GetParam().output)
        acknowledgements += progress.consume(QByteArrayView(&byte, 1)) ? 1 : 0;
    EXPECT_EQ(acknowledgements, GetParam().acknowledged ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Lines, ProgressTable,
    ::testing::Values(Row{"ExactCountThenWaiting", 12, "DEBUG: Sent 12 bytes...\n" + waiting, true},
        Row{"OtherLinesBetween", 12, "INFO: Printing\nDEBUG: Sent 12 bytes...\n\nSTATE: -connecting\n" + waiting, true},
        Row{"PartialCountsBefore", 1234,
            "DEBUG: Sent 1000 bytes...\nDEBUG: Sent 234 bytes...\nDEBUG: Sent 1234 bytes...\n" + waiting, true},
        Row{"PartialCountAfter", 12, "DEBUG: Sent 12 bytes...\nDEBUG: Sent 10 bytes...\n" + waiting, true},
        Row{"EarlyWaitingIsIgnored", 12, waiting + "DEBUG: Sent 12 bytes...\n" + waiting, true},
        Row{"WaitingTwice", 12, "DEBUG: Sent 12 bytes...\n" + waiting + waiting, true},
        Row{"ErrorAfterTheAcknowledgement", 12, "DEBUG: Sent 12 bytes...\n" + waiting + "ERROR: late\n", true},
        Row{"ErrorInsideALine", 12, "INFO: ERROR: no\nDEBUG: Sent 12 bytes...\n" + waiting, true},
        Row{"ErrorWithoutColon", 12, "ERROR\nDEBUG: Sent 12 bytes...\n" + waiting, true},
        Row{"LowerCaseError", 12, "error: no\nDEBUG: Sent 12 bytes...\n" + waiting, true},
        Row{"InvalidTextBetween", 12, "DEBUG: Sent 12 bytes...\n\xff\xfe\n" + waiting, true},
        Row{"LargestJob", 900000, "DEBUG: Sent 900000 bytes...\n" + waiting, true},
        Row{"OneByteJob", 1, "DEBUG: Sent 1 bytes...\n" + waiting, true},

        Row{"Nothing", 12, "", false}, //
        Row{"WaitingAlone", 12, waiting, false}, //
        Row{"WaitingBeforeTheCount", 12, waiting + "DEBUG: Sent 12 bytes...\n", false},
        Row{"CountAlone", 12, "DEBUG: Sent 12 bytes...\n", false},
        Row{"PartialCount", 12, "DEBUG: Sent 10 bytes...\n" + waiting, false},
        Row{"LargerCount", 12, "DEBUG: Sent 120 bytes...\n" + waiting, false},
        Row{"PartialCountsThatAddUp", 12, "DEBUG: Sent 10 bytes...\nDEBUG: Sent 2 bytes...\n" + waiting, false},
        Row{"CountWithLeadingZero", 12, "DEBUG: Sent 012 bytes...\n" + waiting, false},
        Row{"CountWithTwoDots", 12, "DEBUG: Sent 12 bytes..\n" + waiting, false},
        Row{"CountWithMoreBehind", 12, "DEBUG: Sent 12 bytes....\n" + waiting, false},
        Row{"CountWithBlankBehind", 12, "DEBUG: Sent 12 bytes... \n" + waiting, false},
        Row{"CountWithBlankBefore", 12, " DEBUG: Sent 12 bytes...\n" + waiting, false},
        Row{"CountWithCarriageReturn", 12, "DEBUG: Sent 12 bytes...\r\n" + waiting, false},
        Row{"CountWithByteOrderMark", 12, "\xef\xbb\xbf" + QByteArray("DEBUG: Sent 12 bytes...\n") + waiting, false},
        Row{"WaitingWithCarriageReturn", 12, "DEBUG: Sent 12 bytes...\nSTATE: +cups-waiting-for-job-completed\r\n",
            false},
        Row{"WaitingWithoutItsLineFeed", 12, "DEBUG: Sent 12 bytes...\n" + waiting.chopped(1), false},
        Row{"WaitingWithMoreBehind", 12, "DEBUG: Sent 12 bytes...\nSTATE: +cups-waiting-for-job-completed,x\n", false},
        Row{"WaitingNoLonger", 12, "DEBUG: Sent 12 bytes...\nSTATE: -cups-waiting-for-job-completed\n", false},
        Row{"ErrorFirst", 12, "ERROR: Out of paper\nDEBUG: Sent 12 bytes...\n" + waiting, false},
        Row{"ErrorBetween", 12, "DEBUG: Sent 12 bytes...\nERROR:\n" + waiting, false},
        Row{"EmptyJob", 0, "DEBUG: Sent 0 bytes...\n" + waiting, false},
        Row{"EmptyJobAndEmptyLine", 0, "\n" + waiting, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(USBTransferProgress, TakesNothingMoreAfterAnError)
{
    USBTransferProgress progress(12);
    EXPECT_FALSE(progress.consume("ERROR: Out of paper\n"));
    EXPECT_FALSE(progress.consume("DEBUG: Sent 12 bytes...\n" + waiting));
}

TEST(USBTransferProgress, AcknowledgesOnlyOnce)
{
    USBTransferProgress progress(12);
    EXPECT_TRUE(progress.consume("DEBUG: Sent 12 bytes...\n" + waiting));
    EXPECT_FALSE(progress.consume(waiting));
    EXPECT_FALSE(progress.consume("DEBUG: Sent 12 bytes...\n" + waiting));
}

TEST(USBTransferProgress, HoldsALineOf65536BytesWithItsLineFeedAndNoLonger)
{
    for (const qsizetype length : {65536, 65537}) {
        USBTransferProgress progress(12);
        EXPECT_FALSE(progress.consume(QByteArray(length - 1, 'x')));
        EXPECT_FALSE(progress.consume("\n"));
        EXPECT_EQ(progress.consume("DEBUG: Sent 12 bytes...\n" + waiting), length == 65536);
    }
}

TEST(USBTransferProgress, CountsCompleteLinesAgainstTheBoundOfOneCall)
{
    const QByteArray acknowledgement = "DEBUG: Sent 12 bytes...\n" + waiting;
    for (const qsizetype length : {65536, 65537}) {
        USBTransferProgress progress(12);
        const QByteArray lines = QByteArray(length - acknowledgement.size(), '\n') + acknowledgement;
        EXPECT_EQ(progress.consume(lines), length == 65536);
        EXPECT_FALSE(progress.consume(acknowledgement));
    }
}

TEST(USBTransferProgress, AcknowledgesOnceWhicheverThreadBringsTheLine)
{
    USBTransferProgress progress(12);
    static_cast<void>(progress.consume("DEBUG: Sent 12 bytes...\n"));
    std::atomic<int> acknowledgements = 0;
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([&] { acknowledgements += progress.consume(waiting) ? 1 : 0; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(acknowledgements, 1);
}

} // namespace
} // namespace harrowmint
