#include "ScriptedDevice.h"

#include <gmock/gmock.h>

namespace harrowmint::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using usb::PrintJob;

class PrintJobTest : public PrintJobRig { };

TEST_F(PrintJobTest, TakesTheDeviceFromTheKernelAndGivesItBack)
{
    start();
    give("job");
    end();
    endTransfer();
    ASSERT_TRUE(m_job.isOver());
    m_job.giveBack();
    EXPECT_THAT(m_device.calls,
        ElementsAre("open /dev/bus/usb/001/002", "detach", "claim", "setting", "send 3", "release", "attach"));
}

TEST_F(PrintJobTest, GivesTheDeviceToTheKernelsDriverThatAnotherProgramLeftDetached)
{
    m_device.kernelDriver = false;
    start();
    end();
    m_job.giveBack();
    EXPECT_THAT(m_device.calls, ElementsAre("open /dev/bus/usb/001/002", "claim", "setting", "release", "attach"));
}

TEST_F(PrintJobTest, TellsTheExactCountAndTheWaitWhenEverythingIsAccepted)
{
    start();
    give("twelve bytes");
    end();
    EXPECT_THAT(m_lines, IsEmpty()) << "the printer has not got it yet";
    endTransfer();
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 12 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobTest, DoesNotCallAJobCompleteWhoseEndHasNotBeenRead)
{
    start();
    give("some");
    endTransfer();
    EXPECT_FALSE(m_job.isOver());
    give("more");
    endTransfer();
    EXPECT_FALSE(m_job.isOver());
    end();
    EXPECT_TRUE(m_job.isOver());
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 8 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobTest, CompletesAnEmptyJob)
{
    start();
    end();
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 0 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobTest, SendsTheJobUnchangedWhateverItsPieces)
{
    for (const std::size_t size : {std::size_t(1), PrintJob::pieceBytes - 1, PrintJob::pieceBytes,
             PrintJob::pieceBytes + 1, 3 * PrintJob::pieceBytes, std::size_t(900'000)}) {
        ScriptedDevice device;
        std::vector<std::string> lines;
        PrintJob job(device, [&lines](std::string_view line) { lines.emplace_back(line); });
        job.start(printer);
        std::string wanted;
        for (std::size_t i = 0; i < size; ++i)
            wanted += static_cast<char>(i * 31 + i / 251);
        std::string rest = wanted;
        while (!job.isOver()) {
            const auto room = job.room();
            const std::size_t count = std::min({room.size(), rest.size(), std::size_t(5000)});
            std::transform(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count), room.begin(),
                [](char byte) { return static_cast<std::byte>(byte); });
            if (count > 0)
                job.jobArrived(count, {});
            rest.erase(0, count);
            if (rest.empty())
                job.jobEnded();
            if (!device.inFlight.empty() && (job.room().empty() || rest.empty())) {
                const std::string taken = std::exchange(device.inFlight, {});
                device.accepted += taken;
                job.listener().dataEnded(usb::TransferEnd::Accepted, taken.size());
            }
        }
        EXPECT_EQ(device.accepted, wanted);
        EXPECT_EQ(lines.at(0), "DEBUG: Sent " + std::to_string(size) + " bytes...");
    }
}

TEST_F(PrintJobTest, HoldsTwoPiecesAndNoMore)
{
    start();
    const std::string piece(PrintJob::pieceBytes, 'x');
    EXPECT_EQ(m_job.room().size(), PrintJob::pieceBytes);
    EXPECT_EQ(give(piece), "");
    EXPECT_EQ(m_job.room().size(), PrintJob::pieceBytes) << "the next piece is read while the first one is sent";
    EXPECT_EQ(give(piece), "");
    EXPECT_TRUE(m_job.room().empty());
    endTransfer();
    EXPECT_EQ(m_job.room().size(), PrintJob::pieceBytes);
}

TEST_F(PrintJobTest, SendsWhatIsThereWithoutWaitingForAFullPiece)
{
    start();
    give("a");
    EXPECT_EQ(m_device.inFlight, "a");
    give("b");
    give("c");
    endTransfer();
    EXPECT_EQ(m_device.inFlight, "bc");
}

TEST_F(PrintJobTest, WaitsForASlowOrEndlessJobWithoutAskingAnything)
{
    start();
    give("begin");
    endTransfer();
    EXPECT_EQ(m_job.deadline(), std::nullopt);
    advance(std::chrono::hours(1));
    EXPECT_EQ(m_device.count("ask"), 0);
    EXPECT_FALSE(m_job.isOver());
}

TEST_F(PrintJobTest, AsksForThePortStatusOnlyAfterASecondWithoutData)
{
    start();
    give("job");
    advance(PrintJob::patience - Milliseconds(1));
    EXPECT_EQ(m_device.count("ask"), 0);
    EXPECT_THAT(m_lines, IsEmpty());
    advance(Milliseconds(1));
    EXPECT_EQ(m_device.count("ask"), 1);
    EXPECT_THAT(m_lines, ElementsAre("INFO: The printer takes no data."));
}

TEST_F(PrintJobTest, CountsATransferThatEndedDuringALongSleepAsTaken)
{
    start();
    give("job");
    sleep(std::chrono::minutes(10)); // the computer's: what has ended meanwhile is told first
    endTransfer();
    give("more");
    advance(PrintJob::patience - Milliseconds(1));
    EXPECT_THAT(m_lines, IsEmpty());
}

TEST_F(PrintJobTest, AsksAgainOnlyWhenTheLastAnswerHasCome)
{
    start();
    give("job");
    advance(std::chrono::seconds(5));
    EXPECT_EQ(m_device.count("ask"), 1);
    answerStatus(0x18);
    advance(PrintJob::secondLook);
    EXPECT_EQ(m_device.count("ask"), 2);
    EXPECT_EQ(m_lines.size(), 1U) << "it is told once";
}

TEST_F(PrintJobTest, WaitsOnForAPrinterThatTakesNoDataAndCallsItselfWell)
{
    start();
    give("job");
    for (int i = 0; i < 100; ++i) {
        advance(PrintJob::patience);
        answerStatus(0x18);
    }
    EXPECT_FALSE(m_job.isOver());
    end();
    endTransfer();
    EXPECT_EQ(m_job.status(), 0);
}

TEST_F(PrintJobTest, WaitsOnForAPrinterThatDoesNotTellItsStatus)
{
    start();
    give("job");
    for (int i = 0; i < 10; ++i) {
        advance(PrintJob::patience);
        answerStatus(std::nullopt);
    }
    EXPECT_FALSE(m_job.isOver());
}

TEST_F(PrintJobTest, ForgetsABadStatusWhenThePrinterTakesData)
{
    start();
    give("one");
    advance(PrintJob::patience);
    answerStatus(0x38);
    endTransfer();
    give("two");
    advance(PrintJob::patience);
    answerStatus(0x38);
    EXPECT_FALSE(m_job.isOver());
    EXPECT_EQ(m_device.count("cancel"), 0);
}

TEST_F(PrintJobTest, ForgetsABadStatusWhenTheNextOneIsGood)
{
    start();
    give("job");
    for (const std::uint8_t status : {0x38, 0x18, 0x38, 0x18}) {
        advance(PrintJob::patience);
        answerStatus(status);
    }
    EXPECT_EQ(m_device.count("cancel"), 0);
}

TEST_F(PrintJobTest, IgnoresAStatusThatComesAfterTheDataMovedOn)
{
    start();
    give("one");
    advance(PrintJob::patience);
    answerStatus(0x38);
    advance(PrintJob::secondLook);
    endTransfer();
    give("two");
    answerStatus(0x38); // asked before "one" was taken
    EXPECT_EQ(m_device.count("cancel"), 0);
}

} // namespace
} // namespace harrowmint::test
