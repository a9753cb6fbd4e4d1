#pragma once

#include "app/AgentConfiguration.h"
#include "app/BluetoothTransports.h"

namespace harrowmint {

/// An agent's printers, for its jobs and for the lists of its window: USB through the backend program at `usbProgram`,
/// Bluetooth through `ports`. `main` is the agent's main queue.
void addPrinters(
    AgentConfiguration& configuration, SerialQueue& main, const QString& usbProgram, const BluetoothPorts& ports);

/// What the desktop offers to any agent: icon, tray, the computer's sleep. Needs the application object.
void addDesktop(AgentConfiguration& configuration, SerialQueue& main);

/// "Start automatically at login", of the running program. Needs the application object.
void addLoginItem(AgentConfiguration& configuration);

} // namespace harrowmint
