#pragma once

#include "transports/linux/usb-backend/PrinterURI.h"

#include <chrono>
#include <functional>
#include <string_view>

/// The program's two modes and its processes.
namespace harrowmint::usb {

/// Writes `line` and a line feed to the standard error at once. A reader who takes nothing is waited for 0.1 s, then
/// the line is lost.
void say(std::string_view line);

/// Makes sure that the three streams exist, so that nothing else takes their numbers: a missing standard input cannot
/// be read, the others lead nowhere. False when the standard error was missing.
[[nodiscard]] bool settleStreams();

/// Writes a line for each printer to the standard output; ends within 2 s, whatever hangs. Returns the exit status.
[[nodiscard]] int list();

/// How long a printer that is not there is looked for.
inline constexpr std::chrono::milliseconds absentLimit{1500};

/// Sends standard input to the printer at `uri`, in the process of its own that `guard` starts: `stop` becomes readable
/// when the job is to be given up; a byte on `report`, the exit status, says that the last word has been said. Then the
/// device is given back, without any stream. Does not return.
[[noreturn]] void print(const PrinterURI& uri, int stop, int report);

/// How long the process that prints is waited for after it has been told to stop, or has said its last word.
inline constexpr std::chrono::milliseconds graceLimit{150};

/// Runs `work` (see `print`) in a process of its own and returns its exit status. SIGTERM, SIGINT, SIGHUP or the end of
/// the standard error's reader stop it. Returns soon even if a device holds that process where no signal reaches it;
/// the device is then given back whenever that lets go. Throws std::system_error when there is no process to be had.
[[nodiscard]] int guard(const std::function<void(int stop, int report)>& work);

} // namespace harrowmint::usb
