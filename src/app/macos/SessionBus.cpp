#include "app/SessionBus.h"

namespace harrowmint {

// Nothing here uses such a bus.
bool settleSessionBus()
{
    return false;
}

} // namespace harrowmint
