#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace harrowmint::usb {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

int checked(int result)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category());
    return result;
}

/// A descriptor on which the signals that stop the program arrive, in this process and those that it starts.
int stopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    checked(::sigprocmask(SIG_BLOCK, &signals, nullptr));
    return checked(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// The side that waits for the process that works.
class Guard {
public:
    Guard(int signals, int stop, int report)
        : m_watched{{{signals, POLLIN, 0}, {STDERR_FILENO, 0, 0}, {report, POLLIN, 0}}}
        , m_stop(stop)
    {
    }

    int run()
    {
        while (!m_ended && (!m_deadline || Clock::now() < *m_deadline))
            serve();
        if (!m_status && !m_ended)
            say(messages::stoppedUncounted);
        return m_status.value_or(failed);
    }

private:
    void serve()
    {
        const auto wait = m_deadline ? std::chrono::ceil<milliseconds>(*m_deadline - Clock::now()) : milliseconds(-1);
        if (::poll(m_watched.data(), m_watched.size(), static_cast<int>(wait.count())) <= 0)
            return;
        if (m_watched[0].revents != 0 || m_watched[1].revents != 0)
            stop();
        if (m_watched[2].revents != 0)
            hear();
    }

    void stop()
    {
        ::close(m_stop); // hangs up at the other end
        m_watched[0].fd = m_watched[1].fd = -1;
        hurry();
    }

    void hear()
    {
        char status = 0;
        const ssize_t count = ::read(m_watched[2].fd, &status, 1);
        m_ended = count == 0;
        if (count == 1) {
            m_status = status;
            hurry();
        }
    }

    void hurry() { m_deadline = std::min(m_deadline.value_or(Clock::time_point::max()), Clock::now() + graceLimit); }

    std::array<pollfd, 3> m_watched; ///< the signals, our standard error, the report
    int m_stop;
    std::optional<int> m_status;
    bool m_ended = false;
    std::optional<Clock::time_point> m_deadline;
};

} // namespace

int guard(const std::function<void(int stop, int report)>& work)
{
    const int signals = stopSignals();
    std::array<int, 2> stop{};
    std::array<int, 2> report{};
    checked(::pipe2(stop.data(), O_CLOEXEC));
    checked(::pipe2(report.data(), O_CLOEXEC));
    if (checked(::fork()) == 0) {
        for (const int ours : {signals, stop[1], report[0]})
            ::close(ours);
        try {
            work(stop[0], report[1]);
        } catch (const std::exception& error) {
            say(std::string(messages::cannotWork) + error.what());
        }
        ::_exit(failed);
    }
    ::close(stop[0]);
    ::close(report[1]);
    return Guard(signals, stop[1], report[0]).run();
}

} // namespace harrowmint::usb
