#pragma once

#include "app/PrinterRefresh.h"

#include "support/FaultyFileSystem.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>

namespace harrowmint::test {

inline const auto directory = QStringLiteral("/data");
inline const auto labelURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
inline const auto receiptURI = QStringLiteral("ble:7C9E6679-7425-40DE-944B-E07FC1F90AE7");
inline const USBPrinter usbPrinter{QStringLiteral("usb://Acme/TM?serial=1"), QStringLiteral("Acme TM")};
inline const USBPrinter pairedPrinter{QStringLiteral("spp:00112233AABB"), QStringLiteral("Till (paired serial)")};
inline const USBPrinter lePrinter{receiptURI, QStringLiteral("MPT-II")};
inline const USBPrinter labelPrinter{labelURI, QStringLiteral("Label 4B")};
inline const auto noneFoundText = QStringLiteral("No USB printer found. Check power and cable, then Refresh.");
inline const auto failedText = QStringLiteral("USB discovery failed. Check the printer connection and try Refresh.");

/// Remembers what is shown.
class RecordedView final : public PrinterListsView {
public:
    void clearUSBPrinters() override
    {
        usb.clear();
        ++usbCleared;
    }
    void showUSBPrinters(const std::vector<ListedPrinter>& printers) override
    {
        usb = titles(printers);
        ++usbShown;
    }
    void showReceiptPrinters(const std::vector<ListedPrinter>& printers) override { receipts = titles(printers); }
    void showLabelPrinters(const std::vector<ListedPrinter>& printers) override { labels = titles(printers); }
    void showRefreshing(const Refreshing& state) override { refreshing = state; }
    void showActivity(const QString& text) override { activities.append(text); }

    int usbCleared = 0;
    int usbShown = 0;
    QStringList usb{QStringLiteral("untouched")};
    QStringList receipts{QStringLiteral("untouched")};
    QStringList labels{QStringLiteral("untouched")};
    Refreshing refreshing;
    QStringList activities;

private:
    static QStringList titles(const std::vector<ListedPrinter>& printers)
    {
        QStringList result;
        for (const ListedPrinter& each : printers)
            result.append(each.title);
        return result;
    }
};

/// Discoveries that end when the test says so.
struct ScriptedDiscovery {
    std::vector<PrinterDiscovery::Completion> usb;
    std::vector<PrinterDiscovery::Completion> paired;
    std::vector<PrinterDiscovery::Completion> lowEnergy;
    std::vector<PrinterDiscovery::Completion> labels;
    std::optional<QString> receiptSelected;
    std::optional<QString> labelSelected;

    PrinterDiscovery seam()
    {
        using Completion = PrinterDiscovery::Completion;
        return {
            .usb = [this](Completion completion) { usb.push_back(std::move(completion)); },
            .pairedSerial = [this](Completion completion) { paired.push_back(std::move(completion)); },
            .receiptsBLE =
                [this](const std::optional<QString>& selected, Completion completion) {
                    receiptSelected = selected;
                    lowEnergy.push_back(std::move(completion));
                },
            .labels =
                [this](const std::optional<QString>& selected, Completion completion) {
                    labelSelected = selected;
                    labels.push_back(std::move(completion));
                },
        };
    }
};

/// A refresh on virtual time.
class PrinterRefreshFixture : public ::testing::Test {
protected:
    void save(const std::function<void(PrinterSettings&)>& change)
    {
        PrinterSettings changed = settings.value();
        change(changed);
        settings.save(changed);
    }
    void chooseLabelPrinter(const std::optional<QString>& name)
    {
        save([&](PrinterSettings& s) {
            s.labelPrinterURI = labelURI;
            s.labelPrinterName = name;
        });
    }
    void endBluetooth()
    {
        discovery.paired.back()({});
        discovery.lowEnergy.back()({});
        discovery.labels.back()({});
    }

    FaultyFileSystem files;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue main{clock};
    SavedSettings settings{directory, files};
    ScriptedDiscovery discovery;
    RecordedView view;
    bool busy = false;
    std::optional<PrinterRefresh> refresh{
        std::in_place, main, discovery.seam(), settings, [this] { return busy; }, static_cast<PrinterListsView&>(view)};
};

using Titles = QStringList;

} // namespace harrowmint::test
