#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
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

/// On the report, before the place of the device that is being taken; no exit status.
constexpr char takenMark = 'T';

/// A device's place as it goes over the report.
struct Place {
    int bus;
    int address;
    int interface;
};

/// Gives the device back in a process of its own, which the device may hold for long.
void giveBackApart(const PrinterLocation& printer, const std::function<void(const PrinterLocation&)>& giveBack)
{
    if (::fork() != 0)
        return;
    leaveStreams();
    try {
        giveBack(printer);
    } catch (const std::exception&) {
        ::_exit(failed); // there is nothing more that could be done about it
    }
    ::_exit(succeeded);
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
        if (!m_status)
            say(m_ended ? messages::brokenOff : messages::stoppedUncounted);
        return m_status.value_or(failed);
    }
    /// The device that died with the process that had taken it.
    [[nodiscard]] std::optional<PrinterLocation> orphan() const
    {
        return m_ended && !m_status ? m_taken : std::optional<PrinterLocation>();
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
        sayWithoutWaiting();
        hurry();
    }

    void hear()
    {
        char byte = 0;
        const ssize_t count = ::read(m_watched[2].fd, &byte, 1);
        m_ended = count == 0;
        if (count == 1 && byte == takenMark) {
            hearPlace();
        } else if (count == 1) {
            m_status = byte;
            hurry();
        }
    }

    void hearPlace()
    {
        Place place{};
        if (::read(m_watched[2].fd, &place, sizeof place) == sizeof place)
            m_taken = PrinterLocation{{}, place.bus, place.address, place.interface};
    }

    void hurry() { m_deadline = std::min(m_deadline.value_or(Clock::time_point::max()), Clock::now() + graceLimit); }

    std::array<pollfd, 3> m_watched; ///< the signals, our standard error, the report
    int m_stop;
    std::optional<int> m_status;
    std::optional<PrinterLocation> m_taken;
    bool m_ended = false;
    std::optional<Clock::time_point> m_deadline;
};

} // namespace

void announce(int report, const PrinterLocation& printer)
{
    const Place place{printer.bus, printer.address, printer.interface};
    std::array<char, 1 + sizeof place> bytes{takenMark};
    std::memcpy(bytes.data() + 1, &place, sizeof place);
    static_cast<void>(!::write(report, bytes.data(), bytes.size())); // a pipe takes so few at once
}

void tell(int report, int status)
{
    const char byte = static_cast<char>(status);
    static_cast<void>(!::write(report, &byte, 1));
}

int guard(
    const std::function<void(int stop, int report)>& work, const std::function<void(const PrinterLocation&)>& giveBack)
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
            tell(report[1], failed);
        }
        ::_exit(failed);
    }
    ::close(stop[0]);
    ::close(report[1]);
    Guard guard(signals, stop[1], report[0]);
    const int status = guard.run();
    if (const auto printer = guard.orphan())
        giveBackApart(*printer, giveBack);
    return status;
}

} // namespace harrowmint::usb
