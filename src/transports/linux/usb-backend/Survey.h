#pragma once

#include "transports/linux/usb-backend/PrinterSearch.h"
#include "transports/linux/usb-backend/PrinterURI.h"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

/// Asks all connected printers at once who they are, each in a process of its own: a device that hangs may hold whoever
/// asks it for many seconds, even against SIGKILL, and must hold up neither the others nor the caller.
namespace harrowmint::usb {

/// One printer and what it said of itself.
struct SurveyedPrinter {
    PrinterLocation location;
    std::optional<PrinterTexts> texts; ///< none: it has not answered at all (yet)
    bool isFinal = false; ///< there is no more to come
};

struct SurveyOptions {
    std::chrono::milliseconds limit{1500};
    int stopDescriptor = -1; ///< the survey ends at once when this is readable or hung up
    /// Asked whenever something has come; true ends the survey. May be empty.
    std::function<bool(const std::vector<SurveyedPrinter>&)> isEnough;
    /// What one printer's process does: reports what it finds, better and better. The default reads sysfs, then asks
    /// the device for its id if sysfs has none.
    std::function<void(const PrinterLocation&, const std::function<void(const PrinterTexts&)>& report)> ask;
};

/// The printers at `locations`, in this order, with what they said within the limit. Throws std::system_error when no
/// process can be had. Its processes end soon, those that a device holds when that lets go; the caller ignores SIGCHLD,
/// or has them to reap.
[[nodiscard]] std::vector<SurveyedPrinter> survey(
    const std::vector<PrinterLocation>& locations, const SurveyOptions& options);

/// The first printer of `printers` that `wanted` may be sent to. Without a serial number the first in order counts, so
/// one that has not answered is waited for unless `isLast`. Then, too, a printer counts whose device id nobody could
/// ask for: if it alone has the wanted serial number and its string descriptors agree with the wanted vendor or model.
[[nodiscard]] std::optional<PrinterLocation> chosen(
    const PrinterURI& wanted, const std::vector<SurveyedPrinter>& printers, bool isLast);

struct SearchOptions {
    std::chrono::milliseconds limit{1500};
    int stopDescriptor = -1; ///< the search ends without a result when this is readable or hung up
    std::function<std::vector<PrinterLocation>()> connected = [] { return connectedPrinters(); };
    decltype(SurveyOptions::ask) ask; ///< see there
};

/// Looks for the printer again and again until it is there or the time is up; only the last look's choice is made as
/// the last one (see `chosen`). Throws as `survey` does.
[[nodiscard]] std::optional<PrinterLocation> find(const PrinterURI& wanted, const SearchOptions& search);

} // namespace harrowmint::usb
