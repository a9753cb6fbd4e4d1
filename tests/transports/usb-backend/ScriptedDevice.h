#pragma once

#include "transports/linux/usb-backend/PrintJob.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace harrowmint::test {

/// A USB device whose every answer the test gives: it notes what is asked of it, in order.
class ScriptedDevice final : public usb::UsbDevice {
public:
    usb::UsbResult openResult = usb::UsbResult::Done;
    bool kernelDriver = true;
    usb::UsbResult detachResult = usb::UsbResult::Done;
    usb::UsbResult claimResult = usb::UsbResult::Done;
    usb::UsbResult settingResult = usb::UsbResult::Done;
    usb::UsbResult sendResult = usb::UsbResult::Done;
    usb::UsbResult askResult = usb::UsbResult::Done;

    std::vector<std::string> calls;
    std::string inFlight; ///< the bytes of the transfer that has not ended
    std::string accepted; ///< all that the printer took

    [[nodiscard]] usb::UsbResult open(const usb::PrinterLocation& printer) override;
    [[nodiscard]] bool hasKernelDriver() override { return kernelDriver; }
    [[nodiscard]] usb::UsbResult detachKernelDriver() override;
    [[nodiscard]] usb::UsbResult claim() override;
    [[nodiscard]] usb::UsbResult chooseSetting() override;
    [[nodiscard]] usb::UsbResult send(std::span<const std::byte> bytes) override;
    void cancelData() override { calls.emplace_back("cancel"); }
    [[nodiscard]] usb::UsbResult askStatus() override;
    void clearStall() override { calls.emplace_back("clear stall"); }
    void release() override { calls.emplace_back("release"); }
    void attachKernelDriver() override { calls.emplace_back("attach"); }

    [[nodiscard]] int count(const std::string& call) const;
};

/// A job on a scripted device, on a clock that only the test moves.
class PrintJobRig : public ::testing::Test {
protected:
    using Milliseconds = std::chrono::milliseconds;

    static const usb::PrinterLocation printer;

    void start() { m_job.start(printer); }
    /// Puts as much of `text` into the job's room as it takes; returns what is left.
    std::string give(std::string text);
    void end() { m_job.jobEnded(); }
    /// The printer takes `bytes` of the transfer in flight (all of it), and it ends so.
    void endTransfer(usb::TransferEnd end = usb::TransferEnd::Accepted, std::size_t bytes = std::string::npos);
    void answerStatus(std::optional<std::uint8_t> status);
    void advance(Milliseconds duration);
    /// Time passes without anybody noticing.
    void sleep(Milliseconds duration) { m_now += duration; }
    void stop() { m_job.stop(m_now); }

    using Lines = std::vector<std::string>;

    /// The job has failed with these lines; what was taken of the device is given back.
    void expectFailure(const Lines& lines);

    ScriptedDevice m_device;
    Lines m_lines;
    usb::PrintJob m_job{m_device, [this](std::string_view line) { m_lines.emplace_back(line); }};

private:
    usb::PrintJob::Time m_now{};
};

} // namespace harrowmint::test
