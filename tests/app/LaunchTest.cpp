#include "app/DelegateFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QIcon>
#include <QLineEdit>
#include <QPixmap>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class LaunchTest : public DelegateFixture {
protected:
    void damageSettings() { writeFile(directory.filePath(PrinterSettings::fileName()), "{"); }
    [[nodiscard]] bool isShown() const { return delegate->window().isVisible(); }
    bool loginBox() { return find<QCheckBox>("login").isChecked(); }
};

} // namespace

TEST_F(LaunchTest, TakesItsStepsInTheirOrder)
{
    saveSettings();
    QStringList steps;
    configure = [&](AgentConfiguration& configuration) {
        configuration.applicationIcon = [&] {
            steps.append(QStringLiteral("icon"));
            EXPECT_FALSE(delegate->settings().printerURI.isEmpty()) << "settings are loaded first";
            return QIcon();
        };
        configuration.statusItem = [&](const StatusItemActions&) {
            steps.append(QStringLiteral("status item"));
            return std::make_shared<int>();
        };
        configuration.discovery = [&](SerialQueue&, SerialQueue&) {
            steps.append(QStringLiteral("window"));
            PrinterDiscovery discovery;
            discovery.usb = [&](const auto&) { steps.append(QStringLiteral("refresh")); };
            return discovery;
        };
        configuration.loginItemExists = [&] {
            steps.append(QStringLiteral("login box"));
            EXPECT_EQ(find<QLineEdit>("currency").text(), QStringLiteral("USD")) << "the window is built first";
            EXPECT_EQ(delegate->port(), 0) << "the server starts later";
            return true;
        };
        configuration.observeWake = [&](const std::function<void()>&) {
            steps.append(QStringLiteral("wake"));
            EXPECT_NE(delegate->port(), 0) << "the server has started";
            EXPECT_FALSE(delegate->window().isVisible());
            return std::make_shared<int>();
        };
    };
    launch();
    EXPECT_EQ(steps,
        (QStringList{QStringLiteral("icon"), QStringLiteral("status item"), QStringLiteral("window"),
            QStringLiteral("login box"), QStringLiteral("wake"), QStringLiteral("refresh")}));
    EXPECT_TRUE(isShown());
}

TEST_F(LaunchTest, TheFirstStartProposesTheLoginItemAndShowsTheWindow)
{
    configure = [](AgentConfiguration& configuration) {
        configuration.loginItemExists = [] { return false; };
        configuration.background = true;
    };
    launch();
    EXPECT_TRUE(loginBox());
    EXPECT_TRUE(isShown());
}

TEST_F(LaunchTest, TheLoginBoxShowsWhetherTheLoginItemExistsOnceThereAreSettings)
{
    saveSettings();
    bool exists = false;
    configure = [&](AgentConfiguration& configuration) { configuration.loginItemExists = [&] { return exists; }; };
    launch();
    EXPECT_FALSE(loginBox());
    exists = true;
    launch();
    EXPECT_TRUE(loginBox());
}

TEST_F(LaunchTest, ALoginItemThatCannotBeLookedForIsNone)
{
    saveSettings();
    configure = [](AgentConfiguration& configuration) {
        configuration.loginItemExists = []() -> bool { throw std::system_error(EACCES, std::generic_category()); };
    };
    launch();
    EXPECT_FALSE(loginBox());
}

TEST_F(LaunchTest, SetsTheWindowFromTheSettings)
{
    change = [](PrinterSettings& settings) {
        settings.paperWidth = 58;
        settings.currency = QStringLiteral("AED");
        settings.paused = true;
        settings.receiptConnection = QStringLiteral("bluetooth");
    };
    saveSettings();
    launch();
    EXPECT_EQ(find<QComboBox>("paper").currentText(), QStringLiteral("58 mm"));
    EXPECT_EQ(find<QComboBox>("receiptConnection").currentText(), QStringLiteral("Bluetooth"));
    EXPECT_EQ(find<QLineEdit>("currency").text(), QStringLiteral("AED"));
    EXPECT_TRUE(find<QCheckBox>("pause").isChecked());
}

TEST_F(LaunchTest, ABackgroundStartWithAUsbPrinterStaysHidden)
{
    change = [](PrinterSettings& settings) { settings.labelPrinterURI.reset(); };
    saveSettings();
    launchInBackground();
    EXPECT_FALSE(isShown());
}

TEST_F(LaunchTest, ABackgroundStartWithALabelPrinterAloneStaysHidden)
{
    change = [](PrinterSettings& settings) { settings.printerURI.clear(); };
    saveSettings();
    launchInBackground();
    EXPECT_FALSE(isShown());
}

