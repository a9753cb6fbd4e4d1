// Makes pictures of the settings window in its main states: screenshots FOLDER. Needs no display.
#include "app/window/AlertSheet.h"
#include "app/window/SettingsWindow.h"
#include "support/VirtualQueue.h"

#include <QApplication>
#include <QDir>
#include <QLocale>
#include <QPainter>
#include <QStyleFactory>
#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace harrowmint;

namespace {

constexpr int wholeHeight = 720;

/// Colours of a dark desktop.
QPalette darkPalette()
{
    const QColor ground(0x2b, 0x2b, 0x2e);
    QPalette palette(QColor(0x3c, 0x3c, 0x40), ground);
    palette.setColor(QPalette::Base, QColor(0x1f, 0x1f, 0x21));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7a, 0xc7));
    return palette;
}

PrinterSettings shopSettings()
{
    PrinterSettings settings;
    settings.printerURI = QStringLiteral("usb://EPSON/TM-T20III?serial=X5PZ012345");
    settings.printerName = QStringLiteral("EPSON TM-T20III");
    settings.currency = QStringLiteral("AED");
    settings.origins = {QStringLiteral("https://till.example.com")};
    settings.receiptConnection = QStringLiteral("usb");
    settings.bluetoothReceiptURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
    settings.bluetoothReceiptName = QStringLiteral("MPT-II");
    settings.labelPrinterURI = QStringLiteral("ble:7C9E6679-7425-40DE-944B-E07FC1F90AE7");
    settings.labelPrinterName = QStringLiteral("Label 4B-2074");
    return settings;
}

struct Scene {
    SettingsWindow& window;
    SerialQueue& queue;
    std::vector<std::unique_ptr<OpenSheet>>& sheets;
};

void showShop(const Scene& scene, const PrinterSettings& settings)
{
    scene.window.showSettings(settings);
    scene.window.showUSBPrinters(usbPrinterList({{settings.printerURI, settings.printerName}}));
    scene.window.showLogin(true);
    scene.window.showStatus(QStringLiteral("Ready on this Mac · port 9100"), true);
    scene.window.showActivity(QStringLiteral("Saved. Printers are ready for your approved stores."));
}

void showFirstStart(const Scene& scene)
{
    scene.window.showSettings({});
    scene.window.showLogin(true);
    scene.window.showStatus(QStringLiteral("Ready on this Mac · port 9100"), true);
    scene.window.showActivity(QStringLiteral("No USB printer found. Check power and cable, then Refresh."));
}

void showLongNames(const Scene& scene)
{
    PrinterSettings settings = shopSettings();
    const auto longName = QStringLiteral("Very Long Company Name International Thermal Receipt Printer Model ");
    settings.printerName = longName.repeated(3);
    settings.bluetoothReceiptName = QStringLiteral("طابعة الإيصالات في الطابق الأرضي بجانب الصندوق الرئيسي للمتجر");
    settings.labelPrinterName = QString(128, u'W');
    settings.origins.clear();
    for (int store = 1; store <= 8; ++store)
        settings.origins.append(QStringLiteral("https://branch-%1.a-rather-long-shop-name.example.com").arg(store));
    showShop(scene, settings);
    scene.window.showActivity(QStringLiteral("Bluetooth LE receipt printer stopped answering while it was printing. "
                                             "Check the paper before retrying; part may have printed."));
}

void showBusy(const Scene& scene)
{
    showShop(scene, shopSettings());
    scene.window.showBusy(true);
    scene.window.showActivity(QStringLiteral("Sending receipt to USB printer…"));
}

void showRefreshing(const Scene& scene)
{
    showShop(scene, shopSettings());
    scene.window.showRefreshing(true, true, true);
    scene.window.showUSBPrinters({});
    scene.window.showActivity({});
}

void showFailure(const Scene& scene)
{
    showShop(scene, shopSettings());
    scene.window.showStatus(
        QStringLiteral("Local settings could not be read. Website printing is disabled until this is resolved."),
        false);
    scene.window.showActivity({});
    scene.sheets.push_back(AlertSheet::open(&scene.window, scene.queue,
        {.message =
                QStringLiteral("Check the receipt connection, printer, paper width and three-letter currency code."),
            .informative = {},
            .buttons = {QStringLiteral("OK")}},
        {}));
}

