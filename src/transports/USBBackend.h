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

/// The backend program that the build names.
[[nodiscard]] QString path();

/// The USB printers that `program` lists, in its order. Throws PrinterError, or std::system_error when it cannot be
/// started. Blocks for at most 3.5 s.
[[nodiscard]] std::vector<USBPrinter> discover(const QString& program = path(), const Limits& limits = {});

/// Sends `data` (at most 900000 bytes) to the printer at `printerURI`. Returns when the program has ended with status
/// 0; throws PrinterError, or std::system_error when it cannot be started. `transferred` is called at most once, on the
/// calling thread before `print` returns, when the program reports that the printer has every byte; a failure may still
/// follow. It must be quick (the time limits wait for it) and must not throw. Blocks for at most 15.5 s.
void print(const QByteArray& data, const QString& printerURI, const std::function<void()>& transferred,
    const QString& program = path(), const Limits& limits = {});

} // namespace harrowmint::USBBackend
