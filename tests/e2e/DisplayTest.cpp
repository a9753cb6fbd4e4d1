#include "e2e/DisplayRig.h"
#include "support/Files.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <chrono>
#include <future>
#include <gtest/gtest.h>

using namespace harrowmint::test;

namespace {

const QByteArray store = "https://shop.example.com";
const QByteArray pairBody = R"({"action":"pair"})";
const auto virtualPrinter = QStringLiteral("Harrowmint Virtual Receipt Printer");
const auto settingsFile = QStringLiteral("Library/Application Support/Harrowmint Printer/settings.json");
const auto launchAgent = QStringLiteral("Library/LaunchAgents/com.harrowmint.printer-agent.plist");
const QByteArray savedText = "Saved. Printers are ready for your approved stores.";
const QByteArray pausedText = "Saved. Website printing is paused.";
/// For so long a sheet that allows something cannot be pressed.
constexpr std::chrono::seconds deliberation{1};
/// Of the sample that is printed.
const QByteArray contentOfTheReceipt = "A-000123";
const QByteArray sentText = "Sent to USB printer. Please check the paper.";

/// One user's day with the agent: each step begins where the one before has ended.
class DisplayTest : public ::testing::Test {
protected:
    [[nodiscard]] HttpResponse print() const
    {
        return rig.request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    }
    [[nodiscard]] HttpResponse pair() const { return rig.request("POST", "/pair", store, pairBody); }

    [[nodiscard]] QJsonObject settings() const
    {
        return QJsonDocument::fromJson(readFile(rig.homePath(settingsFile))).object();
    }

    static std::function<bool(const QJsonObject&)> is(const QString& what)
    {
        return [what](const QJsonObject& widget) { return widget[what].toBool(); };
    }

    void startForTheFirstTime()
    {
        rig.startAgent();
        rig.waitForWidget(QStringLiteral("window"), is(QStringLiteral("enabled")));
        EXPECT_TRUE(rig.widget(QStringLiteral("login"))[QStringLiteral("checked")].toBool());
        EXPECT_FALSE(rig.widget(QStringLiteral("pause"))[QStringLiteral("checked")].toBool());
        EXPECT_FALSE(QFileInfo::exists(rig.homePath(settingsFile)));
        EXPECT_FALSE(QFileInfo::exists(rig.homePath(launchAgent)));
    }

    void chooseThePrinterAndSave()
    {
        rig.waitForWidget(QStringLiteral("printer"), [](const QJsonObject& widget) {
            return widget[QStringLiteral("items")].toArray().contains(virtualPrinter);
        });
        EXPECT_NE(rig.widget(QStringLiteral("printer"))[QStringLiteral("text")].toString(), virtualPrinter);
        rig.click(QStringLiteral("printer"));
        rig.press(QStringLiteral("Down"));
        rig.press(QStringLiteral("Return"));
        rig.waitForWidget(QStringLiteral("printer"),
            [](const QJsonObject& widget) { return widget[QStringLiteral("text")].toString() == virtualPrinter; });
        rig.click(QStringLiteral("saveButton"));
        rig.agent->waitForLog(savedText);
        EXPECT_EQ(settings()[QStringLiteral("printerName")].toString(), virtualPrinter);
        EXPECT_TRUE(QFileInfo::exists(rig.homePath(launchAgent)));
        EXPECT_TRUE(
            QFileInfo::exists(rig.homePath(QStringLiteral(".config/autostart/com.harrowmint.printer-agent.desktop"))));
    }

    void allowTheStore()
    {
        EXPECT_EQ(print().status, 428);
        const auto asked = std::chrono::steady_clock::now();
        auto answer = std::async(std::launch::async, [this] { return pair(); });
        rig.waitForWidget(QStringLiteral("Allow store"), is(QStringLiteral("enabled")));
        EXPECT_TRUE(std::chrono::steady_clock::now() - asked >= deliberation);
        EXPECT_EQ(rig.widget(QStringLiteral("message"))[QStringLiteral("text")].toString(),
            QStringLiteral("Allow this store to print?"));
        EXPECT_TRUE(settings()[QStringLiteral("origins")].toArray().isEmpty());
        rig.click(QStringLiteral("Allow store"));
        const HttpResponse connected = answer.get();
        EXPECT_EQ(connected.status, 200);
        EXPECT_TRUE(connected.body.contains("Store connected.")) << connected.body.constData();
        EXPECT_EQ(settings()[QStringLiteral("origins")].toArray(), QJsonArray{QString::fromLatin1(store)});
    }

