#include "transports/ChildPlatform.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/event.h>
#include <system_error>

namespace harrowmint::platform {

namespace {

[[noreturn]] void failWithErrno()
{
    throw std::system_error(errno, std::generic_category());
}

void closeOnExec(const FileDescriptor& descriptor)
{
    if (::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) != 0)
        failWithErrno();
}

bool apply(const FileDescriptor& queue, uintptr_t identifier, int16_t filter, uint16_t flags, uint32_t conditions)
{
    struct kevent change = {};
    EV_SET(&change, identifier, filter, flags, conditions, 0, nullptr);
    return ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) == 0;
}

} // namespace

Pipe makePipe()
{
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0)
        failWithErrno();
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    closeOnExec(pipe.readEnd);
    closeOnExec(pipe.writeEnd);
    return pipe;
}

void keepOnlyStreams(posix_spawn_file_actions_t&, short& flags)
{
    flags = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
}

FileDescriptor exitDescriptor(pid_t child)
{
    FileDescriptor queue(::kqueue()); // no child inherits a kqueue
    if (!queue.isOpen())
        failWithErrno();
    if (apply(queue, static_cast<uintptr_t>(child), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT))
        return queue;
    if (errno != ESRCH)
        failWithErrno();
    // The child has already ended: an event that is due at once stands for its end.
    if (!apply(queue, 1, EVFILT_USER, EV_ADD, 0) || !apply(queue, 1, EVFILT_USER, 0, NOTE_TRIGGER))
        failWithErrno();
    return queue;
}

} // namespace harrowmint::platform
