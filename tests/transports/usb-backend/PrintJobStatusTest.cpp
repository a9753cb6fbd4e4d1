#include "ScriptedDevice.h"

namespace harrowmint::test {
namespace {

using usb::PrintJob;
using usb::TransferEnd;

struct BadStatus {
    const char* name;
    std::uint8_t status;
    const char* line;
};

constexpr BadStatus badStatuses[] = {
    {"PaperOut", 0x38, "ERROR: The printer is out of paper."},
    {"PaperOutAndError", 0x30, "ERROR: The printer is out of paper."},
    {"Error", 0x10, "ERROR: The printer reports an error."},
    {"NothingSet", 0x00, "ERROR: The printer reports an error."},
};

class PrintJobBadStatus : public PrintJobRig, public ::testing::WithParamInterface<BadStatus> {
protected:
    void answerBadlyTwice(std::uint8_t status)
    {
        advance(PrintJob::patience);
        answerStatus(status);
        advance(PrintJob::secondLook);
        answerStatus(status);
    }
};

TEST_P(PrintJobBadStatus, TwiceRunningEndsTheJobAMomentAfterTheSecond)
{
    start();
    give(std::string(700, 'x'));
    advance(PrintJob::patience);
    answerStatus(GetParam().status);
    EXPECT_EQ(m_device.count("cancel"), 0);
    advance(PrintJob::secondLook - Milliseconds(1));
    EXPECT_EQ(m_device.count("ask"), 1);
    advance(Milliseconds(1));
    answerStatus(GetParam().status);
    EXPECT_EQ(m_device.count("cancel"), 1);
    endTransfer(TransferEnd::Cancelled, 0);
    expectFailure({"INFO: The printer takes no data.", "DEBUG: Sent 0 bytes...", GetParam().line});
}

TEST_P(PrintJobBadStatus, DoesNotEndAJobOfWhichThePrinterStillTakesBytes)
{
    start();
    give(std::string(600, 'x') + std::string(100, 'y'));
    end();
    std::size_t left = 700;
    for (const std::size_t taken : {64, 512, 64}) {
        EXPECT_EQ(m_device.inFlight.size(), left);
        answerBadlyTwice(GetParam().status);
        endTransfer(TransferEnd::Cancelled, taken);
        left -= taken;
    }
    EXPECT_FALSE(m_job.isOver());
    endTransfer();
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_EQ(m_device.accepted, std::string(600, 'x') + std::string(100, 'y'));
    EXPECT_EQ(m_lines.at(m_lines.size() - 2), "DEBUG: Sent 700 bytes...");
}

TEST_P(PrintJobBadStatus, EndsAJobOfWhichThePrinterTakesNoMoreBytes)
{
    start();
    give(std::string(700, 'x'));
    answerBadlyTwice(GetParam().status);
    endTransfer(TransferEnd::Cancelled, 64);
    answerBadlyTwice(GetParam().status);
    endTransfer(TransferEnd::Cancelled, 0);
    constexpr auto quiet = "INFO: The printer takes no data.";
    expectFailure({quiet, quiet, "DEBUG: Sent 64 bytes...", GetParam().line});
}

TEST_P(PrintJobBadStatus, IsForgottenWhenThePrinterHasTakenAllAfterAll)
{
    for (const TransferEnd how : {TransferEnd::Accepted, TransferEnd::Cancelled}) {
        ScriptedDevice device;
        PrintJob job(device, [](std::string_view) {});
        job.start(printer);
        job.room()[0] = std::byte(1);
        job.jobArrived(1, {});
        job.jobEnded();
        for (const auto at : {PrintJob::patience, PrintJob::patience + PrintJob::secondLook}) {
            job.passTime(PrintJob::Time(at));
            job.listener().statusEnded(GetParam().status);
        }
        ASSERT_EQ(device.count("cancel"), 1);
        job.listener().dataEnded(how, 1);
        EXPECT_TRUE(job.isOver());
        EXPECT_EQ(job.status(), 0);
    }
}

TEST_P(PrintJobBadStatus, TellsOfBytesThatAreNotCountedInTime)
{
    start();
    give(std::string(700, 'x'));
    answerBadlyTwice(GetParam().status);
    advance(PrintJob::cancelling);
    std::string line = GetParam().line;
    line.replace(line.size() - 1, 1, "; the printer may have taken more than was counted.");
    expectFailure({"INFO: The printer takes no data.", "DEBUG: Sent 0 bytes...", line});
}

TEST_P(PrintJobBadStatus, GivesWayToAStopWhileTheBytesAreCounted)
{
    start();
    give(std::string(700, 'x'));
    answerBadlyTwice(GetParam().status);
    stop();
    EXPECT_EQ(m_device.count("cancel"), 1);
    endTransfer(TransferEnd::Cancelled, 64);
    expectFailure({"INFO: The printer takes no data.", "DEBUG: Sent 64 bytes...", "ERROR: The job was stopped."});
}

TEST_P(PrintJobBadStatus, GivesWayToAFailureWhileTheBytesAreCounted)
{
    start();
    give(std::string(700, 'x'));
    answerBadlyTwice(GetParam().status);
    endTransfer(TransferEnd::Unplugged, 64);
    expectFailure({"INFO: The printer takes no data.", "DEBUG: Sent 64 bytes...",
        "ERROR: The printer was unplugged or switched off."});
}

INSTANTIATE_TEST_SUITE_P(Statuses, PrintJobBadStatus, ::testing::ValuesIn(badStatuses),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace harrowmint::test
