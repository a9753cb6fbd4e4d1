#include "transports/ChildPlatform.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/syscall.h>
#include <system_error>

namespace harrowmint::platform {

Pipe makePipe()
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category());
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

void keepOnlyStreams(posix_spawn_file_actions_t& actions, short&)
{
    if (const int error = ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1); error != 0)
        throw std::system_error(error, std::generic_category());
}

FileDescriptor exitDescriptor(pid_t child)
{
    // The C library's own pidfd_open cannot be linked from C++ where its header lacks the linkage (glibc 2.36).
    FileDescriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0))); // close-on-exec by itself
    if (!descriptor.isOpen())
        throw std::system_error(errno, std::generic_category());
    return descriptor;
}

} // namespace harrowmint::platform
