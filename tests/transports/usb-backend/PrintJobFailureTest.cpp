#include "ScriptedDevice.h"

#include <gmock/gmock.h>

namespace harrowmint::test {
namespace {

using ::testing::ElementsAre;
using usb::PrintJob;
using usb::TransferEnd;
using usb::UsbResult;

class PrintJobFailure : public PrintJobRig { };

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
