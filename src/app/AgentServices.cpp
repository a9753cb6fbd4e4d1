#include "app/AgentServices.h"

#include "app/LoginItem.h"
#include "app/PrinterMenuIcon.h"
#include "app/ProcessSettings.h"
#include "app/SystemPower.h"
#include "app/TrayIcon.h"
#include "transports/USBBackend.h"

#include <QCoreApplication>
#include <QDir>

namespace harrowmint {

namespace {

/// `completion` for a discovery that ends on another queue than `main`.
DiscoveryCompletion completingOn(SerialQueue& main, PrinterDiscovery::Completion completion)
{
    return [&main, completion = std::move(completion)](const std::vector<USBPrinter>& printers) {
        main.async([completion, printers] { completion(printers); });
    };
}

void addTransports(AgentConfiguration& configuration, const QString& usbProgram)
{
    configuration.bluetooth->addTo(configuration.transports);
    configuration.transports.usb = [usbProgram](const QByteArray& bytes, const QString& uri,
                                       const JobRunner::Transferred& transferred) {
        USBBackend::print(bytes, uri, transferred, usbProgram, {}, logLine);
    };
}

PrinterDiscovery discoveryOf(
    BluetoothTransports& bluetooth, const QString& usbProgram, SerialQueue& main, SerialQueue& listing)
{
    return {
        .usb = discoverOn(listing, main, [usbProgram] { return USBBackend::discover(usbProgram, {}, logLine); }),
        .pairedSerial =
            [&bluetooth](
                const PrinterDiscovery::Completion& completion) { bluetooth.serialReceipts().discover(completion); },
        .receiptsBLE =
            [&bluetooth, &main](
                const std::optional<QString>& selected, const PrinterDiscovery::Completion& completion) {
                bluetooth.receipts().discover(selected, completingOn(main, completion));
            },
        .labels =
            [&bluetooth, &main](
                const std::optional<QString>& selected, const PrinterDiscovery::Completion& completion) {
                bluetooth.labels().discover(selected, completingOn(main, completion));
            },
    };
}

} // namespace

void addPrinters(
    AgentConfiguration& configuration, SerialQueue& main, const QString& usbProgram, const BluetoothPorts& ports)
{
    configuration.bluetooth = std::make_shared<BluetoothTransports>(main, ports);
    addTransports(configuration, usbProgram);
    // The configuration holds the transports longer than anything that it gives.
    configuration.disconnectBluetooth = [bluetooth = configuration.bluetooth.get()] { bluetooth->disconnect(); };
    configuration.discovery = [bluetooth = configuration.bluetooth.get(), usbProgram](SerialQueue& queue,
                                  SerialQueue& listing) { return discoveryOf(*bluetooth, usbProgram, queue, listing); };
}

void addDesktop(AgentConfiguration& configuration, SerialQueue& main)
{
    configuration.applicationIcon = PrinterMenuIcon::applicationImage;
    configuration.statusItem = [&main](const StatusItemActions& actions) -> std::shared_ptr<void> {
        return std::make_shared<TrayIcon>(
            main, PrinterMenuIcon::make(), TrayIcon::Actions{actions.open, actions.printTest, actions.quit});
    };
    const auto observer = std::make_shared<std::function<void()>>();
    configuration.activity = SystemPower::make(main, [observer] {
        if (*observer)
            (*observer)();
    });
    configuration.observeWake = [observer](std::function<void()> woke) {
        *observer = std::move(woke);
        return std::shared_ptr<void>(observer.get(), [observer](void*) { *observer = {}; });
    };
}

void addLoginItem(AgentConfiguration& configuration)
{
    const auto item = std::make_shared<LoginItem>(QDir::homePath(), QCoreApplication::applicationFilePath());
    configuration.loginItemExists = [item] { return item->isOn(); };
    configuration.configureLogin = [item](bool enabled) { item->configureLogin(enabled); };
}

} // namespace harrowmint
