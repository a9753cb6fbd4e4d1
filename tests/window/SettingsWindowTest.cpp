#include "window/SettingsWindowFixture.h"

#include <QTest>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class SettingsWindowTest : public SettingsWindowFixture { };

/// A widget's place on the page, from top to bottom and then from where lines begin.
bool isBefore(const QWidget& a, const QWidget& b, const QWidget& page)
{
    const QPoint first = a.mapTo(&page, a.rect().center());
    const QPoint second = b.mapTo(&page, b.rect().center());
    return std::abs(first.y() - second.y()) > 8 ? first.y() < second.y() : first.x() < second.x();
}

QString plain(QString text)
{
    return text.remove(u'&');
}

} // namespace

TEST_F(SettingsWindowTest, ShowsTheStatedTextsFromTopToBottom)
{
    window.show();
    std::vector<QWidget*> texts;
    for (auto* const label : window.findChildren<QLabel*>()) {
        const bool isChanging =
            label->objectName() == u"status" || label->objectName() == u"activity" || label->objectName() == u"stores";
        if (!isChanging && !label->text().isEmpty())
            texts.push_back(label);
    }
    for (auto* const each : window.findChildren<QPushButton*>())
        texts.push_back(each);
    const QWidget& page = *window.findChild<QScrollArea*>()->widget();
    std::sort(texts.begin(), texts.end(), [&](const QWidget* a, const QWidget* b) { return isBefore(*a, *b, page); });
    QStringList shown;
    for (const QWidget* each : texts)
        shown.append(plain(each->property("text").toString()));
    const QStringList expected{
        QStringLiteral("Harrowmint Printer"),
        QStringLiteral("Receipts and labels, ready to print."),
        QStringLiteral("Print receipts using"),
        QStringLiteral("Keep both printers saved. Only the selected connection prints receipts."),
        QStringLiteral("USB receipt printer"),
        QStringLiteral("Refresh"),
        QStringLiteral("Bluetooth receipt printer"),
        QStringLiteral("Refresh"),
        QStringLiteral("Turn on your ESC/POS printer. Pair serial Bluetooth printers in macOS settings, then Refresh."),
        QStringLiteral("Paper"),
        QStringLiteral("Fallback currency"),
        QStringLiteral(
            "Paper width applies to either receipt connection. Currency is used only when the website omits it."),
        QStringLiteral("Bluetooth label printer"),
        QStringLiteral("Refresh"),
        QStringLiteral("Turn on the label printer and allow Bluetooth access."),
        QStringLiteral("Print from your store and approve its connection once on this Mac."),
        QStringLiteral("Disconnect approved stores…"),
        QStringLiteral("Save settings"),
        QStringLiteral("Print test receipt"),
        QStringLiteral(
            "Closing this window keeps printing active. Use the printer icon in the menu bar to reopen or quit."),
        QStringLiteral("No receipt data is saved on this Mac."),
    };
    EXPECT_EQ(shown, expected) << shown.join(u'\n').toStdString();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Harrowmint Printer"));
}

TEST_F(SettingsWindowTest, HasTheStatedItemsAndTitles)
{
    EXPECT_EQ(items(popup("receiptConnection")), (QStringList{QStringLiteral("USB"), QStringLiteral("Bluetooth")}));
    EXPECT_EQ(items(popup("paper")), (QStringList{QStringLiteral("80 mm"), QStringLiteral("58 mm")}));
    EXPECT_EQ(items(popup("printer")), QStringList{QStringLiteral("Select a USB receipt printer…")});
    EXPECT_EQ(items(popup("bluetoothReceipt")), QStringList{QStringLiteral("No Bluetooth receipt printer selected")});
    EXPECT_EQ(items(popup("labelPrinter")), QStringList{QStringLiteral("No label printer selected")});
    EXPECT_EQ(plain(find<QCheckBox>("pause").text()), QStringLiteral("Pause website printing"));
    EXPECT_EQ(plain(find<QCheckBox>("login").text()), QStringLiteral("Start automatically at login"));
}

TEST_F(SettingsWindowTest, ShowsTheSettings)
{
    window.showSettings(fullSettings());
    EXPECT_EQ(popup("paper").currentText(), QStringLiteral("58 mm"));
    EXPECT_EQ(popup("receiptConnection").currentText(), QStringLiteral("Bluetooth"));
    EXPECT_EQ(find<QLineEdit>("currency").text(), QStringLiteral("AED"));
    EXPECT_TRUE(find<QCheckBox>("pause").isChecked());
    EXPECT_EQ(popup("bluetoothReceipt").currentText(), QStringLiteral("MPT-II (Bluetooth LE)"));
    EXPECT_EQ(popup("labelPrinter").currentText(), QStringLiteral("Label 4B"));
    window.showSettings({});
    EXPECT_EQ(popup("paper").currentText(), QStringLiteral("80 mm"));
    EXPECT_EQ(popup("receiptConnection").currentText(), QStringLiteral("USB"));
    EXPECT_FALSE(find<QCheckBox>("pause").isChecked());
}

