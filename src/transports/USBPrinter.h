#pragma once

#include <QString>

namespace harrowmint {

/// A discovered printer of any transport. A plain value.
struct USBPrinter {
    QString uri; ///< the printer's address: "usb://…", "ble:…" or "spp:…"
    QString name; ///< for people

    bool operator==(const USBPrinter&) const = default;
};

} // namespace harrowmint
