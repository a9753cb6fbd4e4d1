#include "app/PrinterRefresh.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace harrowmint {

namespace {

const auto noneFoundText = QStringLiteral("No USB printer found. Check power and cable, then Refresh.");
const auto failedText = QStringLiteral("USB discovery failed. Check the printer connection and try Refresh.");
const auto labelNotSavedText = QStringLiteral("Could not save the discovered label printer.");

} // namespace

void LimitedDiscovery::start(
    SerialQueue::Duration limit, const PrinterDiscovery::Discover& discover, PrinterDiscovery::Completion ended)
{
    m_running = true;
    m_ended = std::move(ended);
    m_limit = m_queue.after(limit, [this] { end({}); });
    m_current = std::make_shared<LimitedDiscovery*>(this);
    const std::weak_ptr<LimitedDiscovery*> current = m_current;
    try {
        discover([current](std::optional<std::vector<USBPrinter>> printers) {
            if (const auto self = current.lock())
                (*self)->end(std::move(printers));
        });
    } catch (const std::exception&) {
        end({});
    }
}

void LimitedDiscovery::end(std::optional<std::vector<USBPrinter>> printers)
{
    m_running = false;
    m_limit.cancel();
    m_current.reset();
    const auto ended = std::exchange(m_ended, {});
    if (ended)
        ended(std::move(printers));
}

PrinterRefresh::PrinterRefresh(SerialQueue& main, PrinterDiscovery discovery, SavedSettings& settings,
    std::function<bool()> busy, PrinterListsView& view)
    : m_discovery(std::move(discovery))
    , m_settings(settings)
    , m_busy(std::move(busy))
    , m_view(view)
    , m_usb(main)
    , m_pairedSerial(main)
    , m_receiptsBLE(main)
    , m_labels(main)
{
}

Refreshing PrinterRefresh::refreshing() const
{
    return {m_usb.running(), m_pairedSerial.running() || m_receiptsBLE.running(), m_labels.running()};
}

void PrinterRefresh::refreshDevices()
{
    if (m_busy() || m_usb.running())
        return;
    if (!m_discovery.usb) {
        refreshLabels();
        return;
    }
    m_view.clearUSBPrinters();
    m_usb.start(usbLimit, m_discovery.usb, [this](const auto& printers) { usbEnded(printers); });
    m_view.showRefreshing(refreshing());
}

void PrinterRefresh::usbEnded(const std::optional<std::vector<USBPrinter>>& printers)
{
    m_view.showRefreshing(refreshing());
    if (printers)
        m_view.showUSBPrinters(usbPrinterList(*printers));
    // A job that has begun meanwhile has the activity line.
    if (!m_busy() && (!printers || printers->empty()))
        m_view.showActivity(printers ? noneFoundText : failedText);
    refreshLabels();
}

void PrinterRefresh::refreshLabels()
{
    if (m_busy())
        return;
    if (m_discovery.pairedSerial)
        startReceipts(m_pairedSerial, m_discovery.pairedSerial, m_paired);
    if (m_discovery.receiptsBLE)
        startReceipts(
            m_receiptsBLE,
            [this](PrinterDiscovery::Completion completion) {
                m_discovery.receiptsBLE(m_settings.value().bluetoothReceiptURI, std::move(completion));
            },
            m_lowEnergy);
    if (m_discovery.labels && !m_labels.running())
        startLabels();
    m_view.showRefreshing(refreshing());
}

void PrinterRefresh::startReceipts(
    LimitedDiscovery& discovery, const PrinterDiscovery::Discover& discover, std::vector<USBPrinter>& found)
{
    if (discovery.running())
        return;
    found.clear();
    showReceipts();
    discovery.start(bluetoothLimit, discover, [this, &found](auto printers) {
        found = printers ? std::move(*printers) : std::vector<USBPrinter>();
        showReceipts();
        m_view.showRefreshing(refreshing());
    });
}

void PrinterRefresh::startLabels()
{
    m_view.showLabelPrinters(labelPrinterList({}, savedLabelPrinter()));
    m_labels.start(
        bluetoothLimit,
        [this](PrinterDiscovery::Completion completion) {
            m_discovery.labels(m_settings.value().labelPrinterURI, std::move(completion));
        },
        [this](const auto& printers) { labelsEnded(printers.value_or(std::vector<USBPrinter>())); });
}

void PrinterRefresh::showReceipts()
{
    m_view.showReceiptPrinters(receiptPrinterList(m_paired, m_lowEnergy, savedReceiptPrinter()));
}

void PrinterRefresh::labelsEnded(const std::vector<USBPrinter>& printers)
{
    saveLabelName(printers);
    m_view.showLabelPrinters(labelPrinterList(printers, savedLabelPrinter()));
    m_view.showRefreshing(refreshing());
}

void PrinterRefresh::saveLabelName(const std::vector<USBPrinter>& printers)
{
    PrinterSettings settings = m_settings.value();
    const auto found = std::find_if(printers.begin(), printers.end(),
        [&settings](const USBPrinter& printer) { return printer.uri == settings.labelPrinterURI; });
    // Nothing is saved while a job runs, and a stand-in is no name.
    if (found == printers.end() || m_busy() || isStandInName(found->name) || found->name == settings.labelPrinterName)
        return;
    settings.labelPrinterName = found->name;
    try {
        m_settings.save(settings);
    } catch (const std::exception&) {
        m_view.showActivity(labelNotSavedText);
    }
}

SavedPrinter PrinterRefresh::savedReceiptPrinter() const
{
    return savedPrinter(m_settings.value().bluetoothReceiptURI, m_settings.value().bluetoothReceiptName);
}

SavedPrinter PrinterRefresh::savedLabelPrinter() const
{
    return savedPrinter(m_settings.value().labelPrinterURI, m_settings.value().labelPrinterName);
}

} // namespace harrowmint
