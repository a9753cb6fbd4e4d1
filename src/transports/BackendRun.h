#pragma once

#include <QByteArray>
#include <QString>
#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace harrowmint::USBBackend {

/// One run of a backend program: a listing, or a print when there is `data`.
struct RunOptions {
    QString program; ///< absolute path
    std::vector<QByteArray> arguments;
    std::optional<QByteArray> uri; ///< DEVICE_URI
    std::optional<QByteArray> data; ///< for standard input; none: a listing, whose standard output is collected
    std::function<void()> transferred; ///< may be empty
    std::function<void(QByteArrayView)> observer; ///< hears a print's error stream as it comes; may be empty
    std::chrono::milliseconds timeout; ///< until SIGTERM
    std::chrono::milliseconds termination; ///< until SIGKILL, and once more for the kernel to act on it
    qsizetype maximumOutput = 0; ///< how much of the output is kept; one byte more says that there was more
};

/// Runs the program and returns what it listed (nothing of a print). Success is exit status 0, nothing else; anything
/// else throws PrinterError, or std::system_error when the program cannot be started. `transferred` is called on the
/// calling thread, at most once; so is `observer`, any number of times.
/// Blocks for at most `timeout` and twice `termination`. Whatever happens, nothing of the run stays behind.
[[nodiscard]] QByteArray run(const RunOptions& options);

} // namespace harrowmint::USBBackend
