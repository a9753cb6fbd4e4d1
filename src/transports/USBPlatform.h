#pragma once

#include <QString>
#include <vector>

/// What the platforms know of the right to use USB printers.
namespace harrowmint::platform {

/// A sentence for each connected USB printer that this process may not open: it names the device node and the remedy.
/// Empty where no such right is needed. Opens no device, waits for none; any thread.
[[nodiscard]] std::vector<QString> inaccessibleUSBPrinters();

/// The backend program of this platform: the printing system's, or the project's own, which lies beside the agent's
/// program (in the build tree) or in the libexec folder of the same installation.
[[nodiscard]] QString ownUSBBackend();

} // namespace harrowmint::platform
