#include "app/PeerUser.h"

#include <sys/socket.h>

namespace harrowmint {

std::optional<uid_t> peerUser(int socket)
{
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 || length != sizeof credentials)
        return std::nullopt;
    return credentials.uid;
}

} // namespace harrowmint
