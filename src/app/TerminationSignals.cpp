#include "app/TerminationSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace harrowmint {

namespace {

constexpr std::array signalsToEnd{SIGTERM, SIGINT, SIGHUP};

/// A signal handler can reach nothing but what is static: the end of the pipe that it writes to, and before it what to
/// restore.
volatile std::sig_atomic_t writeEnd = -1;
std::array<struct sigaction, signalsToEnd.size()> dispositionsBefore;

extern "C" void tellThePipe(int)
{
    const int error = errno;
    const char byte = 0;
    static_cast<void>(::write(writeEnd, &byte, 1)); // a full pipe has told it already
    errno = error;
}

void prepare(int descriptor)
{
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> asked)
    : m_asked(std::move(asked))
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category());
    for (const int end : ends)
        prepare(end);
    m_readEnd = ends[0];
    writeEnd = ends[1];
    m_notifier = std::make_unique<QSocketNotifier>(m_readEnd, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] {
        readAll();
        m_asked();
    });
    struct sigaction action = {};
    action.sa_handler = tellThePipe;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < signalsToEnd.size(); ++i) {
        ::sigaction(signalsToEnd[i], &action, &dispositionsBefore[i]);
        if (dispositionsBefore[i].sa_handler == SIG_IGN) // as nohup wants it
            ::sigaction(signalsToEnd[i], &dispositionsBefore[i], nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    for (std::size_t i = 0; i < signalsToEnd.size(); ++i)
        ::sigaction(signalsToEnd[i], &dispositionsBefore[i], nullptr);
    m_notifier.reset();
    ::close(m_readEnd);
    ::close(writeEnd);
    writeEnd = -1;
}

void TerminationSignals::readAll() const
{
    std::array<char, 64> bytes{};
    while (::read(m_readEnd, bytes.data(), bytes.size()) > 0) { }
}

} // namespace harrowmint
