#pragma once

#include "transports/linux/usb-backend/PrinterSearch.h"
#include "transports/linux/usb-backend/PrinterURI.h"

#include <chrono>
#include <functional>
#include <string_view>

/// The program's two modes and its processes.
namespace harrowmint::usb {

/// Writes `line` and a line feed to the standard error at once. A reader who takes nothing is waited for 0.1 s, then
/// the line is lost.
void say(std::string_view line);
/// From now on `say` in this process waits for no reader: the program is being stopped.
void sayWithoutWaiting();

/// Makes sure that the three streams exist, so that nothing else takes their numbers: a missing standard input cannot
/// be read, the others lead nowhere. False when the standard error was missing.
[[nodiscard]] bool settleStreams();

/// Whoever reads our streams is not kept waiting by what follows.
void leaveStreams();

/// Writes a line for each printer to the standard output; ends within 2 s, whatever hangs. Returns the exit status.
[[nodiscard]] int list();

/// How long a printer that is not there is looked for.
inline constexpr std::chrono::milliseconds absentLimit{1500};

/// Sends standard input to the printer at `uri`, in the process of its own that `guard` starts: `stop` becomes readable
/// when the job is to be given up; `report` hears which device is being taken and that the last word has been said.
/// Then the device is given back, without any stream. Does not return.
[[noreturn]] void print(const PrinterURI& uri, int stop, int report);

/// Gives the kernel's driver a device that a process that died had taken. Waits for the device; throws
/// std::runtime_error when libusb cannot work here.
void handBack(const PrinterLocation& printer);

/// Tells `report` that `printer` is being taken: should this process die, the guard gives it back.
void announce(int report, const PrinterLocation& printer);
/// Tells `report` that the last word has been said, and the exit status.
void tell(int report, int status);

/// How long the process that prints is waited for after it has been told to stop, or has said its last word.
inline constexpr std::chrono::milliseconds graceLimit{150};

/// Runs `work` (see `print`) in a process of its own and returns its exit status. SIGTERM, SIGINT, SIGHUP or the end of
/// the standard error's reader stop it. Returns soon even if a device holds that process where no signal reaches it;
/// the device is then given back whenever that lets go. When it dies without its last word, the guard says one, and
/// `giveBack` gets the device that was announced, in one more process that nobody waits for. Throws std::system_error
/// when there is no process to be had.
[[nodiscard]] int guard(const std::function<void(int stop, int report)>& work,
    const std::function<void(const PrinterLocation&)>& giveBack = handBack);

} // namespace harrowmint::usb
