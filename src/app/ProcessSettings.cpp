#include "app/ProcessSettings.h"

#include "app/Display.h"

#include <QtGlobal>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <unistd.h>

namespace harrowmint {

namespace {

/// The toolkit's own way to tell of something would wait for the log's reader.
void logMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    logLine(text.simplified());
}

} // namespace

void settleProcess()
{
    qInstallMessageHandler(logMessage);
    // Else no child's exit status could be had.
    std::signal(SIGCHLD, SIG_DFL);
    // A reader of the log that goes away must not end the agent. Children get the default back.
    std::signal(SIGPIPE, SIG_IGN);
    // Else a socket could take the place of a missing stream, and get the log.
    int descriptor = 0;
    while ((descriptor = ::open("/dev/null", O_RDWR)) >= 0 && descriptor <= STDERR_FILENO) { }
    ::close(descriptor);
    settleDisplay();
}

void logLine(const QString& text)
{
    // A pipe that is writable takes as many bytes as a line may have at once (POSIX, PIPE_BUF).
    constexpr qsizetype maximumLineBytes = 512;
    const QByteArray line = ("harrowmint-printer: " + text.toUtf8()).left(maximumLineBytes - 1) + '\n';
    // Else two threads could both take a pipe for writable that has room for one line.
    static std::mutex oneAtATime;
    const std::lock_guard guard(oneAtATime);
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&log, 1, 0) == 1 && log.revents == POLLOUT)
        static_cast<void>(::write(STDERR_FILENO, line.constData(), static_cast<std::size_t>(line.size())));
}

} // namespace harrowmint
