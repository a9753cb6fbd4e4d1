#pragma once

#include "base/SerialQueue.h"
#include "transports/USBPrinter.h"

#include <QString>
#include <functional>
#include <optional>
#include <vector>

namespace harrowmint {

/// How the settings window finds printers: one asynchronous function for each kind. Each is called on the main queue,
/// returns at once and calls its completion there, at most once: a discovery that never ends is given up by the caller.
/// A function may be missing; printers of that kind are then not looked for.
struct PrinterDiscovery {
    /// Gets the printers found, or nothing when the discovery failed.
    using Completion = std::function<void(std::optional<std::vector<USBPrinter>>)>;
    using Discover = std::function<void(Completion)>;
    /// `selected` is the saved printer's address.
    using DiscoverNear = std::function<void(const std::optional<QString>& selected, Completion)>;

    Discover usb;
    Discover pairedSerial;
    DiscoverNear receiptsBLE;
    DiscoverNear labels;
};

/// A discovery out of one that blocks: runs `discover` on `worker`, where it may throw, and completes on `main`. Both
/// queues outlive what is under way.
[[nodiscard]] PrinterDiscovery::Discover discoverOn(
    SerialQueue& worker, SerialQueue& main, std::function<std::vector<USBPrinter>()> discover);

} // namespace harrowmint
