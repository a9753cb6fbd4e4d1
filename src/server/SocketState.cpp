#include "server/SocketState.h"

#include <fcntl.h>
#include <sys/socket.h>

namespace harrowmint {

void closeOnExec(int descriptor)
{
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

bool hasUnreadBytes(int socket)
{
    char byte = 0;
    return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

bool hasFailed(int socket)
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0;
}

} // namespace harrowmint
