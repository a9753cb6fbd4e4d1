#pragma once

namespace harrowmint {

/// Has the toolkit do without a display where there is none, so that the agent starts and prints all the same. What the
/// user has asked of the toolkit stays. Call before the application object exists.
void settleDisplay();

} // namespace harrowmint
