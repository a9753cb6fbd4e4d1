#include "app/Agent.h"

#include "base/PrinterError.h"
#include "transports/USBBackend.h"

#include <QGuiApplication>
#include <csignal>
#include <cstdio>

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

void logLine(const QString& text)
{
    std::fprintf(stderr, "harrowmint-printer: %s\n", text.toUtf8().constData());
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
    // Whoever started the agent may have left it ignored, and then no child's exit status could be had.
    std::signal(SIGCHLD, SIG_DFL);
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Harrowmint Printer"));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QtQueue main;
    AgentConfiguration configuration = configure();
    if (!configuration.log)
        configuration.log = logLine;
    AppDelegate delegate(main, std::move(configuration));
    delegate.applicationDidFinishLaunching();
    return QGuiApplication::exec();
}

} // namespace harrowmint