void showApproval(const Scene& scene, const QString& origin)
{
    showShop(scene, shopSettings());
    scene.sheets.push_back(AlertSheet::open(&scene.window, scene.queue,
        {.message = QStringLiteral("Allow this store to print?"),
            .informative = origin
                + QStringLiteral("\n\nAllow only your own Harrowmint store. It can send receipts and labels to your "
                                 "saved printers on this Mac."),
            .buttons = {QStringLiteral("Allow store"), QStringLiteral("Cancel")},
            .safe = SheetResponse::second,
            .isDeliberate = true},
        {}));
}

/// The window and, in its middle, the sheet that is open on it.
QPixmap picture(SettingsWindow& window)
{
    QPixmap result = window.grab();
    if (const auto* const sheet = window.findChild<QDialog*>()) {
        const QPixmap above = const_cast<QDialog*>(sheet)->grab();
        QPainter painter(&result);
        const QRect room(QPoint(), result.deviceIndependentSize().toSize());
        painter.fillRect(room, QColor(0, 0, 0, 90));
        QRect place(QPoint(), above.deviceIndependentSize().toSize());
        place.moveCenter(room.center());
        painter.drawPixmap(place.topLeft(), above);
    }
    return result;
}

struct State {
    const char* name;
    bool dark;
    bool rightToLeft;
    std::function<void(const Scene&)> show;
};

bool save(const State& state, const QDir& folder, const QString& suffix)
{
    QApplication::setPalette(state.dark ? darkPalette() : QApplication::style()->standardPalette());
    QApplication::setLayoutDirection(state.rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    QLocale::setDefault(state.rightToLeft ? QLocale(QLocale::Arabic, QLocale::UnitedArabEmirates) : QLocale::c());
    test::VirtualQueue queue(std::make_shared<test::VirtualClock>());
    std::vector<std::unique_ptr<OpenSheet>> sheets;
    SettingsWindow window({});
    state.show({window, queue, sheets});
    window.show();
    if (!suffix.isEmpty()) // the screen of this platform is too small for the whole window at a larger scale
        window.resize(window.width() + QFontMetrics(window.font()).averageCharWidth() * 40, wholeHeight);
    queue.clock().advance(AlertSheet::settleTime);
    QApplication::processEvents();
    const QString path = folder.filePath(QString::fromLatin1(state.name) + suffix + QStringLiteral(".png"));
    const bool saved = picture(window).save(path);
    std::printf("%s%s\n", qPrintable(path), saved ? "" : ": cannot be written");
    return saved;
}

std::vector<State> states()
{
    const auto shop = [](const Scene& scene) { showShop(scene, shopSettings()); };
    const auto approval = [](const Scene& scene) { showApproval(scene, QStringLiteral("https://till.example.com")); };
    const auto longOrigin = [](const Scene& scene) {
        showApproval(
            scene, QStringLiteral("https://") + (QString(63, u'a') + u'.').repeated(3) + QStringLiteral("example.com"));
    };
    return {
        {"light", false, false, shop},
        {"dark", true, false, shop},
        {"first-start", false, false, showFirstStart},
        {"long-names", false, false, showLongNames},
        {"long-names-right-to-left", false, true, showLongNames},
        {"right-to-left", false, true, shop},
        {"busy", false, false, showBusy},
        {"busy-dark", true, false, showBusy},
        {"refreshing", false, false, showRefreshing},
        {"error", false, false, showFailure},
        {"error-dark", true, false, showFailure},
        {"approval", false, false, approval},
        {"approval-dark", true, false, approval},
        {"approval-right-to-left", false, true, approval},
        {"approval-long-address", false, false, longOrigin},
    };
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: screenshots FOLDER\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "screenshots: %s cannot be made\n", argv[1]);
        return 1;
    }
    // The scale is the process's: the program is run once for each.
    const QString scale = qEnvironmentVariable("QT_SCALE_FACTOR");
    const QString suffix = scale.isEmpty() ? QString() : QStringLiteral("-scale-") + scale;
    bool saved = true;
    for (const State& state : states())
        saved = save(state, folder, suffix) && saved;
    return saved ? 0 : 1;
}
