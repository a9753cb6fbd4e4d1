#pragma once

#include "transports/FileDescriptor.h"

#include <spawn.h>
#include <sys/types.h>

/// What the platforms do differently when a child process is run. Any thread; failures are thrown as
/// std::system_error with the platform's code.
namespace harrowmint::platform {

/// A pipe whose ends no other child of this process inherits.
[[nodiscard]] Pipe makePipe();

/// Lets the child keep no descriptor above its three streams, whoever opens some at the same time. Called when
/// `actions` already holds what sets up the streams; may add to `flags`.
void keepOnlyStreams(posix_spawn_file_actions_t& actions, short& flags);

/// A descriptor that becomes readable when `child`, which has not been reaped, has ended (at once if it has already).
[[nodiscard]] FileDescriptor exitDescriptor(pid_t child);

} // namespace harrowmint::platform
