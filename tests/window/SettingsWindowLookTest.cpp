#include "window/SettingsWindowFixture.h"

#include <QTest>
#include <QTextDocument>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class SettingsWindowLookTest : public SettingsWindowFixture { };

} // namespace

TEST_F(SettingsWindowLookTest, HasNoMnemonicTwiceAndEachLeadsToItsControl)
{
    std::set<QChar> letters;
    const auto take = [&](const QString& text) {
        const qsizetype mark = text.indexOf(u'&');
        ASSERT_GE(mark, 0) << text.toStdString();
        EXPECT_TRUE(letters.insert(text.at(mark + 1).toUpper()).second) << text.toStdString();
    };
    for (const auto* label : window.findChildren<QLabel*>()) {
        if (label->buddy())
            take(label->text());
    }
    for (const auto* each : window.findChildren<QPushButton*>())
        take(each->text());
    for (const auto* each : window.findChildren<QCheckBox*>())
        take(each->text());
    EXPECT_EQ(letters.size(), 14u);
}

TEST_F(SettingsWindowLookTest, TabsThroughItsControlsInTheirOrder)
{
    window.showSettings(fullSettings());
    window.show();
    window.activateWindow();
    QCoreApplication::processEvents();
    popup("receiptConnection").setFocus();
    QStringList order{window.focusWidget()->objectName()};
    for (int i = 0; i < 13; ++i) {
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        order.append(window.focusWidget()->objectName());
    }
    const QStringList expected{QStringLiteral("receiptConnection"), QStringLiteral("printer"),
        QStringLiteral("refreshButton"), QStringLiteral("bluetoothReceipt"), QStringLiteral("receiptRefreshButton"),
        QStringLiteral("paper"), QStringLiteral("currency"), QStringLiteral("labelPrinter"),
        QStringLiteral("labelRefreshButton"), QStringLiteral("disconnectButton"), QStringLiteral("pause"),
        QStringLiteral("login"), QStringLiteral("saveButton"), QStringLiteral("testButton")};
    EXPECT_EQ(order, expected) << order.join(u' ').toStdString();
}

TEST_F(SettingsWindowLookTest, NamesEveryControlForAScreenReader)
{
    std::set<QString> names;
    for (auto* const control : window.findChildren<QWidget*>()) {
        if (control->focusPolicy() == Qt::NoFocus || control->objectName().isEmpty()
            || control->objectName().startsWith(u"qt_"))
            continue;
        QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(control);
        ASSERT_NE(accessible, nullptr);
        const QString name = accessible->text(QAccessible::Name);
        EXPECT_FALSE(name.isEmpty()) << control->objectName().toStdString();
        EXPECT_TRUE(names.insert(name).second) << name.toStdString();
    }
    EXPECT_EQ(names.size(), 14u);
}

TEST_F(SettingsWindowLookTest, NeverGrowsWiderForALongName)
{
    const int before = window.minimumSizeHint().width();
    PrinterSettings settings = fullSettings();
    settings.labelPrinterName = QString(256, u'W');
    settings.origins = {
        QStringLiteral("https://") + QString(63, u'a') + u'.' + QString(63, u'b') + QStringLiteral(".com")};
    window.showSettings(settings);
    window.showActivity(QString(60, u'W'));
    EXPECT_EQ(window.minimumSizeHint().width(), before);
}

