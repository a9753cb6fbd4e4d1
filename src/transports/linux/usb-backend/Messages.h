#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// What the program says on its standard error, and its exit statuses (CUPS backend conventions, backend(7)).
namespace harrowmint::usb {

inline constexpr int succeeded = 0;
inline constexpr int failed = 1;

namespace messages {

inline constexpr std::string_view waiting = "STATE: +cups-waiting-for-job-completed";
inline constexpr std::string_view takesNoData = "INFO: The printer takes no data.";
inline constexpr std::string_view usage = "ERROR: Usage: harrowmint-usb-backend [job user title copies options]";
inline constexpr std::string_view invalidURI = "ERROR: DEVICE_URI is not the address of a USB printer.";
inline constexpr std::string_view absent = "ERROR: The printer is not connected or switched off.";
inline constexpr std::string_view busy = "ERROR: Another program is using the printer.";
inline constexpr std::string_view noPrinter = "ERROR: The device cannot receive print data.";
inline constexpr std::string_view stalled = "ERROR: The printer refused the data.";
inline constexpr std::string_view unplugged = "ERROR: The printer was unplugged or switched off.";
inline constexpr std::string_view broken = "ERROR: The connection to the printer failed.";
inline constexpr std::string_view paperOut = "ERROR: The printer is out of paper.";
inline constexpr std::string_view portError = "ERROR: The printer reports an error.";
inline constexpr std::string_view stopped = "ERROR: The job was stopped.";
inline constexpr std::string_view stoppedUncounted =
    "ERROR: The job was stopped; the printer may have taken more than was counted.";
inline constexpr std::string_view brokenOff =
    "ERROR: The program was broken off; the printer may have taken more than was counted.";
inline constexpr std::string_view cannotReadJob = "ERROR: The job cannot be read.";
inline constexpr std::string_view cannotWork = "ERROR: The program cannot work: ";

[[nodiscard]] inline std::string sent(std::size_t bytes)
{
    return "DEBUG: Sent " + std::to_string(bytes) + " bytes...";
}

/// `error` where a transfer that had begun could not be counted.
[[nodiscard]] inline std::string uncounted(std::string_view error)
{
    if (error.substr(error.size() - std::min<std::size_t>(error.size(), 1)) == ".")
        error.remove_suffix(1);
    return std::string(error) + "; the printer may have taken more than was counted.";
}

[[nodiscard]] inline std::string noPermissionText(const std::string& node)
{
    return "No permission to open " + node
        + ". Install the udev rule of Harrowmint Printer or join the group lp, then plug the printer in again.";
}

[[nodiscard]] inline std::string noPermission(const std::string& node)
{
    return "ERROR: " + noPermissionText(node);
}

[[nodiscard]] inline std::string cannotOpen(const std::string& node)
{
    return "ERROR: Cannot open " + node + '.';
}

[[nodiscard]] inline std::string noAnswer(const std::string& node)
{
    return "WARNING: The printer at " + node + " does not answer and is left out.";
}

} // namespace messages
} // namespace harrowmint::usb
