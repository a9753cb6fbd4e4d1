#include "ScriptedDevice.h"

#include <gmock/gmock.h>

namespace harrowmint::test {
namespace {

using ::testing::ElementsAre;
using usb::PrintJob;
using usb::TransferEnd;
using usb::UsbResult;

class PrintJobFailure : public PrintJobRig {
protected:
    /// The job has failed with these lines; what was taken of the device is given back.
    void expectFailure(const Lines& lines)
    {
        ASSERT_TRUE(m_job.isOver());
        EXPECT_EQ(m_job.status(), 1);
        EXPECT_EQ(m_lines, lines);
        EXPECT_TRUE(m_job.room().empty()) << "nothing more is read";
        m_job.giveBack();
        const bool hasClaimed = m_device.count("claim") == 1 && m_device.claimResult == UsbResult::Done;
        EXPECT_EQ(m_device.count("release"), hasClaimed ? 1 : 0);
        const bool hasDetached = m_device.count("detach") == 1 && m_device.detachResult == UsbResult::Done;
        EXPECT_EQ(m_device.count("attach"), hasClaimed || hasDetached ? 1 : 0);
    }
};

struct OpenFailure {
    const char* name;
    UsbResult result;
    const char* line;
};

constexpr OpenFailure openFailures[] = {
    {"NoPermission", UsbResult::NoPermission,
        "ERROR: No permission to open /dev/bus/usb/001/002. Install the udev rule of Harrowmint Printer or join the "
        "group lp, then plug the printer in again."},
    {"Absent", UsbResult::Absent, "ERROR: The printer is not connected or switched off."},
    {"Busy", UsbResult::Busy, "ERROR: Another program is using the printer."},
    {"NoPrinter", UsbResult::NoPrinter, "ERROR: The device cannot receive print data."},
    {"Failed", UsbResult::Failed, "ERROR: Cannot open /dev/bus/usb/001/002."},
};

class PrintJobOpenFailure : public PrintJobFailure, public ::testing::WithParamInterface<OpenFailure> { };

TEST_P(PrintJobOpenFailure, OfTheNodeIsTold)
{
    m_device.openResult = GetParam().result;
    start();
    expectFailure({GetParam().line});
}

TEST_P(PrintJobOpenFailure, OfTheDetachmentIsTold)
{
    m_device.detachResult = GetParam().result;
    start();
    expectFailure({GetParam().line});
}

TEST_P(PrintJobOpenFailure, OfTheClaimIsToldAndTheKernelsDriverComesBack)
{
    m_device.claimResult = GetParam().result;
    start();
    expectFailure({GetParam().line});
}

TEST_P(PrintJobOpenFailure, OfTheClaimLeavesADeviceAloneThatHadNoKernelDriver)
{
    m_device.kernelDriver = false; // another program has it
    m_device.claimResult = GetParam().result;
    start();
    expectFailure({GetParam().line});
}

TEST_P(PrintJobOpenFailure, OfTheSettingIsToldAndTheDeviceGivenBack)
{
    m_device.settingResult = GetParam().result;
    start();
    expectFailure({GetParam().line});
}

INSTANTIATE_TEST_SUITE_P(Results, PrintJobOpenFailure, ::testing::ValuesIn(openFailures),
    [](const auto& row) { return std::string(row.param.name); });

struct EndFailure {
    const char* name;
    TransferEnd end;
    const char* line;
};

constexpr EndFailure endFailures[] = {
    {"Stalled", TransferEnd::Stalled, "ERROR: The printer refused the data."},
    {"Unplugged", TransferEnd::Unplugged, "ERROR: The printer was unplugged or switched off."},
    {"Cancelled", TransferEnd::Cancelled, "ERROR: The connection to the printer failed."},
    {"Failed", TransferEnd::Failed, "ERROR: The connection to the printer failed."},
};

class PrintJobEndFailure : public PrintJobFailure, public ::testing::WithParamInterface<EndFailure> { };

TEST_P(PrintJobEndFailure, CountsWhatWasAcceptedOfThePartialTransferToo)
{
    start();
    give(std::string(1000, 'x'));
    endTransfer();
    give(std::string(500, 'y'));
    endTransfer(GetParam().end, 123);
    expectFailure({"DEBUG: Sent 1123 bytes...", GetParam().line});
}

INSTANTIATE_TEST_SUITE_P(Ends, PrintJobEndFailure, ::testing::ValuesIn(endFailures),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(PrintJobFailure, ClearsAStallBeforeTheDeviceIsGivenBack)
{
    start();
    give("job");
    endTransfer(TransferEnd::Stalled, 0);
    expectFailure({"DEBUG: Sent 0 bytes...", "ERROR: The printer refused the data."});
    EXPECT_THAT(m_device.calls,
        ElementsAre(
            "open /dev/bus/usb/001/002", "detach", "claim", "setting", "send 3", "clear stall", "release", "attach"));
}

TEST_F(PrintJobFailure, IsToldWhenATransferCannotBeStarted)
{
    start();
    give("first");
    endTransfer();
    m_device.sendResult = UsbResult::Failed;
    give("second");
    expectFailure({"DEBUG: Sent 5 bytes...", "ERROR: The connection to the printer failed."});
}

TEST_F(PrintJobFailure, IsAnUnpluggedPrinterWhenATransferFindsNoDevice)
{
    start();
    m_device.sendResult = UsbResult::Absent;
    give("job");
    expectFailure({"DEBUG: Sent 0 bytes...", "ERROR: The printer was unplugged or switched off."});
}

TEST_F(PrintJobFailure, IsToldWhenTheJobCannotBeRead)
{
    start();
    give("part");
    m_job.jobUnreadable();
    endTransfer(TransferEnd::Cancelled, 2);
    expectFailure({"DEBUG: Sent 2 bytes...", "ERROR: The job cannot be read."});
}

TEST_F(PrintJobFailure, ToReadTheJobTellsOfBytesThatAreNotCountedInTime)
{
    start();
    give("part");
    m_job.jobUnreadable();
    advance(PrintJob::cancelling);
    expectFailure(
        {"DEBUG: Sent 0 bytes...", "ERROR: The job cannot be read; the printer may have taken more than was counted."});
}

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

class PrintJobBadStatus : public PrintJobFailure, public ::testing::WithParamInterface<BadStatus> {
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

TEST_F(PrintJobFailure, OfAStopCountsWhatTheCancelledTransferHadSent)
{
    start();
    give(std::string(1000, 'x'));
    stop();
    EXPECT_EQ(m_device.count("cancel"), 1);
    EXPECT_FALSE(m_job.isOver()) << "the count is not known yet";
    endTransfer(TransferEnd::Cancelled, 640);
    expectFailure({"DEBUG: Sent 640 bytes...", "ERROR: The job was stopped."});
}

TEST_F(PrintJobFailure, OfAStopIsImmediateWhileTheJobIsAwaited)
{
    start();
    stop();
    expectFailure({"DEBUG: Sent 0 bytes...", "ERROR: The job was stopped."});
}

TEST_F(PrintJobFailure, OfAStopSaysSoWhenTheCountIsNotToBeHadInTime)
{
    start();
    give("job");
    stop();
    advance(PrintJob::cancelling - Milliseconds(1));
    EXPECT_FALSE(m_job.isOver());
    advance(Milliseconds(1));
    expectFailure(
        {"DEBUG: Sent 0 bytes...", "ERROR: The job was stopped; the printer may have taken more than was counted."});
}

TEST_F(PrintJobFailure, IsToldOnceHoweverOftenItIsStopped)
{
    start();
    give("job");
    stop();
    stop();
    EXPECT_EQ(m_device.count("cancel"), 1);
    endTransfer(TransferEnd::Cancelled, 0);
    stop();
    expectFailure({"DEBUG: Sent 0 bytes...", "ERROR: The job was stopped."});
}

TEST_F(PrintJobFailure, IsNoneWhenTheStopCameAfterTheLastByte)
{
    start();
    give("job");
    end();
    stop();
    endTransfer();
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 3 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobFailure, IsNoneWhenTheTransferThatAStopCancelledHadSentAll)
{
    start();
    give("job");
    end();
    stop();
    endTransfer(TransferEnd::Cancelled, 3);
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 3 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobFailure, OfAStopStaysOneWhenMoreOfTheJobWaits)
{
    start();
    give("first");
    give("second");
    end();
    stop();
    endTransfer();
    expectFailure({"DEBUG: Sent 5 bytes...", "ERROR: The job was stopped."});
}

TEST_F(PrintJobFailure, OfAStopDuringAStatusRequestIgnoresTheAnswer)
{
    start();
    give("job");
    advance(PrintJob::patience);
    stop();
    answerStatus(0x38);
    endTransfer(TransferEnd::Cancelled, 0);
    expectFailure({"INFO: The printer takes no data.", "DEBUG: Sent 0 bytes...", "ERROR: The job was stopped."});
}

TEST_F(PrintJobFailure, OfTheProgramItselfGivesTheDeviceBack)
{
    usb::serve(m_job, [this] {
        start();
        give("one");
        endTransfer();
        throw std::runtime_error("no memory");
    });
    expectFailure({"DEBUG: Sent 3 bytes...", "ERROR: The program cannot work: no memory"});
    EXPECT_EQ(m_device.count("attach"), 1);
}

TEST_F(PrintJobFailure, OfTheProgramItselfTellsOfATransferThatIsNotCounted)
{
    usb::serve(m_job, [this] {
        start();
        give("one");
        throw std::runtime_error("no memory");
    });
    expectFailure({"DEBUG: Sent 0 bytes...",
        "ERROR: The program cannot work: no memory; the printer may have taken more than was counted."});
}

TEST_F(PrintJobFailure, OfTheProgramItselfChangesNothingAboutAJobThatIsOver)
{
    usb::serve(m_job, [this] {
        start();
        end();
        throw std::runtime_error("no memory");
    });
    EXPECT_EQ(m_job.status(), 0);
    EXPECT_THAT(m_lines, ElementsAre("DEBUG: Sent 0 bytes...", "STATE: +cups-waiting-for-job-completed"));
}

TEST_F(PrintJobFailure, IsATransferThatEndsWellWithFewerBytesThanItHad)
{
    start();
    give("twelve bytes");
    end();
    endTransfer(TransferEnd::Accepted, 11);
    expectFailure({"DEBUG: Sent 11 bytes...", "ERROR: The connection to the printer failed."});
}

TEST_F(PrintJobFailure, OfAStopStaysOneWhenTheLastTransferEndsWellButShort)
{
    start();
    give("job");
    end();
    stop();
    endTransfer(TransferEnd::Accepted, 2);
    expectFailure({"DEBUG: Sent 2 bytes...", "ERROR: The job was stopped."});
}

} // namespace
} // namespace harrowmint::test
