#include "transports/BackendRun.h"

#include "base/PrinterError.h"
#include "transports/ChildPlatform.h"
#include "transports/ChildProcess.h"
#include "transports/USBTransferProgress.h"

#include <QFile>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>

namespace harrowmint::USBBackend {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char timedOut[] =
    "Printer timed out. Check the paper and connection before retrying; a receipt may have printed.";
constexpr char transferFailed[] = "USB transfer failed. Check the cable, power and paper before retrying.";

/// Small against the bound of `USBTransferProgress`, so that many short lines at once never look like a long one.
constexpr std::size_t readBytes = 4096;
/// More than a pipe holds: what a program wrote before it ended is read, what others go on writing is not.
constexpr int maximumFinalReads = 512;
/// How soon to look again at a program that has ended but cannot be reaped yet, because somebody traces it.
constexpr milliseconds reapInterval{10};

/// Keeps a write to a closed pipe from raising SIGPIPE in this process. Only this thread's mask changes: the process's
/// disposition belongs to no library, and is not needed. A signal that came meanwhile is taken before the mask returns.
class BrokenPipeBlock {
public:
    BrokenPipeBlock()
    {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
    }
    BrokenPipeBlock(const BrokenPipeBlock&) = delete;
    BrokenPipeBlock& operator=(const BrokenPipeBlock&) = delete;
    ~BrokenPipeBlock()
    {
        if (sigismember(&m_before, SIGPIPE) == 1)
            return;
        sigset_t pending;
        int number = 0;
        if (::sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1)
            ::sigwait(&m_signals, &number);
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    sigset_t m_signals{};
    sigset_t m_before{};
};

[[noreturn]] void failWithErrno()
{
    throw std::system_error(errno, std::generic_category());
}

/// The same open file above the three streams, where setting up a child's streams cannot overwrite it; a process that
/// was started without streams of its own gets such low numbers.
FileDescriptor aboveStreams(FileDescriptor descriptor)
{
    if (descriptor.get() > STDERR_FILENO)
        return descriptor;
    FileDescriptor copy(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!copy.isOpen())
        failWithErrno();
    return copy;
}

Pipe makePipe()
{
    Pipe pipe = platform::makePipe();
    return {aboveStreams(std::move(pipe.readEnd)), aboveStreams(std::move(pipe.writeEnd))};
}

FileDescriptor openNullDevice()
{
    FileDescriptor device(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!device.isOpen())
        failWithErrno();
    return aboveStreams(std::move(device));
}

/// Our end alone: the child's end is another open file and goes on blocking.
FileDescriptor nonBlocking(FileDescriptor descriptor)
{
    if (::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK) != 0)
        failWithErrno();
    return descriptor;
}

std::vector<QByteArray> environment(const RunOptions& options)
{
    std::vector<QByteArray> result{"PATH=/usr/bin:/bin:/usr/sbin:/sbin", "LANG=en_US.UTF-8"};
    if (options.uri)
        result.push_back("DEVICE_URI=" + *options.uri);
    return result;
}

/// A started program and our ends of its streams, on the thread that waits for it: one loop writes the job, reads the
/// output, and notices the end and the deadline.
class Run {
public:
    explicit Run(const RunOptions& options)
        : m_options(options)
        , m_progress(options.data ? options.data->size() : 0)
        , m_unwritten(options.data ? QByteArrayView(*options.data) : QByteArrayView())
        , m_child(start())
        , m_started(Clock::now())
    {
        if (m_unwritten.isEmpty())
            m_input.close();
    }

    /// Waits for the end, forcing it when time is up. Throws unless the program succeeded.
    void finish()
    {
        const std::optional<bool> succeeded = waitForEnd(m_started + m_options.timeout);
        if (!succeeded) {
            forceEnd();
            throw PrinterError(QString::fromLatin1(timedOut));
        }
        if (m_options.data)
            readTheRest();
        if (!*succeeded)
            throw PrinterError(QString::fromLatin1(transferFailed));
    }

    /// What the program and those it left behind list until end of file, as far as the time allows.
    QByteArray listing()
    {
        while (m_output.isOpen() && Clock::now() < m_started + m_options.timeout)
            serve(m_started + m_options.timeout);
        return m_collected;
    }

private:
    ChildCommand command() const
    {
        return {QFile::encodeName(m_options.program), m_options.arguments, environment(m_options), -1, -1, -1};
    }

