#pragma once

#include "transports/USBPrinter.h"

#include <QString>
#include <optional>
#include <vector>

namespace harrowmint {

/// One item of a printer pop-up. A plain value.
struct ListedPrinter {
    USBPrinter printer; ///< what is saved when it is chosen
    QString title; ///< what the item says

    bool operator==(const ListedPrinter&) const = default;
};

/// The saved printer of one kind: nothing, or an address with a name that may be empty.
using SavedPrinter = std::optional<USBPrinter>;

/// `uri` and `name` of the settings as a saved printer; an empty address is none.
[[nodiscard]] SavedPrinter savedPrinter(const std::optional<QString>& uri, const std::optional<QString>& name);

/// The printers that were found and nothing else, in their order.
[[nodiscard]] std::vector<ListedPrinter> usbPrinterList(const std::vector<USBPrinter>& found);

/// The paired serial printers, the saved printer where it was not found, and the LE printers, whose titles end in
/// " (Bluetooth LE)". Each address once.
[[nodiscard]] std::vector<ListedPrinter> receiptPrinterList(
    const std::vector<USBPrinter>& paired, const std::vector<USBPrinter>& lowEnergy, const SavedPrinter& saved);

/// The label printers that were found, and the saved one where it was not. Each address once.
[[nodiscard]] std::vector<ListedPrinter> labelPrinterList(
    const std::vector<USBPrinter>& found, const SavedPrinter& saved);

/// Whether a discovered `name` is only what a nameless printer is called.
[[nodiscard]] bool isStandInName(const QString& name);

} // namespace harrowmint
