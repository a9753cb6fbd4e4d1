#include "app/Agent.h"

#include "app/TerminationSignals.h"
#include "base/PrinterError.h"
#include "transports/USBBackend.h"

#include <QApplication>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace harrowmint {

namespace {

const auto noReceiptBluetoothText =
    QStringLiteral("This version cannot print on Bluetooth printers. No receipt data was sent.");
const auto noLabelBluetoothText =
    QStringLiteral("This version cannot print on Bluetooth printers. No label data was sent.");

void refuseReceipt(const QByteArray&, const QString&)
{
    throw PrinterError(noReceiptBluetoothText);
}

/// Never waits for whoever reads the log: a line that does not fit now is dropped. A pipe that is writable takes as
/// many bytes as a line may have at once (POSIX, PIPE_BUF).
void logLine(const QString& text)
{
    constexpr qsizetype maximumLineBytes = 512;
    const QByteArray line = ("harrowmint-printer: " + text.toUtf8()).left(maximumLineBytes - 1) + '\n';
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&log, 1, 0) == 1 && log.revents == POLLOUT)
        static_cast<void>(::write(STDERR_FILENO, line.constData(), static_cast<std::size_t>(line.size())));
}

/// What the agent's parent may have left behind must not change what it does.
void settleProcess()
{
    // Else no child's exit status could be had.
    std::signal(SIGCHLD, SIG_DFL);
    // A reader of the log that goes away must not end the agent. Children get the default back.
    std::signal(SIGPIPE, SIG_IGN);
    // Else a socket could take the place of a missing stream, and get the log.
    int descriptor = 0;
    while ((descriptor = ::open("/dev/null", O_RDWR)) >= 0 && descriptor <= STDERR_FILENO) { }
    ::close(descriptor);
    // Without a desktop there is nobody to see a window; the agent starts all the same.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY")
        && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

} // namespace

Transports agentTransports(const QString& usbProgram)
{
    return {
        [usbProgram](const QByteArray& bytes, const QString& uri, const JobRunner::Transferred& transferred) {
            USBBackend::print(bytes, uri, transferred, usbProgram);
        },
        refuseReceipt,
        refuseReceipt,
        [](const LabelDocument&, const QString&) { throw PrinterError(noLabelBluetoothText); },
    };
}

int runAgent(int argc, char** argv, const std::function<AgentConfiguration()>& configure)
{
    settleProcess();
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Harrowmint Printer"));
    QApplication::setQuitOnLastWindowClosed(false);
    QtQueue main;
    AgentConfiguration configuration = configure();
    if (!configuration.log)
        configuration.log = logLine;
    AppDelegate delegate(main, std::move(configuration));
    delegate.applicationDidFinishLaunching();
    const TerminationSignals signals([&delegate] { delegate.endSession(); });
    return QApplication::exec();
}

} // namespace harrowmint
