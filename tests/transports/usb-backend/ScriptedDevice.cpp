#include "ScriptedDevice.h"

#include <algorithm>
#include <cstring>

namespace harrowmint::test {

using usb::UsbResult;

UsbResult ScriptedDevice::open(const usb::PrinterLocation& printer)
{
    calls.push_back("open " + printer.node());
    return openResult;
}

UsbResult ScriptedDevice::detachKernelDriver()
{
    calls.emplace_back("detach");
    return detachResult;
}

UsbResult ScriptedDevice::claim()
{
    calls.emplace_back("claim");
    return claimResult;
}

UsbResult ScriptedDevice::chooseSetting()
{
    calls.emplace_back("setting");
    return settingResult;
}

UsbResult ScriptedDevice::send(std::span<const std::byte> bytes)
{
    EXPECT_TRUE(inFlight.empty()) << "one transfer at a time";
    calls.push_back("send " + std::to_string(bytes.size()));
    if (sendResult == UsbResult::Done)
        inFlight.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return sendResult;
}

UsbResult ScriptedDevice::askStatus()
{
    calls.emplace_back("ask");
    return askResult;
}

int ScriptedDevice::count(const std::string& call) const
{
    return static_cast<int>(std::count(calls.begin(), calls.end(), call));
}

const usb::PrinterLocation PrintJobRig::printer{"1-1", 1, 2, 0};

std::string PrintJobRig::give(std::string text)
{
    const auto room = m_job.room();
    const std::size_t count = std::min(text.size(), room.size());
    if (count > 0) {
        std::memcpy(room.data(), text.data(), count);
        m_job.jobArrived(count, m_now);
    }
    return text.substr(count);
}

void PrintJobRig::endTransfer(usb::TransferEnd end, std::size_t bytes)
{
    ASSERT_FALSE(m_device.inFlight.empty());
    const std::string taken = std::exchange(m_device.inFlight, {}).substr(0, bytes);
    m_device.accepted += taken;
    m_job.setTime(m_now);
    m_job.listener().dataEnded(end, taken.size());
}

void PrintJobRig::answerStatus(std::optional<std::uint8_t> status)
{
    m_job.setTime(m_now);
    m_job.listener().statusEnded(status);
    m_job.passTime(m_now);
}

void PrintJobRig::advance(Milliseconds duration)
{
    const auto end = m_now + duration;
    while (m_job.deadline() && *m_job.deadline() <= end) {
        m_now = std::max(m_now, *m_job.deadline());
        m_job.passTime(m_now);
    }
    m_now = end;
    m_job.passTime(m_now);
}

void PrintJobRig::expectFailure(const Lines& lines)
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

} // namespace harrowmint::test