    ChildProcess start()
    {
        const bool printing = m_options.data.has_value();
        const FileDescriptor null = openNullDevice();
        Pipe output = makePipe();
        Pipe input = printing ? makePipe() : Pipe();
        ChildCommand result = command();
        result.input = printing ? input.readEnd.get() : null.get();
        result.output = printing ? null.get() : output.writeEnd.get();
        result.error = printing ? output.writeEnd.get() : null.get();
        m_output = nonBlocking(std::move(output.readEnd));
        if (printing)
            m_input = nonBlocking(std::move(input.writeEnd));
        return ChildProcess(result);
    }

    /// Serves the streams until the program has been reaped; nothing when `deadline` came first.
    std::optional<bool> waitForEnd(Clock::time_point deadline)
    {
        do {
            serve(deadline);
            if (!m_ended)
                continue;
            if (const std::optional<bool> succeeded = m_child.succeeded())
                return succeeded;
        } while (Clock::now() < deadline);
        return std::nullopt;
    }

    void forceEnd()
    {
        m_child.signal(SIGTERM);
        if (waitForEnd(Clock::now() + m_options.termination))
            return;
        m_child.signal(SIGKILL);
        static_cast<void>(waitForEnd(Clock::now() + m_options.termination));
    }

    /// Waits until something happens or `deadline` comes, and does the one piece of work that each stream has.
    void serve(Clock::time_point deadline)
    {
        pollfd watched[] = {{m_ended ? -1 : m_child.exitDescriptor(), POLLIN, 0}, {m_input.get(), POLLOUT, 0},
            {m_output.get(), POLLIN, 0}};
        auto wait = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (m_ended && !m_child.succeeded())
            wait = std::min(wait, reapInterval);
        if (::poll(watched, std::size(watched), static_cast<int>(std::max(wait, milliseconds::zero()).count())) <= 0)
            return; // time is up, or a signal came: the caller looks at the clock
        m_ended = m_ended || watched[0].revents != 0;
        if (watched[1].revents != 0)
            writeSome();
        if (watched[2].revents != 0)
            readSome();
    }

    void writeSome()
    {
        const ssize_t count = ::write(m_input.get(), m_unwritten.data(), static_cast<std::size_t>(m_unwritten.size()));
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        // A program that does not want the job tells so by its exit status.
        m_unwritten = count < 0 ? QByteArrayView() : m_unwritten.sliced(count);
        if (m_unwritten.isEmpty())
            m_input.close(); // the end of the job
    }

    /// Whether there was something to read.
    bool readSome()
    {
        char bytes[readBytes];
        const ssize_t count = ::read(m_output.get(), bytes, sizeof bytes);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return false;
        if (count <= 0) {
            m_output.close();
            return false;
        }
        take(QByteArrayView(bytes, count));
        return true;
    }

    void take(QByteArrayView bytes)
    {
        if (m_options.data) {
            if (m_options.observer)
                m_options.observer(bytes);
            if (m_progress.consume(bytes) && m_options.transferred)
                m_options.transferred();
        } else {
            // All of it is read, so that the program never waits for us, but no more kept than is needed to refuse it.
            const qsizetype room = m_options.maximumOutput + 1 - m_collected.size();
            m_collected.append(bytes.first(std::min(room, bytes.size())));
        }
    }

    /// An acknowledgement that was written before the end must not be lost.
    void readTheRest()
    {
        for (int i = 0; i < maximumFinalReads && m_output.isOpen() && readSome(); ++i) { }
    }

    const RunOptions& m_options;
    USBTransferProgress m_progress;
    QByteArrayView m_unwritten;
    QByteArray m_collected;
    FileDescriptor m_input; ///< our end of standard input, when printing
    FileDescriptor m_output; ///< our end of standard error when printing, of standard output when listing
    ChildProcess m_child; ///< after the descriptors that its start sets
    Clock::time_point m_started;
    bool m_ended = false;
};

} // namespace

QByteArray run(const RunOptions& options)
{
    const BrokenPipeBlock block;
    Run run(options);
    run.finish();
    return options.data ? QByteArray() : run.listing();
}

} // namespace harrowmint::USBBackend
