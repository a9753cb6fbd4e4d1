#include "server/Platform.h"

#include <pthread.h>
#include <string>
#include <sys/socket.h>

namespace harrowmint {

void nameThisThread(std::string_view label)
{
    // The kernel keeps 15 bytes and refuses more; the last part of a reverse-DNS label is the telling one.
    const std::string name(label.substr(label.rfind('.') + 1, 15));
    ::pthread_setname_np(::pthread_self(), name.c_str());
}

bool reuseIsHarmless()
{
    return true;
}

int lastBytesFlags()
{
    return MSG_MORE;
}

} // namespace harrowmint
