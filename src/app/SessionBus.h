#pragma once

#include <chrono>

namespace harrowmint {

/// How long the user's message bus may take to show that it is alive.
inline constexpr std::chrono::milliseconds sessionBusTime{250};

/// Keeps the toolkit from waiting for a message bus that will not answer: where the user's session has no bus, or one
/// that does not answer within `sessionBusTime`, this process does without one from now on. The toolkit's connection to
/// it, which it opens with the application object, would else wait without limit. Call before the application object
/// exists and before there are other threads; returns whether there is a bus.
bool settleSessionBus();

} // namespace harrowmint
