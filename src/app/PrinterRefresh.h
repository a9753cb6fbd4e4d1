#pragma once

#include "app/PrinterDiscovery.h"
#include "app/SavedSettings.h"
#include "app/window/PrinterList.h"
#include "base/SerialQueue.h"

#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace harrowmint {

/// Which printer lists are being made anew.
struct Refreshing {
    bool devices = false; ///< USB
    bool receipts = false; ///< Bluetooth receipt printers, over LE or paired
    bool labels = false; ///< Bluetooth label printers

    bool operator==(const Refreshing&) const = default;
};

/// Where the printer lists are shown. Main queue.
class PrinterListsView {
public:
    PrinterListsView() = default;
    PrinterListsView(const PrinterListsView&) = delete;
    PrinterListsView& operator=(const PrinterListsView&) = delete;
    virtual ~PrinterListsView() = default;

    /// The USB list is being made anew; what the user has chosen of it is judged by the list that comes.
    virtual void clearUSBPrinters() = 0;
    virtual void showUSBPrinters(const std::vector<ListedPrinter>& printers) = 0;
    virtual void showReceiptPrinters(const std::vector<ListedPrinter>& printers) = 0;
    virtual void showLabelPrinters(const std::vector<ListedPrinter>& printers) = 0;
    virtual void showRefreshing(const Refreshing& refreshing) = 0;
    virtual void showActivity(const QString& text) = 0;
};

/// One discovery at a time that ends with its result or, without one, after a limit. Home queue only.
class LimitedDiscovery {
public:
    explicit LimitedDiscovery(SerialQueue& queue)
        : m_queue(queue)
    {
    }
    LimitedDiscovery(const LimitedDiscovery&) = delete;
    LimitedDiscovery& operator=(const LimitedDiscovery&) = delete;
    ~LimitedDiscovery() = default;

    [[nodiscard]] bool running() const { return m_running; }
    /// Calls `discover`; `ended` then gets its result, or nothing when it failed or `limit` has passed. What comes
    /// later is dropped. Not while one runs.
    void start(
        SerialQueue::Duration limit, const PrinterDiscovery::Discover& discover, PrinterDiscovery::Completion ended);

private:
    void end(std::optional<std::vector<USBPrinter>> printers);

    SerialQueue& m_queue;
    bool m_running = false;
    PrinterDiscovery::Completion m_ended;
    Timer m_limit;
    std::shared_ptr<LimitedDiscovery*> m_current; ///< held by the one that runs; weakly by its completion
};

/// Fills the printer lists of the settings window by discovering printers. Lives on the main queue; owned by the
/// window's controller.
class PrinterRefresh {
public:
    /// Longer than what each discovery takes by itself: listing USB printers 3.5 s, a scan 8 s.
    static constexpr std::chrono::seconds usbLimit{10};
    static constexpr std::chrono::seconds bluetoothLimit{12};

    /// `busy` tells whether a job runs. Everything passed in outlives the refresh.
    PrinterRefresh(SerialQueue& main, PrinterDiscovery discovery, SavedSettings& settings, std::function<bool()> busy,
        PrinterListsView& view);

    /// Lists the USB printers anew, and then the Bluetooth ones. Does nothing while a job or another listing runs.
    void refreshDevices();
    /// Lists the Bluetooth receipt and label printers anew. Does nothing while a job runs, and never starts a discovery
    /// of a kind that runs already. The saved label printer's current name is saved.
    void refreshLabels();
    /// A label scan is running.
    [[nodiscard]] bool refreshingLabels() const { return m_labels.running(); }
    /// What is being listed anew.
    [[nodiscard]] Refreshing refreshing() const;

private:
    void usbEnded(const std::optional<std::vector<USBPrinter>>& printers);
    void startReceipts(
        LimitedDiscovery& discovery, const PrinterDiscovery::Discover& discover, std::vector<USBPrinter>& found);
    void startLabels();
    void showReceipts();
    void labelsEnded(const std::vector<USBPrinter>& printers);
    void saveLabelName(const std::vector<USBPrinter>& printers);
    [[nodiscard]] SavedPrinter savedReceiptPrinter() const;
    [[nodiscard]] SavedPrinter savedLabelPrinter() const;

    PrinterDiscovery m_discovery;
    SavedSettings& m_settings;
    std::function<bool()> m_busy;
    PrinterListsView& m_view;
    LimitedDiscovery m_usb;
    LimitedDiscovery m_pairedSerial;
    LimitedDiscovery m_receiptsBLE;
    LimitedDiscovery m_labels;
    std::vector<USBPrinter> m_paired; ///< found by the latest discovery of that kind
    std::vector<USBPrinter> m_lowEnergy;
};

} // namespace harrowmint
