#include "app/Agent.h"

#include "transports/USBBackend.h"

#include <QGuiApplication>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace harrowmint {

namespace {

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
    // There is no window: the agent starts alike on every desktop and on none.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

} // namespace

AgentConfiguration agentConfiguration(
    SerialQueue& main, QString directory, const QString& usbProgram, const BluetoothPorts& ports)
{
    AgentConfiguration configuration;
    configuration.directory = std::move(directory);
    configuration.bluetooth = std::make_shared<BluetoothTransports>(main, ports);
    configuration.bluetooth->addTo(configuration.transports);
    configuration.transports.usb = [usbProgram](const QByteArray& bytes, const QString& uri,
                                       const JobRunner::Transferred& transferred) {
        USBBackend::print(bytes, uri, transferred, usbProgram, {}, logLine);
    };
    return configuration;
}

int runAgent(int argc, char** argv, const std::function<AgentConfiguration(SerialQueue&)>& configure)
{
    settleProcess();
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Harrowmint Printer"));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QtQueue main;
    AgentConfiguration configuration = configure(main);
    if (!configuration.log)
        configuration.log = logLine;
    AppDelegate delegate(main, std::move(configuration));
    delegate.applicationDidFinishLaunching();
    return QGuiApplication::exec();
}

} // namespace harrowmint
