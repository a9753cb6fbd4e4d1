#pragma once

#include "transports/linux/usb-backend/PrinterTexts.h"

#include <string>
#include <vector>

/// USB printers as the kernel's device file system (sysfs) shows them to everybody, without opening a device.
namespace harrowmint::usb {

/// Where one printer hangs: the printer interface (class 7, subclass 1) of one device. A plain value.
struct PrinterLocation {
    std::string port; ///< the kernel's name of the device's place, "1-1.2"
    int bus = 0;
    int address = 0;
    int interface = 0;

    /// The device node, "/dev/bus/usb/001/002".
    [[nodiscard]] std::string node() const;

    bool operator==(const PrinterLocation&) const = default;
};

/// The kernel's folder of USB devices; tests have one of their own.
inline constexpr char usbDevicesFolder[] = "/sys/bus/usb/devices";
/// A bus has no more than 127 devices; what is beyond this many printers is left out.
inline constexpr std::size_t maximumPrinters = 64;

/// The printers that are connected, one for each device (its first printer interface), in the order of their places.
/// Interfaces of other protocols than 1 to 3 (IPP over USB) are no printers here. Never waits for a device.
[[nodiscard]] std::vector<PrinterLocation> connectedPrinters(const std::string& folder = usbDevicesFolder);

/// What sysfs knows of a printer: the string descriptors, and the device id while the kernel's printer driver has the
/// device. Waits for a device that is just being set up.
[[nodiscard]] PrinterTexts knownTexts(const PrinterLocation& printer, const std::string& folder = usbDevicesFolder);

} // namespace harrowmint::usb
