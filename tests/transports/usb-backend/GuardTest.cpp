#include "transports/linux/usb-backend/Program.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace harrowmint::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using GiveBack = std::function<void(const usb::PrinterLocation&)>;
using Work = std::function<void(int stop, int report)>;

/// A guard in a process of its own, whose standard error the test reads.
class GuardTest : public ::testing::Test {
protected:
    void begin(
        const Work& work, const GiveBack& giveBack = [](const usb::PrinterLocation&) {})
    {
        int error[2];
        int life[2];
        ASSERT_EQ(::pipe2(error, O_CLOEXEC), 0);
        ASSERT_EQ(::pipe2(life, O_CLOEXEC), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(error[1], STDERR_FILENO);
            for (const int descriptor : {error[0], error[1], life[0]})
                ::close(descriptor);
            m_life = life[1];
            ::_exit(usb::guard(work, giveBack));
        }
        ::close(error[1]);
        ::close(life[1]);
        m_error = error[0];
        m_life = life[0];
    }
    /// The guard's exit status.
    int status() const
    {
        int status = -1;
        ::waitpid(m_process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Whether the guarded process has ended within a minute.
    [[nodiscard]] bool workEnds() const
    {
        pollfd life{m_life, 0, 0};
        return ::poll(&life, 1, 60'000) == 1;
    }
    std::string error() const
    {
        std::string result;
        char bytes[256];
        pollfd readable{m_error, POLLIN, 0};
        while (::poll(&readable, 1, 100) == 1) {
            const ssize_t count = ::read(m_error, bytes, sizeof bytes);
            if (count <= 0)
                break;
            result.append(bytes, static_cast<std::size_t>(count));
        }
        return result;
    }
    void waitForLine() const
    {
        char byte = 0;
        while (::read(m_error, &byte, 1) == 1 && byte != '\n') { }
    }
    void closeError() { ::close(std::exchange(m_error, -1)); }
    void TearDown() override
    {
        ::close(std::exchange(m_error, -1));
        ::close(std::exchange(m_life, -1));
    }

    static void waitForStop(int stop)
    {
        pollfd watched{stop, POLLIN, 0};
        ::poll(&watched, 1, 60'000);
    }
    static void tell(int report, char status) { EXPECT_EQ(::write(report, &status, 1), 1); }
    /// As a device that lets go of nobody would.
    [[noreturn]] static void hang()
    {
        ::alarm(5); // the test's own end
        while (true)
            ::pause();
    }

    pid_t m_process = -1;

private:
    int m_error = -1;
    int m_life = -1;
};

TEST_F(GuardTest, EndsWithTheStatusThatWasReported)
{
    for (const int expected : {0, 1}) {
        begin([expected](int, int report) {
            tell(report, static_cast<char>(expected));
            ::_exit(expected);
        });
        EXPECT_EQ(status(), expected);
    }
}

TEST_F(GuardTest, EndsSoonAfterTheReportThoughTheDeviceIsStillHeld)
{
    begin([](int, int report) {
        tell(report, 0);
        hang();
    });
    const auto start = Clock::now();
    EXPECT_EQ(status(), 0);
    EXPECT_LT(Clock::now() - start, 4s) << "the work ends after 5 s only";
}

TEST_F(GuardTest, FailsAndSaysSoWhenTheWorkDiesWithoutAReport)
{
    begin([](int, int) { ::raise(SIGKILL); });
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(error(), "ERROR: The program was broken off; the printer may have taken more than was counted.\n");
}

/// Where a device that was given back is noted.
class GivenBack {
public:
    GivenBack() { EXPECT_EQ(::pipe(m_pipe), 0); }
    GivenBack(const GivenBack&) = delete;
    GivenBack& operator=(const GivenBack&) = delete;
    ~GivenBack()
    {
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }

    [[nodiscard]] GiveBack note() const
    {
        return [end = m_pipe[1]](const usb::PrinterLocation& printer) {
            const std::string text = printer.node() + ' ' + std::to_string(printer.interface);
            EXPECT_EQ(::write(end, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        };
    }
    /// What was noted within `limit`.
    [[nodiscard]] std::string text(std::chrono::milliseconds limit) const
    {
        char bytes[256];
        pollfd readable{m_pipe[0], POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(limit.count())) != 1)
            return {};
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(::read(m_pipe[0], bytes, sizeof bytes), 0))};
    }

private:
    int m_pipe[2]{};
};

TEST_F(GuardTest, GivesTheDeviceBackThatTheWorkDiedWith)
{
    const GivenBack device;
    begin(
        [](int, int report) {
            usb::announce(report, {"1-1", 1, 12, 3});
            ::raise(SIGKILL);
        },
        device.note());
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(device.text(60s), "/dev/bus/usb/001/012 3");
}

TEST_F(GuardTest, LeavesTheDeviceToWorkThatSaidItsLastWord)
{
    const GivenBack device;
    begin(
        [](int, int report) {
            usb::announce(report, {"1-1", 1, 12, 3});
            usb::tell(report, 0);
            ::_exit(0);
        },
        device.note());
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(device.text(300ms), "");
    EXPECT_EQ(error(), "");
}

TEST_F(GuardTest, FailsAndSaysWhyWhenTheWorkThrows)
{
    begin([](int, int) { throw std::runtime_error("LIBUSB_ERROR_OTHER"); });
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(error(), "ERROR: The program cannot work: LIBUSB_ERROR_OTHER\n");
}

TEST_F(GuardTest, PassesEachStoppingSignalOn)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        begin([](int stop, int report) {
            usb::say("ready");
            waitForStop(stop);
            usb::say("stopped");
            tell(report, 1);
            ::_exit(1);
        });
        waitForLine();
        ::kill(m_process, signal);
        EXPECT_EQ(status(), 1);
        EXPECT_EQ(error(), "stopped\n");
        EXPECT_TRUE(workEnds());
    }
}

TEST_F(GuardTest, EndsWithinItsGraceWhenTheWorkIsHeldByTheDevice)
{
    begin([](int, int) {
        usb::say("ready");
        hang();
    });
    waitForLine();
    const auto start = Clock::now();
    ::kill(m_process, SIGTERM);
    EXPECT_EQ(status(), 1);
    EXPECT_LT(Clock::now() - start, 4s) << "the work ends after 5 s only";
    EXPECT_EQ(error(), "ERROR: The job was stopped; the printer may have taken more than was counted.\n");
}

/// So that no reader takes a byte more.
void fillStandardError()
{
    const int flags = ::fcntl(STDERR_FILENO, F_GETFL);
    ::fcntl(STDERR_FILENO, F_SETFL, flags | O_NONBLOCK);
    while (::write(STDERR_FILENO, "", 1) == 1) { }
    ::fcntl(STDERR_FILENO, F_SETFL, flags);
}

TEST_F(GuardTest, EndsWithinTwoTenthsOfASecondThoughNobodyDrainsItsStandardError)
{
    auto shortest = Clock::duration::max();
    // A busy machine may delay one of them.
    for (int round = 0; round < 10 && shortest >= 200ms; ++round) {
        int pipe[2];
        ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
        begin([ready = pipe[1]](int, int) {
            fillStandardError();
            static_cast<void>(!::write(ready, "", 1));
            hang();
        });
        char byte = 1;
        ASSERT_EQ(::read(pipe[0], &byte, 1), 1);
        const auto start = Clock::now();
        ::kill(m_process, SIGTERM);
        EXPECT_EQ(status(), 1);
        shortest = std::min(shortest, Clock::now() - start);
        TearDown();
        ::close(pipe[0]);
        ::close(pipe[1]);
    }
    EXPECT_LT(shortest, 200ms);
}

TEST_F(GuardTest, SaysNothingMoreToAFullStandardErrorOnceItIsStopping)
{
    begin([](int, int report) {
        fillStandardError();
        usb::sayWithoutWaiting();
        const auto start = Clock::now();
        for (int line = 0; line < 100; ++line)
            usb::say("ERROR: The job was stopped.");
        usb::tell(report, Clock::now() - start < 5s ? 0 : 1);
        ::_exit(0);
    });
    EXPECT_EQ(status(), 0) << "a wait of 0.1 s for each line";
}

TEST(GuardLimits, LeaveRoomWithinTwoTenthsOfASecond)
{
    EXPECT_LT(usb::graceLimit, 200ms);
}

TEST_F(GuardTest, StopsWhenNobodyReadsItsStandardErrorAnyMore)
{
    begin([](int stop, int report) {
        usb::say("ready");
        waitForStop(stop);
        tell(report, 1);
        ::_exit(1);
    });
    waitForLine();
    closeError();
    EXPECT_EQ(status(), 1);
    EXPECT_TRUE(workEnds());
}

TEST_F(GuardTest, StopsTheWorkEvenWhenItIsKilledItself)
{
    begin([](int stop, int) {
        usb::say("ready");
        waitForStop(stop);
        ::_exit(1);
    });
    waitForLine();
    ::kill(m_process, SIGKILL);
    EXPECT_EQ(status(), -1);
    EXPECT_TRUE(workEnds());
}

} // namespace
} // namespace harrowmint::test
