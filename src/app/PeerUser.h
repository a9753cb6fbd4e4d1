#pragma once

#include <optional>
#include <sys/types.h>

namespace harrowmint {

/// The user on the other side of a connected local socket, as the kernel knows it; nothing when it cannot be had.
[[nodiscard]] std::optional<uid_t> peerUser(int socket);

} // namespace harrowmint
