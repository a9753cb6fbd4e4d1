// The agent with virtual printers: a data directory of its own, one approved demo store, papers as pictures.
#include "app/Agent.h"
#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"
#include "simulator/PaperFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <cstdio>

using namespace harrowmint;

namespace {

const auto demoOrigin = QStringLiteral("https://demo.harrowmint.example");
const auto virtualPrinterName = QStringLiteral("Harrowmint Virtual Receipt Printer");

void approveDemoStore(const QString& directory)
{
    auto settings = PrinterSettings::load(directory);
    settings.printerURI = virtualPrinterURI(directory + QStringLiteral("/Papers"));
    settings.printerName = virtualPrinterName;
    if (!settings.origins.contains(demoOrigin))
        settings.origins.append(demoOrigin);
    settings.save(directory);
}

AgentConfiguration demoConfiguration()
{
    const QString directory = PrinterSettings::directory() + QStringLiteral(" Demo");
    try {
        approveDemoStore(directory);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "harrowmint-printer-demo: the demo's settings were left alone: %s\n", error.what());
    }
    const QString usbProgram =
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("harrowmint-virtual-usb"));
    return {.directory = directory, .transports = agentTransports(usbProgram), .log = {}};
}

} // namespace

int main(int argc, char** argv)
{
    return runAgent(argc, argv, demoConfiguration);
}
