#include "app/window/SettingsWindow.h"

#include "app/window/WindowParts.h"

#include <QAccessible>
#include <QCheckBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace harrowmint {

namespace {

const auto usb = QStringLiteral("usb");
const auto bluetooth = QStringLiteral("bluetooth");
constexpr int usbIndex = 0;
constexpr int bluetoothIndex = 1;

QString paperTitle(std::int64_t width)
{
    return QString::number(width) + QStringLiteral(" mm");
}

/// What stands beside the disconnect button.
QString storesText(const QStringList& origins)
{
    if (origins.isEmpty())
        return QStringLiteral("No approved stores");
    QStringList hosts;
    for (const QString& origin : origins)
        hosts.append(origin.mid(QStringLiteral("https://").size()));
    const QString count = origins.size() == 1 ? QStringLiteral("1 approved store: ")
                                              : QString::number(origins.size()) + QStringLiteral(" approved stores: ");
    return count + hosts.join(QStringLiteral(", "));
}

/// A screen reader says a new text of `label` at once.
void announce(QLabel* label)
{
    QAccessibleEvent event(label, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void setUri(std::optional<QString>& uri, std::optional<QString>& name, const SavedPrinter& printer)
{
    uri = printer ? std::optional(printer->uri) : std::nullopt;
    name = printer ? std::optional(printer->name) : std::nullopt;
}

} // namespace

void SettingsWindow::showSettings(const PrinterSettings& settings)
{
    m_paper->setCurrentIndex(m_paper->findText(displayText(paperTitle(settings.paperWidth))));
    m_receiptConnection->setCurrentIndex(settings.usesBluetoothReceipt() ? bluetoothIndex : usbIndex);
    m_currency->setText(settings.currency);
    m_pause->setChecked(settings.paused);
    showSaved(settings);
    // Until they are looked for, the pop-ups show what was saved.
    const SavedPrinter receipt = savedPrinter(settings.bluetoothReceiptURI, settings.bluetoothReceiptName);
    showReceiptPrinters(receiptPrinterList({}, {}, receipt));
    showLabelPrinters(labelPrinterList({}, savedPrinter(settings.labelPrinterURI, settings.labelPrinterName)));
}

void SettingsWindow::showSaved(const PrinterSettings& settings)
{
    m_printer->setSaved(savedPrinter(settings.printerURI, settings.printerName));
    m_bluetoothReceipt->setSaved(savedPrinter(settings.bluetoothReceiptURI, settings.bluetoothReceiptName));
    m_labelPrinter->setSaved(savedPrinter(settings.labelPrinterURI, settings.labelPrinterName));
    showStores(settings.origins);
}

PrinterSettings SettingsWindow::formSettings(const PrinterSettings& saved) const
{
    PrinterSettings form = saved;
    const USBPrinter usbPrinter = m_printer->chosen().value_or(USBPrinter{});
    form.printerURI = usbPrinter.uri;
    form.printerName = usbPrinter.name;
    form.receiptConnection = m_receiptConnection->currentIndex() == bluetoothIndex ? bluetooth : usb;
    setUri(form.bluetoothReceiptURI, form.bluetoothReceiptName, m_bluetoothReceipt->chosen());
    setUri(form.labelPrinterURI, form.labelPrinterName, m_labelPrinter->chosen());
    form.paperWidth = m_paper->currentData().toLongLong();
    form.currency = m_currency->text();
    form.paused = m_pause->isChecked();
    return form.validated();
}

void SettingsWindow::showLogin(bool isOn)
{
    m_login->setChecked(isOn);
}

bool SettingsWindow::loginIsOn() const
{
    return m_login->isChecked();
}

void SettingsWindow::showStatus(const QString& text, bool isWell)
{
    m_status->show(text, isWell);
    announce(m_status->label());
}

void SettingsWindow::showActivity(const QString& text)
{
    m_activity->setText(displayText(text));
    announce(m_activity);
}

void SettingsWindow::showBusy(bool busy)
{
    QWidget* const before = focusWidget();
    m_busy = busy;
    updateControls();
    if (busy) {
        m_focusBeforeBusy = before;
        m_focusWhileBusy = focusWidget();
    } else if (m_focusBeforeBusy && before == m_focusWhileBusy) {
        // The control that was disabled under the user's fingers; not when they have gone on to another.
        m_focusBeforeBusy->setFocus();
    }
}

void SettingsWindow::showRefreshing(bool devices, bool receipts, bool labels)
{
    m_refreshingDevices = devices;
    m_refreshingReceipts = receipts;
    m_refreshingLabels = labels;
    updateControls();
}

void SettingsWindow::updateControls()
{
    for (QWidget* control : std::initializer_list<QWidget*>{
             m_testButton, m_saveButton, m_receiptRefreshButton, m_bluetoothReceipt, m_receiptConnection, m_printer})
        control->setEnabled(!m_busy);
    m_refreshButton->setEnabled(!m_busy && !m_refreshingDevices);
    m_labelRefreshButton->setEnabled(!m_busy && !m_refreshingLabels);
    m_labelPrinter->setEnabled(!m_busy && !m_refreshingLabels);
    m_progress->setVisible(m_refreshingDevices || m_refreshingReceipts || m_refreshingLabels);
}

void SettingsWindow::showStores(const QStringList& origins)
{
    const QString all = origins.join(u'\n');
    m_stores->setText(storesText(origins));
    m_stores->setToolTip(toolTipText(all));
    m_stores->setAccessibleDescription(all);
    m_disconnectButton->setEnabled(!origins.isEmpty());
}

void SettingsWindow::bringToFront()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    if (QGuiApplication::platformName() != u"offscreen") // which would complain in the log
        raise();
    activateWindow();
}

} // namespace harrowmint
