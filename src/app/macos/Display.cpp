#include "app/Display.h"

namespace harrowmint {

void settleDisplay() { }

} // namespace harrowmint
