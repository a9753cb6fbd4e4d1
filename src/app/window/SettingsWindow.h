#pragma once

#include "app/window/PrinterChoice.h"
#include "settings/PrinterSettings.h"

#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>

class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace harrowmint {

class ElidedLabel;
class StatusLine;

/// The settings window: the agent's one form. A view: shows what it is told, reads its controls into settings, and says
/// what was pressed. Built once, on the main queue; closing it only hides it. Each control's object name is its name
/// here without the prefix.
class SettingsWindow final : public QWidget {
public:
    /// What the buttons do.
    struct Actions {
        std::function<void()> refreshDevices;
        std::function<void()> refreshLabels;
        std::function<void()> disconnectStores;
        std::function<void()> save;
        std::function<void()> printTest;
        std::function<void()> quit; ///< by its key alone
    };

    explicit SettingsWindow(Actions actions);

    /// Sets the controls from `settings`: paper, connection, currency, pause, and what each printer pop-up has saved.
    void showSettings(const PrinterSettings& settings);
    /// After `settings` were saved, by whomever: shows the approved stores; what the user has changed in the form and
    /// not saved yet stays as it is.
    void showSaved(const PrinterSettings& settings);
    /// `saved` with what the controls say, validated. Throws PrinterError.
    [[nodiscard]] PrinterSettings formSettings(const PrinterSettings& saved) const;

    void showLogin(bool isOn);
    [[nodiscard]] bool loginIsOn() const;

    /// The status line: green and well, or red.
    void showStatus(const QString& text, bool isWell);
    void showActivity(const QString& text);
    /// A job runs: what touches printers or saves is disabled.
    void showBusy(bool busy);
    /// Which lists are being made anew; `receipts` has no control of its own that is disabled.
    void showRefreshing(bool devices, bool receipts, bool labels);
    void clearUSBPrinters() { m_printer->clearPrinters(); }
    void showUSBPrinters(const std::vector<ListedPrinter>& printers) { m_printer->setPrinters(printers); }
    void showReceiptPrinters(const std::vector<ListedPrinter>& printers) { m_bluetoothReceipt->setPrinters(printers); }
    void showLabelPrinters(const std::vector<ListedPrinter>& printers) { m_labelPrinter->setPrinters(printers); }

    /// Makes the window visible and the active one.
    void bringToFront();

private:
    void addHeader(QVBoxLayout* column);
    void addReceipts(QVBoxLayout* column);
    void addLabels(QVBoxLayout* column);
    void addStores(QVBoxLayout* column);
    void addActions(QVBoxLayout* column);
    void addFooter(QVBoxLayout* column);
    [[nodiscard]] QPushButton* refreshButton(
        const QString& objectName, const QString& text, const QString& accessibleName, std::function<void()> action);
    void alignColumns();
    void setTabOrders();
    void setInitialSize();
    void addQuitKey();
    void updateControls();
    void showStores(const QStringList& origins);

    Actions m_actions;
    QWidget* m_content = nullptr;
    std::vector<QGridLayout*> m_grids; ///< one a group; their columns are aligned
    StatusLine* m_status = nullptr;
    Popup* m_receiptConnection = nullptr;
    PrinterChoice* m_printer = nullptr;
    PrinterChoice* m_bluetoothReceipt = nullptr;
    PrinterChoice* m_labelPrinter = nullptr;
    Popup* m_paper = nullptr;
    QLineEdit* m_currency = nullptr;
    QPushButton* m_refreshButton = nullptr;
    QPushButton* m_receiptRefreshButton = nullptr;
    QPushButton* m_labelRefreshButton = nullptr;
    ElidedLabel* m_stores = nullptr;
    QPushButton* m_disconnectButton = nullptr;
    QCheckBox* m_pause = nullptr;
    QCheckBox* m_login = nullptr;
    QPushButton* m_saveButton = nullptr;
    QPushButton* m_testButton = nullptr;
    QProgressBar* m_progress = nullptr;
    QLabel* m_activity = nullptr;
    bool m_busy = false;
    bool m_refreshingDevices = false;
    bool m_refreshingReceipts = false;
    bool m_refreshingLabels = false;
    QPointer<QWidget> m_focusBeforeBusy; ///< what had the keyboard when the job began
    QPointer<QWidget> m_focusWhileBusy; ///< what got it when that was disabled
};

} // namespace harrowmint