TEST_F(SettingsWindowTest, GivesBackTheSettingsThatItShows)
{
    const PrinterSettings settings = fullSettings();
    window.showSettings(settings);
    EXPECT_EQ(window.formSettings(settings), settings);
    window.showUSBPrinters(usbPrinterList({{usbURI, QStringLiteral("Acme TM")}}));
    EXPECT_EQ(window.formSettings(settings), settings);
}

TEST_F(SettingsWindowTest, ReadsEveryControl)
{
    window.showSettings(fullSettings());
    window.showUSBPrinters(
        usbPrinterList({{usbURI, QStringLiteral("Acme TM")}, {QStringLiteral("usb://B/2"), QStringLiteral("B")}}));
    popup("printer").setCurrentIndex(2);
    popup("receiptConnection").setCurrentIndex(0);
    popup("bluetoothReceipt").setCurrentIndex(0);
    popup("labelPrinter").setCurrentIndex(0);
    popup("paper").setCurrentIndex(0);
    find<QLineEdit>("currency").setText(QStringLiteral("EUR"));
    find<QCheckBox>("pause").setChecked(false);
    PrinterSettings expected;
    expected.printerURI = QStringLiteral("usb://B/2");
    expected.printerName = QStringLiteral("B");
    expected.currency = QStringLiteral("EUR");
    expected.origins = fullSettings().origins;
    expected.receiptConnection = QStringLiteral("usb");
    EXPECT_EQ(window.formSettings(fullSettings()), expected);
}

TEST_F(SettingsWindowTest, PassesOnWhatIsWrongWithTheForm)
{
    window.showSettings({});
    for (const auto& currency : {QStringLiteral("usd"), QStringLiteral("US"), QString()}) {
        find<QLineEdit>("currency").setText(currency);
        try {
            static_cast<void>(window.formSettings({}));
            FAIL() << currency.toStdString();
        } catch (const PrinterError& error) {
            EXPECT_EQ(error.message(),
                QStringLiteral("Check the receipt connection, printer, paper width and three-letter currency code."));
        }
    }
}

TEST_F(SettingsWindowTest, WritesTheCurrencyInCapitalsAsItIsTyped)
{
    auto& currency = find<QLineEdit>("currency");
    currency.clear();
    QTest::keyClicks(&currency, QStringLiteral("eurx"));
    EXPECT_EQ(currency.text(), QStringLiteral("EUR"));
    currency.setCursorPosition(0);
    QTest::keyClick(&currency, Qt::Key_Delete);
    QTest::keyClicks(&currency, QStringLiteral("a"));
    EXPECT_EQ(currency.text(), QStringLiteral("AUR"));
    EXPECT_EQ(currency.cursorPosition(), 1);
}

TEST_F(SettingsWindowTest, DisablesWhatTouchesPrintersWhileAJobRuns)
{
    const std::set<std::string> untouched{"paper", "currency", "pause", "login"};
    const auto before = enabled();
    EXPECT_EQ(before.size(), 13u);
    window.showBusy(true);
    EXPECT_EQ(enabled(), untouched);
    window.showBusy(false);
    EXPECT_EQ(enabled(), before);
}

TEST_F(SettingsWindowTest, LeavesTheLabelControlsDisabledAfterAJobWhileTheScanRuns)
{
    const auto all = enabled();
    auto scanning = all;
    scanning.erase("labelRefreshButton");
    scanning.erase("labelPrinter");
    window.showRefreshing(false, true, true);
    EXPECT_EQ(enabled(), scanning);
    window.showBusy(true);
    window.showBusy(false);
    EXPECT_EQ(enabled(), scanning);
    window.showRefreshing(false, false, false);
    EXPECT_EQ(enabled(), all);
}

TEST_F(SettingsWindowTest, EnablesNothingWhenAScanEndsDuringAJob)
{
    window.showRefreshing(true, true, true);
    window.showBusy(true);
    window.showRefreshing(false, false, false);
    EXPECT_EQ(enabled(), (std::set<std::string>{"paper", "currency", "pause", "login"}));
}

TEST_F(SettingsWindowTest, ShowsThatARefreshRuns)
{
    window.show();
    auto& progress = find<QProgressBar>("progress");
    EXPECT_FALSE(progress.isVisible());
    window.showRefreshing(true, false, false);
    EXPECT_TRUE(progress.isVisible());
    EXPECT_FALSE(button("refreshButton").isEnabled());
    EXPECT_TRUE(button("labelRefreshButton").isEnabled());
    window.showRefreshing(false, false, false);
    EXPECT_FALSE(progress.isVisible());
}

