#pragma once

#include "app/AgentConfiguration.h"

namespace harrowmint {

/// Process entry shared by the agents: makes the application, launches one delegate with `configure(main)`, whose data
/// lives in `directory`, and runs the event loop. `configure` runs on the main queue, once the application exists.
/// Returns the process's exit status. A running agent with the same directory shows its window instead, and this one
/// ends with 0.
int runAgent(int argc, char** argv, const QString& directory,
    const std::function<AgentConfiguration(SerialQueue& main)>& configure);

} // namespace harrowmint
