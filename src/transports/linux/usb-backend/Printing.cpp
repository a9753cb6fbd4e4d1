#include "transports/linux/usb-backend/LibusbDevice.h"
#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/PrintJob.h"
#include "transports/linux/usb-backend/Program.h"
#include "transports/linux/usb-backend/Survey.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace harrowmint::usb {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

bool isStopped(int stop)
{
    pollfd watched{stop, POLLIN, 0};
    return ::poll(&watched, 1, 0) != 0;
}

/// Serves one job until its last word: the job's bytes, the device's events, the stop and the clock.
class Printing {
public:
    Printing(LibusbDevice& device, PrintJob& job, int stop)
        : m_device(device)
        , m_job(job)
        , m_stop(stop)
    {
    }

    void run()
    {
        while (!m_job.isOver())
            serve();
    }

private:
    void serve()
    {
        std::vector<pollfd> watched = m_device.descriptors();
        watched.push_back({m_job.room().empty() ? -1 : STDIN_FILENO, POLLIN, 0});
        watched.push_back({m_stop, POLLIN, 0});
        static_cast<void>(::poll(watched.data(), watched.size(), wait()));
        const Clock::time_point now = Clock::now();
        m_job.setTime(now);
        m_device.handleEvents();
        m_job.passTime(now);
        if (watched.back().revents != 0) {
            m_stop = -1;
            sayWithoutWaiting();
            m_job.stop(Clock::now());
        }
        if (watched[watched.size() - 2].revents != 0)
            readJob();
    }

    [[nodiscard]] int wait() const
    {
        const std::optional<PrintJob::Time> deadline = m_job.deadline();
        if (!deadline)
            return -1;
        const auto wait = std::chrono::ceil<milliseconds>(*deadline - Clock::now());
        return static_cast<int>(std::max(wait, milliseconds::zero()).count());
    }

    void readJob()
    {
        const std::span<std::byte> room = m_job.room();
        if (room.empty())
            return; // an event has ended the job
        const ssize_t count = ::read(STDIN_FILENO, room.data(), room.size());
        if (count > 0)
            m_job.jobArrived(static_cast<std::size_t>(count), Clock::now());
        else if (count == 0)
            m_job.jobEnded();
        else if (errno != EINTR && errno != EAGAIN)
            m_job.jobUnreadable();
    }

    LibusbDevice& m_device;
    PrintJob& m_job;
    int m_stop;
};

[[noreturn]] void endWithout(std::string_view reason, int report)
{
    say(reason);
    tell(report, failed);
    ::_exit(failed);
}

} // namespace

void print(const PrinterURI& uri, int stop, int report)
{
    // Nobody waits for the processes of a survey.
    std::signal(SIGCHLD, SIG_IGN);
    SearchOptions search;
    search.limit = absentLimit;
    search.stopDescriptor = stop;
    const std::optional<PrinterLocation> printer = find(uri, search);
    if (isStopped(stop)) {
        sayWithoutWaiting();
        endWithout(messages::stopped, report);
    }
    if (!printer)
        endWithout(messages::absent, report);
    LibusbDevice device;
    PrintJob job(device, say);
    device.listen(job.listener());
    announce(report, *printer);
    serve(job, [&] {
        job.start(*printer);
        Printing(device, job, stop).run();
    });
    tell(report, job.status());
    leaveStreams();
    job.giveBack();
    // What may still be in flight ends with the process.
    ::_exit(job.status());
}

void handBack(const PrinterLocation& printer)
{
    LibusbDevice device;
    if (device.open(printer) == UsbResult::Done)
        device.attachKernelDriver();
}

} // namespace harrowmint::usb
