#include "app/TerminationSignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace harrowmint {

namespace {

/// All that a signal handler can reach: where to write that a signal came.
std::atomic<int> writeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may use nothing else");

extern "C" void tellOfSignal(int /*signal*/)
{
    const int error = errno;
    // A full pipe already says so.
    [[maybe_unused]] const ssize_t written = ::write(writeEnd.load(), "!", 1);
    errno = error;
}

Pipe makePipe()
{
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category());
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

} // namespace

/// What is done on one signal, until this dies.
class TerminationSignals::Handler {
public:
    explicit Handler(int signal)
        : m_signal(signal)
    {
        struct sigaction action { };
        if (::sigaction(m_signal, nullptr, &m_before) == 0 && m_before.sa_handler == SIG_IGN)
            return;
        action.sa_handler = tellOfSignal;
        action.sa_flags = SA_RESTART; // no blocking call of any thread is to fail because of it
        sigemptyset(&action.sa_mask);
        ::sigaction(m_signal, &action, nullptr);
    }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    ~Handler() { ::sigaction(m_signal, &m_before, nullptr); }

private:
    int m_signal;
    struct sigaction m_before { };
};

TerminationSignals::TerminationSignals(std::function<void()> asked)
    : m_pipe(makePipe())
    , m_asked(std::move(asked))
    , m_notifier(m_pipe.readEnd.get(), QSocketNotifier::Read)
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { read(); });
    writeEnd = m_pipe.writeEnd.get();
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        m_handlers.push_back(std::make_unique<Handler>(signal));
}

TerminationSignals::~TerminationSignals()
{
    m_handlers.clear();
    writeEnd = -1;
}

void TerminationSignals::read()
{
    char bytes[16];
    while (::read(m_pipe.readEnd.get(), bytes, sizeof bytes) > 0) { }
    m_asked();
}

} // namespace harrowmint