TEST_F(SettingsWindowLookTest, ShowsEverythingAtItsFirstSizeAndScrollsWhenItIsSmaller)
{
    window.showSettings(fullSettings());
    window.show();
    auto* const scroll = window.findChild<QScrollArea*>();
    EXPECT_EQ(scroll->verticalScrollBar()->maximum(), 0);
    window.resize(window.minimumSize());
    EXPECT_GT(scroll->verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(scroll->horizontalScrollBar()->maximum(), 0);
}

TEST_F(SettingsWindowLookTest, CutsNoTextAtAnyWidth)
{
    window.showSettings(fullSettings());
    window.show();
    for (const int width : {window.minimumWidth(), window.width(), window.width() * 2}) {
        window.resize(width, window.height());
        QCoreApplication::processEvents();
        for (const auto* label : window.findChildren<QLabel*>()) {
            if (label->objectName() == u"stores" || !label->isVisible())
                continue; // elided, with a tool tip
            EXPECT_GE(label->height(), label->heightForWidth(label->width())) << label->text().toStdString();
            if (!label->wordWrap()) {
                EXPECT_GE(label->width(), label->sizeHint().width()) << label->text().toStdString();
            }
        }
    }
}

TEST_F(SettingsWindowLookTest, FollowsTheDesktopFromLightToDark)
{
    const QPalette before = QGuiApplication::palette();
    window.showStatus(QStringLiteral("Ready on this Mac · port 9100"), true);
    const QColor onLight = find<QLabel>("status").palette().color(QPalette::WindowText);
    QApplication::setPalette(QPalette(QColor(0x3c, 0x3c, 0x40), QColor(0x2b, 0x2b, 0x2e)));
    QCoreApplication::processEvents();
    const QColor onDark = find<QLabel>("status").palette().color(QPalette::WindowText);
    EXPECT_LT(onLight.lightness(), 128);
    EXPECT_GT(onDark.lightness(), 128);
    for (const auto* label : window.findChildren<QLabel*>())
        EXPECT_GT(label->palette().color(QPalette::WindowText).lightness(), 128) << label->text().toStdString();
    QApplication::setPalette(before);
}

TEST_F(SettingsWindowLookTest, ShowsTextsOfOthersAsTheyStand)
{
    const QString foreign = QStringLiteral("<img src=file:/dev/null><b>x</b>");
    PrinterSettings settings = fullSettings();
    settings.origins = {QStringLiteral("https://") + foreign};
    window.showSettings(settings);
    window.showActivity(foreign);
    window.showStatus(foreign, false);
    for (const auto* label : window.findChildren<QLabel*>())
        EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
    QTextDocument tip;
    tip.setHtml(find<QLabel>("stores").toolTip());
    EXPECT_EQ(tip.toPlainText(), settings.origins.first());
}

TEST(WindowTexts, KeepTheirLinesAndMarksInAToolTip)
{
    const QString text = QStringLiteral("<a href=\"x\">&amp;</a>\nsecond line");
    QTextDocument shown;
    shown.setHtml(toolTipText(text));
    EXPECT_EQ(shown.toPlainText(), text);
    EXPECT_TRUE(Qt::mightBeRichText(toolTipText(QStringLiteral("plain"))));
    EXPECT_TRUE(toolTipText(QString()).isEmpty());
}

TEST(WindowTexts, AreUntouchedFromLeftToRight)
{
    EXPECT_EQ(displayText(QStringLiteral("80 mm")), QStringLiteral("80 mm"));
}

TEST(WindowTexts, KeepTheirNumbersAndFullStopsInPlaceFromRightToLeft)
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    const QChar mark(0x200E);
    EXPECT_EQ(displayText(QStringLiteral("80 mm")), mark + QStringLiteral("80 mm") + mark);
    EXPECT_EQ(displayText(QStringLiteral("a.\n\nb.")),
        mark + QStringLiteral("a.") + mark + QStringLiteral("\n\n") + mark + QStringLiteral("b.") + mark);
    EXPECT_EQ(displayText(QStringLiteral("طابعة")), QStringLiteral("طابعة"));
    SettingsWindow window({});
    PrinterSettings settings;
    settings.paperWidth = 58;
    window.showSettings(settings);
    EXPECT_EQ(window.formSettings(settings).paperWidth, 58);
    EXPECT_TRUE(window.isRightToLeft());
    QApplication::setLayoutDirection(Qt::LeftToRight);
}