TEST_F(LaunchTest, ABackgroundStartWithoutAPrinterShowsTheWindow)
{
    change = [](PrinterSettings& settings) {
        settings.printerURI.clear();
        settings.labelPrinterURI.reset();
    };
    saveSettings();
    launchInBackground();
    EXPECT_TRUE(isShown());
}

TEST_F(LaunchTest, ABackgroundStartWithoutAPrinterForTheActiveConnectionShowsTheWindow)
{
    change = [](PrinterSettings& settings) {
        settings.receiptConnection = QStringLiteral("bluetooth");
        settings.labelPrinterURI = QString();
    };
    saveSettings();
    launchInBackground();
    EXPECT_TRUE(isShown());
}

TEST_F(LaunchTest, ABackgroundStartWithUnreadableSettingsShowsTheWindowAndSaysSo)
{
    saveSettings();
    damageSettings();
    launchInBackground();
    EXPECT_TRUE(isShown());
    EXPECT_EQ(find<QLabel>("status").text(), settingsUnreadableText);
}

TEST_F(LaunchTest, AnOrdinaryStartShowsTheWindow)
{
    saveSettings();
    launch();
    EXPECT_TRUE(isShown());
}

TEST_F(LaunchTest, ShowsTheListenersStateAndThatStartingIsOver)
{
    launch();
    EXPECT_EQ(find<QLabel>("activity").text(), QStringLiteral("Starting"));
    runDue();
    EXPECT_EQ(find<QLabel>("status").text(), delegate->statusText());
    EXPECT_TRUE(delegate->statusText().startsWith(u"Ready on this Mac · port "));
    EXPECT_EQ(find<QLabel>("activity").text(), QString());
}

TEST_F(LaunchTest, KeepsTheUnreadableMessageUntilASaveSucceeds)
{
    saveSettings();
    damageSettings();
    launch();
    runDue();
    EXPECT_EQ(find<QLabel>("status").text(), settingsUnreadableText);
    find<QPushButton>("saveButton").click();
    EXPECT_TRUE(delegate->statusText().startsWith(u"Ready on this Mac"));
    EXPECT_TRUE(delegate->statusIsWell());
    EXPECT_EQ(readFile(directory.filePath(QStringLiteral("settings.json.unreadable"))), "{");
}

TEST_F(LaunchTest, TheStatusItemOpensTestsAndQuits)
{
    saveSettings();
    StatusItemActions actions;
    configure = [&](AgentConfiguration& configuration) {
        configuration.background = true;
        configuration.statusItem = [&](const StatusItemActions& given) {
            actions = given;
            return std::make_shared<int>();
        };
    };
    launch();
    actions.open();
    EXPECT_TRUE(isShown());
    actions.printTest();
    runUntil([&] { return delegate->activityText() == u"Sent to USB printer. Please check the paper."; });
    EXPECT_EQ(printed.size(), 1);
    actions.quit();
    runUntil([this] { return terminated; });
}

TEST_F(LaunchTest, KeepsTheStatusItemAndTheWakeObservationAsLongAsItLives)
{
    const auto item = std::make_shared<int>();
    configure = [&](AgentConfiguration& configuration) {
        configuration.statusItem = [item](const StatusItemActions&) { return item; };
        configuration.observeWake = [item](const std::function<void()>&) { return item; };
    };
    launch();
    configure = {};
    const auto others = item.use_count();
    delegate.reset();
    EXPECT_LT(item.use_count(), others);
    EXPECT_EQ(item.use_count(), 1);
}

TEST_F(LaunchTest, SetsTheApplicationsIcon)
{
    QPixmap picture(16, 16);
    picture.fill(Qt::red);
    configure = [&](AgentConfiguration& configuration) {
        configuration.applicationIcon = [&] { return QIcon(picture); };
    };
    launch();
    EXPECT_FALSE(QApplication::windowIcon().isNull());
    QApplication::setWindowIcon(QIcon());
}

TEST_F(LaunchTest, BringsTheAgentBeforeOtherProgramsEachTimeItsWindowIsShown)
{
    saveSettings();
    int activations = 0;
    configure = [&](AgentConfiguration& configuration) {
        configuration.background = true;
        configuration.activate = [&] {
            EXPECT_FALSE(isShown());
            ++activations;
        };
    };
    launch();
    EXPECT_EQ(activations, 0);
    delegate->applicationShouldHandleReopen();
    EXPECT_EQ(activations, 1);
}

TEST_F(LaunchTest, ShowsTheWindowAgainWhenTheProgramIsStartedAgain)
{
    saveSettings();
    launchInBackground();
    EXPECT_TRUE(delegate->applicationShouldHandleReopen());
    EXPECT_TRUE(isShown());
}
