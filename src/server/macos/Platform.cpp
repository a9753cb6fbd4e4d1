#include "server/Platform.h"

#include <pthread.h>
#include <string>

namespace harrowmint {

void nameThisThread(std::string_view label)
{
    ::pthread_setname_np(std::string(label).c_str());
}

bool reuseIsHarmless()
{
    return false;
}

int lastBytesFlags()
{
    return 0;
}

} // namespace harrowmint
