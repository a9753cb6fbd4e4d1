#pragma once

#include "app/window/SettingsWindow.h"

#include "app/window/WindowParts.h"
#include "base/PrinterError.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <gtest/gtest.h>
#include <set>

namespace harrowmint::test {

inline const auto usbURI = QStringLiteral("usb://Acme/TM?serial=1");
inline const auto receiptURI = QStringLiteral("ble:7C9E6679-7425-40DE-944B-E07FC1F90AE7");
inline const auto labelURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");

inline PrinterSettings fullSettings()
{
    PrinterSettings settings;
    settings.printerURI = usbURI;
    settings.printerName = QStringLiteral("Acme TM");
    settings.paperWidth = 58;
    settings.currency = QStringLiteral("AED");
    settings.origins = {QStringLiteral("https://shop.example.com"), QStringLiteral("https://till.example.com")};
    settings.paused = true;
    settings.receiptConnection = QStringLiteral("bluetooth");
    settings.bluetoothReceiptURI = receiptURI;
    settings.bluetoothReceiptName = QStringLiteral("MPT-II");
    settings.labelPrinterURI = labelURI;
    settings.labelPrinterName = QStringLiteral("Label 4B");
    return settings;
}

class SettingsWindowFixture : public ::testing::Test {
protected:
    template <class Control>
    Control& find(const char* name)
    {
        return *window.findChild<Control*>(QString::fromLatin1(name));
    }
    QComboBox& popup(const char* name) { return find<QComboBox>(name); }
    QPushButton& button(const char* name) { return find<QPushButton>(name); }

    static QStringList items(const QComboBox& box)
    {
        QStringList result;
        for (int index = 0; index < box.count(); ++index)
            result.append(box.itemText(index));
        return result;
    }

    /// What is enabled of the controls that a job or a refresh may disable.
    std::set<std::string> enabled()
    {
        std::set<std::string> result;
        for (const char* name :
            {"testButton", "saveButton", "refreshButton", "labelRefreshButton", "labelPrinter", "receiptRefreshButton",
                "bluetoothReceipt", "receiptConnection", "printer", "paper", "currency", "pause", "login"}) {
            if (find<QWidget>(name).isEnabled())
                result.insert(name);
        }
        return result;
    }

    QStringList pressed;
    SettingsWindow window{{
        .refreshDevices = [this] { pressed.append(QStringLiteral("devices")); },
        .refreshLabels = [this] { pressed.append(QStringLiteral("labels")); },
        .disconnectStores = [this] { pressed.append(QStringLiteral("disconnect")); },
        .save = [this] { pressed.append(QStringLiteral("save")); },
        .printTest = [this] { pressed.append(QStringLiteral("test")); },
        .quit = [this] { pressed.append(QStringLiteral("quit")); },
    }};
};

} // namespace harrowmint::test
