#include "app/window/PrinterList.h"

#include <algorithm>
#include <array>

namespace harrowmint {

namespace {

const auto savedReceiptName = QStringLiteral("Saved receipt printer");
const auto savedLabelName = QStringLiteral("Saved label printer");
const auto connectedReceiptName = QStringLiteral("Receipt printer");
const auto connectedLabelName = QStringLiteral("Label printer");
const auto lowEnergySuffix = QStringLiteral(" (Bluetooth LE)");

/// What is known better than a stand-in: the name that was saved.
USBPrinter withBestName(USBPrinter printer, const SavedPrinter& saved)
{
    if (saved && saved->uri == printer.uri && !saved->name.isEmpty() && isStandInName(printer.name))
        printer.name = saved->name;
    return printer;
}

ListedPrinter receiptItem(const USBPrinter& printer)
{
    const bool isLowEnergy = printer.uri.startsWith(QLatin1String("ble:"));
    const QString name = printer.name.isEmpty() ? savedReceiptName : printer.name;
    return {printer, isLowEnergy ? name + lowEnergySuffix : name};
}

ListedPrinter labelItem(const USBPrinter& printer)
{
    return {printer, printer.name.isEmpty() ? savedLabelName : printer.name};
}

template <class Item>
void add(std::vector<ListedPrinter>& list, const USBPrinter& printer, Item item)
{
    const bool isThere = std::any_of(list.begin(), list.end(),
        [&printer](const ListedPrinter& listed) { return listed.printer.uri == printer.uri; });
    if (!isThere)
        list.push_back(item(printer));
}

bool isAmong(const std::vector<USBPrinter>& printers, const QString& uri)
{
    return std::any_of(
        printers.begin(), printers.end(), [&uri](const USBPrinter& printer) { return printer.uri == uri; });
}

} // namespace

SavedPrinter savedPrinter(const std::optional<QString>& uri, const std::optional<QString>& name)
{
    if (!uri || uri->isEmpty())
        return std::nullopt;
    return USBPrinter{*uri, name.value_or(QString())};
}

std::vector<ListedPrinter> usbPrinterList(const std::vector<USBPrinter>& found)
{
    std::vector<ListedPrinter> list;
    list.reserve(found.size());
    for (const USBPrinter& printer : found)
        list.push_back({printer, printer.name});
    return list;
}

std::vector<ListedPrinter> receiptPrinterList(
    const std::vector<USBPrinter>& paired, const std::vector<USBPrinter>& lowEnergy, const SavedPrinter& saved)
{
    std::vector<ListedPrinter> list;
    for (const USBPrinter& printer : paired)
        add(list, withBestName(printer, saved), receiptItem);
    if (saved && !isAmong(lowEnergy, saved->uri))
        add(list, *saved, receiptItem);
    for (const USBPrinter& printer : lowEnergy)
        add(list, withBestName(printer, saved), receiptItem);
    return list;
}

std::vector<ListedPrinter> labelPrinterList(const std::vector<USBPrinter>& found, const SavedPrinter& saved)
{
    std::vector<ListedPrinter> list;
    for (const USBPrinter& printer : found)
        add(list, withBestName(printer, saved), labelItem);
    if (saved)
        add(list, *saved, labelItem);
    return list;
}

bool isStandInName(const QString& name)
{
    const std::array names{savedReceiptName, savedLabelName, connectedReceiptName, connectedLabelName};
    return name.isEmpty() || std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace harrowmint
