#pragma once

#include "transports/USBPlatform.h"

#include <functional>
#include <string>

namespace harrowmint::platform {

/// `inaccessibleUSBPrinters` on another folder of the kernel's devices, and by another judgement of device nodes.
[[nodiscard]] std::vector<QString> inaccessibleUSBPrinters(
    const std::string& devicesFolder, const std::function<bool(const std::string& node)>& mayOpen);

/// `ownUSBBackend` for an agent's program in `agentFolder`.
[[nodiscard]] QString ownUSBBackend(const QString& agentFolder);

} // namespace harrowmint::platform