TEST_F(SettingsWindowTest, GivesTheKeyboardBackToTheButtonThatBeganAJob)
{
    window.show();
    window.activateWindow();
    button("testButton").setFocus();
    window.showBusy(true);
    EXPECT_NE(window.focusWidget(), &button("testButton"));
    window.showBusy(false);
    EXPECT_EQ(window.focusWidget(), &button("testButton"));
}

TEST_F(SettingsWindowTest, LeavesTheKeyboardWhereTheUserHasGoneDuringAJob)
{
    window.show();
    window.activateWindow();
    button("testButton").setFocus();
    window.showBusy(true);
    find<QLineEdit>("currency").setFocus();
    window.showBusy(false);
    EXPECT_EQ(window.focusWidget(), &find<QLineEdit>("currency"));
}

TEST_F(SettingsWindowTest, SaysWhatWasPressed)
{
    window.showSettings(fullSettings());
    for (const char* name :
        {"refreshButton", "receiptRefreshButton", "labelRefreshButton", "disconnectButton", "saveButton", "testButton"})
        button(name).click();
    EXPECT_EQ(pressed,
        (QStringList{QStringLiteral("devices"), QStringLiteral("labels"), QStringLiteral("labels"),
            QStringLiteral("disconnect"), QStringLiteral("save"), QStringLiteral("test")}));
}

TEST_F(SettingsWindowTest, ShowsTheStatusInGreenOrRedAndInWords)
{
    auto& status = find<QLabel>("status");
    window.showStatus(QStringLiteral("Ready on this Mac · port 9100"), true);
    EXPECT_EQ(status.text(), QStringLiteral("Ready on this Mac · port 9100"));
    const QColor well = status.palette().color(QPalette::WindowText);
    EXPECT_GT(well.green(), well.red() + 40);
    window.showStatus(QStringLiteral("Unable to open local printer port."), false);
    EXPECT_EQ(status.text(), QStringLiteral("Unable to open local printer port."));
    const QColor bad = status.palette().color(QPalette::WindowText);
    EXPECT_GT(bad.red(), bad.green() + 40);
}

TEST_F(SettingsWindowTest, ShowsTheApprovedStores)
{
    PrinterSettings settings;
    window.showSettings(settings);
    EXPECT_EQ(find<QLabel>("stores").text(), QStringLiteral("No approved stores"));
    EXPECT_FALSE(button("disconnectButton").isEnabled());
    settings.origins = {QStringLiteral("https://shop.example.com")};
    window.showSaved(settings);
    EXPECT_EQ(find<QLabel>("stores").text(), QStringLiteral("1 approved store: shop.example.com"));
    EXPECT_TRUE(button("disconnectButton").isEnabled());
    window.showSaved(fullSettings());
    EXPECT_EQ(find<QLabel>("stores").text(), QStringLiteral("2 approved stores: shop.example.com, till.example.com"));
    EXPECT_EQ(find<QLabel>("stores").toolTip(),
        toolTipText(QStringLiteral("https://shop.example.com\nhttps://till.example.com")));
}

TEST_F(SettingsWindowTest, AStoreThatIsApprovedMeanwhileLeavesTheFormAsItIs)
{
    window.showSettings(fullSettings());
    find<QLineEdit>("currency").setText(QStringLiteral("EUR"));
    find<QCheckBox>("pause").setChecked(false);
    popup("labelPrinter").setCurrentIndex(0);
    window.showSaved(fullSettings());
    EXPECT_EQ(find<QLineEdit>("currency").text(), QStringLiteral("EUR"));
    EXPECT_FALSE(find<QCheckBox>("pause").isChecked());
    EXPECT_EQ(window.formSettings(fullSettings()).labelPrinterURI, std::nullopt);
}

TEST_F(SettingsWindowTest, SavingDuringAListingKeepsTheSavedPrinter)
{
    window.showSettings(fullSettings());
    window.showUSBPrinters({});
    EXPECT_EQ(popup("printer").currentText(), QStringLiteral("Select a USB receipt printer…"));
    EXPECT_EQ(window.formSettings(fullSettings()).printerURI, usbURI);
}

TEST_F(SettingsWindowTest, ClosingOnlyHidesIt)
{
    window.bringToFront();
    EXPECT_TRUE(window.isVisible());
    window.close();
    EXPECT_FALSE(window.isVisible());
    window.bringToFront();
    EXPECT_TRUE(window.isVisible());
}

TEST_F(SettingsWindowTest, ComesBackFromBeingMinimised)
{
    window.show();
    window.setWindowState(Qt::WindowMinimized);
    window.bringToFront();
    EXPECT_FALSE(window.isMinimized());
}

TEST_F(SettingsWindowTest, QuitsByItsKey)
{
    window.show();
    window.activateWindow();
    QCoreApplication::processEvents();
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(pressed, QStringList{QStringLiteral("quit")});
}
