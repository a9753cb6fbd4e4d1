#pragma once

#include "app/AppDelegate.h"
#include "app/BluetoothTransports.h"

namespace harrowmint {

/// The configuration of an agent whose data lives in `directory`: USB through the backend program at `usbProgram`,
/// Bluetooth through `ports`. `main` is its main queue.
[[nodiscard]] AgentConfiguration agentConfiguration(
    SerialQueue& main, QString directory, const QString& usbProgram, const BluetoothPorts& ports);

/// Process entry shared by the agents: makes the application, launches one delegate with `configure(main)` and runs
/// the event loop. `configure` runs on the main queue, once the application exists. Returns the process's exit status.
int runAgent(int argc, char** argv, const std::function<AgentConfiguration(SerialQueue& main)>& configure);

} // namespace harrowmint
