#pragma once

namespace harrowmint {

/// Child processes must not inherit sockets. Any thread, as the others here.
void closeOnExec(int descriptor);
/// Whether bytes of the peer wait to be read. Takes none.
[[nodiscard]] bool hasUnreadBytes(int socket);
/// Whether the connection has failed, by a reset for example. Takes the pending error, if there is one.
[[nodiscard]] bool hasFailed(int socket);

} // namespace harrowmint
