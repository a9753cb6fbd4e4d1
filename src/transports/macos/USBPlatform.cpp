#include "transports/USBPlatform.h"

namespace harrowmint::platform {

std::vector<QString> inaccessibleUSBPrinters()
{
    return {}; // the printing system's program opens the devices
}

QString ownUSBBackend()
{
    return QStringLiteral("/usr/libexec/cups/backend/usb");
}

} // namespace harrowmint::platform