    void printAReceipt()
    {
        EXPECT_TRUE(rig.papers().isEmpty());
        const HttpResponse printed = print(); // 409 with the sentence of the six seconds on a slow machine
        rig.agent->waitForLog(sentText);
        EXPECT_TRUE(printed.status == 200 || printed.body.contains("Transfer is taking longer than expected."))
            << printed.body.constData();
        EXPECT_EQ(rig.papers().size(), 1);
        EXPECT_EQ(print().status, 409) << "the same receipt again";
        EXPECT_EQ(rig.papers().size(), 1);
    }

    /// The receipt is on the paper and nowhere else; what the agent keeps is the user's alone.
    void lookAtWhatIsKept()
    {
        ASSERT_TRUE(sample(QStringLiteral("invoice-10.json")).contains(contentOfTheReceipt));
        QStringList names;
        QDirIterator files(rig.homePath({}), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.fileName().contains(QStringLiteral("/backend/")))
                continue; // the printer's
            names.append(files.fileName());
            EXPECT_EQ(file.permissions() & ~(QFile::ReadUser | QFile::WriteUser), QFile::ReadOwner | QFile::WriteOwner)
                << file.fileName().toStdString();
            ASSERT_TRUE(file.open(QIODevice::ReadOnly));
            EXPECT_FALSE(file.readAll().contains(contentOfTheReceipt)) << file.fileName().toStdString();
        }
        EXPECT_TRUE(names.contains(QStringLiteral("settings.json")));
        EXPECT_TRUE(names.contains(QStringLiteral("recent-jobs.json")));
        EXPECT_FALSE(rig.agent->log().contains(contentOfTheReceipt));
    }

    void pauseAndResume()
    {
        rig.click(QStringLiteral("pause"));
        rig.waitForWidget(QStringLiteral("pause"), is(QStringLiteral("checked")));
        rig.click(QStringLiteral("saveButton"));
        rig.agent->waitForLog(pausedText);
        const HttpResponse refused = print();
        EXPECT_EQ(refused.status, 503);
        EXPECT_TRUE(refused.body.contains("Resume printing in Harrowmint Printer.")) << refused.body.constData();
        EXPECT_EQ(pair().status, 503);
        rig.click(QStringLiteral("pause"));
        rig.click(QStringLiteral("saveButton"));
        rig.agent->waitForLog(savedText, 2);
        EXPECT_EQ(pair().status, 200) << "still connected";
    }

    void closeTheWindowAndStartAgain()
    {
        rig.closeWindow();
        EXPECT_EQ(rig.request("GET", "/health", {}, {}).status, 200);
        EXPECT_EQ(rig.startAgain(), 0);
        rig.waitForWidget(QStringLiteral("window"), is(QStringLiteral("enabled")));
        EXPECT_EQ(rig.request("GET", "/health", {}, {}).status, 200);
    }

    void disconnectTheStores()
    {
        rig.click(QStringLiteral("disconnectButton"));
        EXPECT_EQ(pair().status, 200) << "not before the answer";
        rig.click(QStringLiteral("Disconnect"));
        rig.waitUntilGone(QStringLiteral("Disconnect"));
        EXPECT_TRUE(settings()[QStringLiteral("origins")].toArray().isEmpty());
        EXPECT_EQ(print().status, 428);
        EXPECT_EQ(settings()[QStringLiteral("printerName")].toString(), virtualPrinter);
    }

    void quit()
    {
        rig.focusWindow();
        rig.waitForWidget(QStringLiteral("window"), is(QStringLiteral("active")));
        rig.press(QStringLiteral("ctrl+q"));
        EXPECT_EQ(rig.agent->waitForEnd(), 0);
        EXPECT_EQ(rig.request("GET", "/health", {}, {}).status, 0);
    }

    DisplayRig rig;
};

} // namespace

TEST_F(DisplayTest, AUserSetsThePrinterUpConnectsAStorePrintsPausesDisconnectsAndQuits)
{
    startForTheFirstTime();
    chooseThePrinterAndSave();
    allowTheStore();
    printAReceipt();
    lookAtWhatIsKept();
    pauseAndResume();
    closeTheWindowAndStartAgain();
    disconnectTheStores();
    quit();
}
