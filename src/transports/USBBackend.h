#pragma once

#include "transports/USBPrinter.h"

#include <QByteArray>
#include <QString>
#include <chrono>
#include <functional>
#include <vector>

/// USB receipt printers through a backend program run as a child process (CUPS backend conventions, backend(7): no
/// arguments list devices; five arguments and DEVICE_URI print standard input). Nothing is kept between calls.
/// Both operations block; the worker queue calls them.
namespace harrowmint::USBBackend {

/// Time limits of one run; the defaults are the agent's.
struct Limits {
    std::chrono::milliseconds printing{15'000};
    std::chrono::milliseconds listing{3'000};
    std::chrono::milliseconds termination{250}; ///< after SIGTERM, and again after SIGKILL
};

/// Gets lines for the log that name what the sentences for people cannot; on the calling thread. May be empty.
using Log = std::function<void(const QString&)>;

/// The backend program: the one that the build names, else the platform's (see `platform::ownUSBBackend`).
[[nodiscard]] QString path();

/// The USB printers that `program` lists, in its order. Throws PrinterError, or std::system_error when it cannot be
/// started. Blocks for at most 3.5 s. `log` hears of each printer that may not be opened, once it has been listed.
[[nodiscard]] std::vector<USBPrinter> discover(
    const QString& program = path(), const Limits& limits = {}, const Log& log = {});

/// Sends `data` (at most 900000 bytes) to the printer at `printerURI`. Returns when the program has ended with status
/// 0; throws PrinterError, or std::system_error when it cannot be started. `transferred` is called at most once, on the
/// calling thread before `print` returns, when the program reports that the printer has every byte; a failure may still
/// follow. It must be quick (the time limits wait for it) and must not throw; so must `log`, which hears the program's
/// own account of a failure. Blocks for at most 15.5 s.
void print(const QByteArray& data, const QString& printerURI, const std::function<void()>& transferred,
    const QString& program = path(), const Limits& limits = {}, const Log& log = {});

} // namespace harrowmint::USBBackend
