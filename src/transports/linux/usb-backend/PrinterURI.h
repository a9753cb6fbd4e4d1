#pragma once

#include "transports/linux/usb-backend/PrinterTexts.h"

#include <optional>
#include <string>
#include <string_view>

namespace harrowmint::usb {

/// A USB printer's address, its parts as people read them. A plain value.
struct PrinterURI {
    std::string vendor;
    std::string model;
    std::string serial; ///< empty: the printer has none
    int interface = 0; ///< of a device whose printer is not its first interface

    bool operator==(const PrinterURI&) const = default;
};

/// The address of the printer that says `texts` of itself, as the printing system's own backend forms it: vendor and
/// model from the device id, else from the string descriptors; the serial number from the string descriptor alone. Each
/// is cut at 256 bytes.
[[nodiscard]] PrinterURI printerURI(const PrinterTexts& texts, int interface);

/// "usb://VENDOR/MODEL?serial=SERIAL&interface=N" without what there is none of: printable ASCII without blanks,
/// percent-encoded as the printing system's own backend does it (differently in vendor and model).
[[nodiscard]] std::string encoded(const PrinterURI& uri);

/// Reads such a text, whatever of it is percent-encoded; nothing when it is no USB printer's address.
[[nodiscard]] std::optional<PrinterURI> parsePrinterURI(std::string_view text);

/// Whether a job for `wanted` may go to the printer `found`: the same vendor and model (in either case), the same
/// serial number, and the same interface if `wanted` names one.
[[nodiscard]] bool matches(const PrinterURI& wanted, const PrinterURI& found);

/// The line of a listing: `direct URI "VENDOR MODEL" "VENDOR MODEL USB" "device id" ""`, with its line feed. Valid
/// UTF-8; no quotation mark stands inside the first two texts. The name is cut at 256 bytes, the device id at 1024.
[[nodiscard]] std::string listingLine(const PrinterURI& uri, std::string_view deviceId);

} // namespace harrowmint::usb
