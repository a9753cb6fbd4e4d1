#pragma once

#include "app/JobDispatch.h"
#include "app/PrinterRefresh.h"
#include "app/SavedSettings.h"
#include "app/window/SettingsWindow.h"
#include "app/window/Sheet.h"
#include "base/SerialQueue.h"

#include <QString>
#include <functional>
#include <memory>

namespace harrowmint {

/// What the settings window needs of the agent. `busy` tells whether a job runs; the others may throw where noted.
struct WindowServices {
    std::function<bool()> busy;
    std::function<void()> loadMissingGuards; ///< throws
    std::function<void(bool enabled)> configureLogin; ///< throws; may be missing
    std::function<void(const PrinterSettings&, const JobDispatch::Answer&)> printTest;
    std::function<void()> disconnectStores;
    std::function<void()> quit;
    std::function<void(const QString&)> showActivity; ///< puts a text on the activity line, and in the log
    std::function<void()> activate; ///< brings the agent before other programs; may be missing
};

/// The settings window and what its buttons do. Lives on the main queue; owned by the delegate. Everything passed in
/// outlives it.
class WindowController final : public SheetWindow, private PrinterListsView {
public:
    /// Builds the window and sets its controls from `settings`.
    WindowController(SerialQueue& main, SavedSettings& settings, PrinterDiscovery discovery, WindowServices services);
    ~WindowController() override;

    void bringToFront() override;
    [[nodiscard]] std::unique_ptr<OpenSheet> showSheet(const SheetText& text, Completion completion) override;
    void showError(const QString& text) override;

    /// Saves what the form says, loads guards that are missing, applies the login choice and tells so. Nothing while a
    /// job runs; the first failure is shown and ends it.
    void saveSettings();
    /// Sends the test receipt by what the form says, saved or not. Failures are shown.
    void printTest();
    /// Lists the printers anew: USB, then Bluetooth.
    void refreshDevices() { m_refresh.refreshDevices(); }
    /// After any save: shows what has changed.
    void showSaved() { m_window.showSaved(m_settings.value()); }
    [[nodiscard]] SettingsWindow& window() { return m_window; }

private:
    void clearUSBPrinters() override { m_window.clearUSBPrinters(); }
    void showUSBPrinters(const std::vector<ListedPrinter>& printers) override { m_window.showUSBPrinters(printers); }
    void showReceiptPrinters(const std::vector<ListedPrinter>& printers) override
    {
        m_window.showReceiptPrinters(printers);
    }
    void showLabelPrinters(const std::vector<ListedPrinter>& printers) override
    {
        m_window.showLabelPrinters(printers);
    }
    void showRefreshing(const Refreshing& refreshing) override
    {
        m_window.showRefreshing(refreshing.devices, refreshing.receipts, refreshing.labels);
    }
    void showActivity(const QString& text) override { m_services.showActivity(text); }

    SerialQueue& m_main;
    SavedSettings& m_settings;
    WindowServices m_services;
    SettingsWindow m_window;
    PrinterRefresh m_refresh;
    std::unique_ptr<OpenSheet> m_error;
    std::shared_ptr<WindowController*> m_self;
};

} // namespace harrowmint
