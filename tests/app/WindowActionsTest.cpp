#include "app/DelegateFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const auto invalidText =
    QStringLiteral("Check the receipt connection, printer, paper width and three-letter currency code.");
const auto savedText = QStringLiteral("Saved. Printers are ready for your approved stores.");

class WindowActionsTest : public DelegateFixture {
protected:
    WindowActionsTest()
    {
        configure = [this](AgentConfiguration& configuration) {
            configuration.loginItemExists = [] { return true; };
            configuration.configureLogin = [this](bool enabled) {
                if (loginFails)
                    throw std::system_error(EACCES, std::generic_category());
                loginChoices.push_back(enabled);
            };
            configuration.discovery = [this](SerialQueue&, SerialQueue&) {
                PrinterDiscovery discovery;
                discovery.usb = [this](auto completion) { listings.push_back(std::move(completion)); };
                return discovery;
            };
        };
    }

    void damage(const QString& name) { writeFile(directory.filePath(name), "{}"); }
    void save() { find<QPushButton>("saveButton").click(); }
    PrinterSettings saved() { return PrinterSettings::load(directory.path()); }
    [[nodiscard]] QString activity() { return find<QLabel>("activity").text(); }

    bool loginFails = false;
    std::vector<bool> loginChoices;
    std::vector<PrinterDiscovery::Completion> listings;
};

} // namespace

TEST_F(WindowActionsTest, SavesTheFormAndSaysSo)
{
    saveSettings();
    launch();
    find<QLineEdit>("currency").setText(QStringLiteral("AED"));
    find<QComboBox>("paper").setCurrentIndex(1);
    save();
    EXPECT_EQ(saved().currency, QStringLiteral("AED"));
    EXPECT_EQ(saved().paperWidth, 58);
    EXPECT_EQ(saved().origins, QStringList{QString::fromLatin1(store)});
    EXPECT_EQ(delegate->settings(), saved());
    EXPECT_EQ(activity(), savedText);
    EXPECT_EQ(delegate->activityText(), savedText);
    EXPECT_EQ(loginChoices, std::vector<bool>{true});
    EXPECT_TRUE(sheetText().isEmpty());
}

TEST_F(WindowActionsTest, SavesAPrinterThatWasFoundAndPrintsOnIt)
{
    launch();
    listings.at(0)({{{QStringLiteral("usb://Acme/New"), QStringLiteral("Acme New")}}});
    find<QComboBox>("printer").setCurrentIndex(1);
    save();
    EXPECT_EQ(saved().printerURI, QStringLiteral("usb://Acme/New"));
    EXPECT_EQ(saved().printerName, QStringLiteral("Acme New"));
}

TEST_F(WindowActionsTest, SaysThatWebsitePrintingIsPaused)
{
    launch();
    find<QCheckBox>("pause").setChecked(true);
    save();
    EXPECT_EQ(activity(), QStringLiteral("Saved. Website printing is paused."));
    EXPECT_TRUE(delegate->settings().paused);
}

TEST_F(WindowActionsTest, AppliesTheLoginChoice)
{
    launch();
    find<QCheckBox>("login").setChecked(false);
    save();
    find<QCheckBox>("login").setChecked(true);
    save();
    EXPECT_EQ(loginChoices, (std::vector<bool>{false, true}));
}

TEST_F(WindowActionsTest, ShowsWhatIsWrongWithTheFormAndSavesNothing)
{
    saveSettings();
    launch();
    find<QLineEdit>("currency").setText(QStringLiteral("US"));
    save();
    EXPECT_EQ(sheetText(), invalidText);
    EXPECT_EQ(saved().currency, QStringLiteral("USD"));
    EXPECT_TRUE(loginChoices.empty());
    EXPECT_NE(activity(), savedText);
}

TEST_F(WindowActionsTest, ShowsTheLoginItemsFailureAfterTheSettingsAreSaved)
{
    launch();
    loginFails = true;
    find<QLineEdit>("currency").setText(QStringLiteral("AED"));
    save();
    EXPECT_EQ(sheetText(), QString::fromStdString(std::generic_category().message(EACCES)));
    EXPECT_EQ(saved().currency, QStringLiteral("AED"));
    EXPECT_NE(activity(), savedText);
}

TEST_F(WindowActionsTest, LoadsAGuardThatWasMissingSoThatPrintingWorksAgain)
{
    saveSettings();
    damage(QStringLiteral("recent-jobs.json"));
    damage(QStringLiteral("recent-labels.json"));
    launch();
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 409);
    ASSERT_TRUE(QFile::remove(directory.filePath(QStringLiteral("recent-jobs.json"))));
    ASSERT_TRUE(QFile::remove(directory.filePath(QStringLiteral("recent-labels.json"))));
    save();
    EXPECT_EQ(activity(), savedText);
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 200);
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("label.json"))).status, 200);
}

