#include "app/ProcessSettings.h"

#include "app/Display.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace harrowmint {

void settleProcess()
{
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
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&log, 1, 0) == 1 && log.revents == POLLOUT)
        static_cast<void>(::write(STDERR_FILENO, line.constData(), static_cast<std::size_t>(line.size())));
}

} // namespace harrowmint
