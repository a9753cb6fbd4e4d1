// The agent with virtual printers: a data directory of its own, one approved demo store, papers as pictures.
//   harrowmint-printer-demo [usb|ble|serial]
// names the connection that receipts go out on; "usb" when nothing is named. Labels always go out over LE.
#include "app/Agent.h"
#include "app/AgentServices.h"
#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"
#include "simulator/PaperFolder.h"
#include "simulator/VirtualBluetooth.h"

#include <QCoreApplication>
#include <QDir>
#include <cstdio>

using namespace harrowmint;

namespace {

const auto demoOrigin = QStringLiteral("https://demo.harrowmint.example");
const auto virtualPrinterName = QStringLiteral("Harrowmint Virtual Receipt Printer");

void chooseConnection(PrinterSettings& settings, const QString& connection)
{
    const bool serial = connection == QLatin1String("serial");
    const bool bluetooth = serial || connection == QLatin1String("ble");
    settings.receiptConnection = bluetooth ? QStringLiteral("bluetooth") : QStringLiteral("usb");
    settings.bluetoothReceiptURI = serial ? virtualSerialPort : virtualReceiptPort;
    settings.bluetoothReceiptName = serial ? virtualSerialName : virtualReceiptName;
}

void prepareSettings(const QString& directory, const QString& papers)
{
    auto settings = PrinterSettings::load(directory);
    settings.printerURI = virtualPrinterURI(papers);
    settings.printerName = virtualPrinterName;
    chooseConnection(settings, QCoreApplication::arguments().value(1));
    settings.labelPrinterURI = virtualLabelPort;
    settings.labelPrinterName = virtualLabelName;
    if (!settings.origins.contains(demoOrigin))
        settings.origins.append(demoOrigin);
    settings.save(directory);
}

AgentConfiguration demoConfiguration(SerialQueue& main, const QString& directory)
{
    const QString papers = directory + QStringLiteral("/Papers");
    try {
        prepareSettings(directory, papers);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "harrowmint-printer-demo: the demo's settings were left alone: %s\n", error.what());
    }
    const QString usbProgram =
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("harrowmint-virtual-usb"));
    AgentConfiguration configuration;
    addPrinters(configuration, main, usbProgram, virtualBluetooth(papers));
    addDesktop(configuration, main);
    return configuration;
}

} // namespace

int main(int argc, char** argv)
{
    const QString directory = PrinterSettings::directory() + QStringLiteral(" Demo");
    return runAgent(
        argc, argv, directory, [&directory](SerialQueue& main) { return demoConfiguration(main, directory); });
}