TEST_F(WindowActionsTest, ShowsThatAGuardIsStillMissingAndLeavesTheLoginItemAlone)
{
    saveSettings();
    damage(QStringLiteral("recent-labels.json"));
    launch();
    save();
    EXPECT_FALSE(sheetText().isEmpty());
    EXPECT_TRUE(loginChoices.empty());
    EXPECT_NE(activity(), savedText);
}

TEST_F(WindowActionsTest, SavesNothingWhileAJobRuns)
{
    saveSettings();
    launch();
    beginJob();
    find<QLineEdit>("currency").setText(QStringLiteral("AED"));
    EXPECT_FALSE(find<QPushButton>("saveButton").isEnabled());
    save();
    EXPECT_EQ(saved().currency, QStringLiteral("USD"));
    endJob();
    EXPECT_TRUE(find<QPushButton>("saveButton").isEnabled());
    save();
    EXPECT_EQ(saved().currency, QStringLiteral("AED"));
}

TEST_F(WindowActionsTest, ShowsTheProgressOfAJobAndEnablesItsControlsAfterIt)
{
    saveSettings();
    launch();
    beginJob();
    EXPECT_EQ(activity(), QStringLiteral("Sending receipt to USB printer…"));
    EXPECT_FALSE(find<QPushButton>("testButton").isEnabled());
    EXPECT_FALSE(find<QComboBox>("printer").isEnabled());
    endJob();
    EXPECT_EQ(activity(), QStringLiteral("Sent to USB printer. Please check the paper."));
    EXPECT_TRUE(find<QPushButton>("testButton").isEnabled());
    EXPECT_TRUE(find<QComboBox>("printer").isEnabled());
}

TEST_F(WindowActionsTest, PrintsTheTestReceiptByTheFormSavedOrNot)
{
    launch();
    listings.at(0)({{{QStringLiteral("usb://Acme/New"), QStringLiteral("Acme New")}}});
    find<QComboBox>("printer").setCurrentIndex(1);
    find<QPushButton>("testButton").click();
    runUntil([&] { return activity() == u"Sent to USB printer. Please check the paper."; });
    EXPECT_EQ(printed.size(), 1);
    EXPECT_TRUE(sheetText().isEmpty());
    EXPECT_EQ(PrintGuard(false, directory.path()).recent().size(), 1u);
    EXPECT_TRUE(delegate->settings().printerURI.isEmpty());
}

TEST_F(WindowActionsTest, RemembersTheTestReceiptAsTheAgentsOwn)
{
    saveSettings();
    const Receipt receipt = Receipt::test();
    configure = [&receipt](
                    AgentConfiguration& configuration) { configuration.testReceipt = [&receipt] { return receipt; }; };
    launch();
    find<QPushButton>("testButton").click();
    runUntil([&] { return activity() == u"Sent to USB printer. Please check the paper."; });
    const auto remembered = PrintGuard(false, directory.path()).recent();
    ASSERT_EQ(remembered.size(), 1u);
    EXPECT_EQ(remembered[0].key, receipt.jobKey(QStringLiteral("native-test")));
}

TEST_F(WindowActionsTest, ShowsWhyTheTestReceiptCannotBePrinted)
{
    launch();
    find<QPushButton>("testButton").click();
    EXPECT_EQ(sheetText(), QStringLiteral("Select a printer for the active receipt connection in Harrowmint Printer."));
    pressInSheet(QStringLiteral("OK"));
    EXPECT_TRUE(sheetText().isEmpty());
    find<QLineEdit>("currency").clear();
    find<QPushButton>("testButton").click();
    EXPECT_EQ(sheetText(), invalidText);
}

TEST_F(WindowActionsTest, ShowsAFailureOfTheTestReceiptsTransport)
{
    saveSettings();
    whilePrinting = [] { throw PrinterError(QStringLiteral("Out of paper.")); };
    launch();
    find<QPushButton>("testButton").click();
    runUntil([&] { return !sheetText().isEmpty(); });
    EXPECT_EQ(sheetText(), QStringLiteral("Out of paper."));
    EXPECT_EQ(activity(), QStringLiteral("Out of paper."));
}

TEST_F(WindowActionsTest, ShowsOneErrorAtATime)
{
    launch();
    find<QPushButton>("testButton").click();
    find<QLineEdit>("currency").clear();
    save();
    int open = 0;
    for (const auto* sheet : delegate->window().findChildren<QDialog*>())
        open += sheet->isVisible() ? 1 : 0;
    EXPECT_EQ(open, 1);
    EXPECT_EQ(sheetText(), invalidText);
}

TEST_F(WindowActionsTest, RefreshesByTheButton)
{
    launch();
    listings.at(0)(std::vector<USBPrinter>());
    EXPECT_EQ(activity(), QStringLiteral("No USB printer found. Check power and cable, then Refresh."));
    EXPECT_TRUE(find<QPushButton>("refreshButton").isEnabled());
    find<QPushButton>("refreshButton").click();
    EXPECT_EQ(listings.size(), 2u);
    EXPECT_FALSE(find<QPushButton>("refreshButton").isEnabled());
}
