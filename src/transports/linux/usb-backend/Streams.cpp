#include "transports/linux/usb-backend/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace harrowmint::usb {

namespace {

int readerPatience = 100; // ms

} // namespace

void say(std::string_view line)
{
    const std::string bytes = std::string(line) + '\n';
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    // A pipe that is writable takes as many bytes as a line here has at once (POSIX, PIPE_BUF).
    if (::poll(&stream, 1, readerPatience) == 1 && stream.revents == POLLOUT)
        static_cast<void>(!::write(STDERR_FILENO, bytes.data(), bytes.size()));
}

void sayWithoutWaiting()
{
    readerPatience = 0;
}

bool settleStreams()
{
    bool hasError = true;
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) >= 0)
            continue;
        hasError = hasError && stream != STDERR_FILENO;
        static_cast<void>(::open("/dev/null", O_WRONLY)); // takes the lowest number
    }
    return hasError;
}

void leaveStreams()
{
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::dup2(null, stream);
}

} // namespace harrowmint::usb
