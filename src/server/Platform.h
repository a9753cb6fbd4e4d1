#pragma once

#include <string_view>

// What the server does differently on each platform.
namespace harrowmint {

/// Names the calling thread after a queue label such as "com.example.http", shortened to its last part where the system
/// keeps only short names. For people who look at the process; failing to name a thread is no error.
void nameThisThread(std::string_view label);

/// Whether SO_REUSEADDR only spares a listener the wait for closed connections. Elsewhere it also lets it listen beside
/// a living one.
[[nodiscard]] bool reuseIsHarmless();

/// The flags of send(2) for the last bytes of a stream whose sending side is shut down right after: where the system
/// can, the bytes and the end travel together, which spares the peer a wake-up.
[[nodiscard]] int lastBytesFlags();

} // namespace harrowmint
