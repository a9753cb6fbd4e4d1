#pragma once

#include "app/AppDelegate.h"

namespace harrowmint {

/// The transports of the plain agent: USB through the backend program at `usbProgram`. Bluetooth addresses are answered
/// with a plain failure.
[[nodiscard]] Transports agentTransports(const QString& usbProgram);

/// Process entry shared by the agents: makes the application, launches one delegate with `configure()` and runs the
/// event loop. `configure` runs once the application exists. Returns the process's exit status.
int runAgent(int argc, char** argv, const std::function<AgentConfiguration()>& configure);

} // namespace harrowmint
