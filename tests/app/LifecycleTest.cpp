#include "app/DelegateFixture.h"

#include <QComboBox>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QByteArray newStore = "https://new.example.com";
const QByteArray pairingBody = R"({"action":"pair"})";
const auto sentText = QStringLiteral("Sent to USB printer. Please check the paper.");

class LifecycleTest : public DelegateFixture {
protected:
    /// A page that asks for approval, until its sheet is open.
    void beginPairing()
    {
        pairReply = std::async(std::launch::async,
            [bytes = pageRequest(delegate->port(), "POST", "/pair", newStore, pairingBody), at = delegate->port()] {
                return exchange(at, bytes);
            });
        runUntil([this] { return !sheetText().isEmpty(); });
    }
    HttpResponse endPairing()
    {
        runUntil([this] {
            main.async([] {});
            return pairReply.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        return pairReply.get();
    }

    std::future<HttpResponse> pairReply;
};

} // namespace

TEST_F(LifecycleTest, QuitsAtOnceWhenNoJobRuns)
{
    saveSettings();
    launch();
    EXPECT_TRUE(delegate->applicationShouldTerminate());
    delegate->quit();
    runUntil([this] { return terminated; });
}

TEST_F(LifecycleTest, RefusesToQuitWhileAJobRunsAndGoesOn)
{
    saveSettings();
    launchInBackground();
    beginJob();
    delegate->quit();
    EXPECT_FALSE(terminated);
    EXPECT_EQ(sheetText(), QStringLiteral("Wait for the current receipt to finish before quitting."));
    EXPECT_TRUE(delegate->window().isVisible()) << "else nobody sees it";
    EXPECT_EQ(endJob().body, json(true, sentText.toUtf8()));
    EXPECT_FALSE(terminated);
    delegate->quit();
    runUntil([this] { return terminated; });
}

TEST_F(LifecycleTest, RefusesToTerminateWhileAJobRunsAndShowsWhy)
{
    saveSettings();
    launchInBackground();
    beginJob();
    EXPECT_FALSE(delegate->applicationShouldTerminate());
    EXPECT_TRUE(delegate->window().isVisible());
    EXPECT_EQ(sheetText(), QStringLiteral("Wait for the current printer operation to finish before quitting."));
    endJob();
    EXPECT_TRUE(delegate->applicationShouldTerminate());
}

TEST_F(LifecycleTest, TheSystemsQuitIsRefusedWhileAJobRuns)
{
    saveSettings();
    launch();
    beginJob();
    QEvent quit(QEvent::Quit);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &quit);
    EXPECT_FALSE(quit.isAccepted());
    EXPECT_FALSE(terminated);
    EXPECT_EQ(sheetText(), QStringLiteral("Wait for the current printer operation to finish before quitting."));
    endJob();
    QCoreApplication::sendEvent(QCoreApplication::instance(), &quit);
    runUntil([this] { return terminated; });
}

TEST_F(LifecycleTest, ClosingTheWindowKeepsPrinting)
{
    saveSettings();
    launch();
    delegate->window().close();
    EXPECT_FALSE(terminated);
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.body, json(true, sentText.toUtf8()));
    EXPECT_FALSE(delegate->window().isVisible());
}

TEST_F(LifecycleTest, TheEndOfTheSessionEndsAnIdleAgentAtOnce)
{
    launch();
    delegate->endSession();
    runUntil([this] { return terminated; });
}

TEST_F(LifecycleTest, TheEndOfTheSessionWaitsForTheJobThatRunsAndTakesNoNewOne)
{
    saveSettings();
    launch();
    beginJob();
    EXPECT_FALSE(delegate->isEnding());
    delegate->endSession();
    EXPECT_FALSE(terminated);
    EXPECT_TRUE(delegate->isEnding()) << "a start meanwhile must not rely on this agent";
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-60.json"))).status, 409);
    EXPECT_EQ(request("POST", "/pair", newStore, pairingBody).status, 429);
    EXPECT_EQ(endJob().body, json(true, sentText.toUtf8()));
    runUntil([this] { return terminated; });
    EXPECT_EQ(printed.size(), 1);
}

TEST_F(LifecycleTest, TakesNoJobBetweenTheLastOneAndItsEnd)
{
    saveSettings();
    launch();
    delegate->endSession();
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.body, json(false, "Harrowmint Printer is closing. Nothing was sent."));
    find<QPushButton>("testButton").click();
    EXPECT_EQ(sheetText(), QStringLiteral("Harrowmint Printer is closing. Nothing was sent."));
    EXPECT_TRUE(printed.isEmpty());
    EXPECT_TRUE(PrintGuard(false, directory.path()).recent().empty());
}

TEST_F(LifecycleTest, AnOpenPairingSheetsPageGetsItsCancellationWhenTheAgentQuits)
{
    saveSettings();
    launch();
    beginPairing();
    delegate->quit();
    runUntil([this] { return terminated; });
    EXPECT_TRUE(sheetText().isEmpty());
    delegate.reset(); // as soon as the event loop has ended
    const auto reply = pairReply.get();
    EXPECT_EQ(reply.status, 403);
    EXPECT_EQ(reply.body, json(false, "Store connection was cancelled."));
}

TEST_F(LifecycleTest, AnOpenPairingSheetsPageGetsItsCancellationWhenTheDelegateJustDies)
{
    saveSettings();
    launch();
    beginPairing();
    delegate.reset();
    EXPECT_EQ(pairReply.get().body, json(false, "Store connection was cancelled."));
}

TEST_F(LifecycleTest, APageIsConnectedByTheRealSheetAndMayPrintThen)
{
    saveSettings();
    launchInBackground();
    beginPairing();
    EXPECT_EQ(sheetText(), QStringLiteral("Allow this store to print?"));
    EXPECT_TRUE(delegate->window().isVisible());
    runUntil([this] {
        main.async([] {});
        for (const auto* button : delegate->window().findChildren<QPushButton*>()) {
            if (button->text() == u"Allow store" && button->isEnabled())
                return true;
        }
        return false;
    });
    pressInSheet(QStringLiteral("Allow store"));
    EXPECT_EQ(endPairing().body, json(true, "Store connected."));
    EXPECT_TRUE(delegate->settings().origins.contains(QString::fromLatin1(newStore)));
    EXPECT_EQ(find<QLabel>("stores").text(), QStringLiteral("2 approved stores: new.example.com, shop.example.com"));
    EXPECT_EQ(request("POST", "/print", newStore, sample(QStringLiteral("invoice-10.json"))).status, 200);
}

TEST_F(LifecycleTest, APageIsRefusedByTheRealSheet)
{
    saveSettings();
    launch();
    beginPairing();
    pressInSheet(QStringLiteral("Cancel"));
    EXPECT_EQ(endPairing().status, 403);
}

TEST_F(LifecycleTest, NoStoreIsApprovedWhileAJobRuns)
{
    saveSettings();
    launch();
    beginJob();
    const auto reply = request("POST", "/pair", newStore, pairingBody);
    EXPECT_EQ(reply.status, 429);
    EXPECT_EQ(
        reply.body, json(false, "Connection unavailable. Wait, or disconnect an unused store in the printer app."));
    EXPECT_EQ(reply.header("Access-Control-Allow-Origin"), newStore);
    endJob();
}

TEST_F(LifecycleTest, NoStoreIsApprovedWithoutTheReceiptGuard)
{
    saveSettings();
    writeFile(directory.filePath(QStringLiteral("recent-jobs.json")), "{}");
    launch();
    EXPECT_EQ(request("POST", "/pair", newStore, pairingBody).status, 429);
    EXPECT_TRUE(sheetText().isEmpty());
}

TEST_F(LifecycleTest, TheStoresAreForgottenByTheRealSheet)
{
    saveSettings();
    launch();
    find<QPushButton>("disconnectButton").click();
    EXPECT_EQ(sheetText(), QStringLiteral("Disconnect approved stores?"));
    pressInSheet(QStringLiteral("Disconnect"));
    EXPECT_TRUE(delegate->settings().origins.isEmpty());
    EXPECT_EQ(find<QLabel>("stores").text(), QStringLiteral("No approved stores"));
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 428);
}

TEST_F(LifecycleTest, AWakeLetsBluetoothGoOffTheMainQueueAndThenRefreshesTheLists)
{
    saveSettings();
    std::function<void()> woke;
    std::vector<PrinterDiscovery::Completion> listings;
    std::promise<bool> disconnectedOnMain;
    configure = [&](AgentConfiguration& configuration) {
        configuration.observeWake = [&](std::function<void()> callback) {
            woke = std::move(callback);
            return std::make_shared<int>();
        };
        configuration.discovery = [&](SerialQueue&, SerialQueue&) {
            PrinterDiscovery discovery;
            discovery.usb = [&](auto completion) { listings.push_back(std::move(completion)); };
            return discovery;
        };
        configuration.disconnectBluetooth = [&] { disconnectedOnMain.set_value(main.isCurrent()); };
    };
    launch();
    ASSERT_EQ(listings.size(), 1u);
    listings[0]({});
    woke();
    runUntil([&] {
        main.async([] {});
        return listings.size() == 2;
    });
    EXPECT_FALSE(disconnectedOnMain.get_future().get());
}

TEST_F(LifecycleTest, AWakeScansAgainWhereItHasEndedAScanWithoutAWord)
{
    saveSettings();
    std::function<void()> woke;
    std::vector<PrinterDiscovery::Completion> scans;
    configure = [&](AgentConfiguration& configuration) {
        configuration.observeWake = [&](std::function<void()> callback) {
            woke = std::move(callback);
            return std::make_shared<int>();
        };
        configuration.discovery = [&](SerialQueue&, SerialQueue&) {
            PrinterDiscovery discovery;
            discovery.labels = [&](const auto&, auto completion) { scans.push_back(std::move(completion)); };
            return discovery;
        };
    };
    launch();
    ASSERT_EQ(scans.size(), 1u);
    woke();
    runUntil([&] {
        main.async([] {});
        return scans.size() == 2;
    });
    scans[1]({{USBPrinter{delegate->settings().labelPrinterURI.value(), QStringLiteral("Label 4B")}}});
    EXPECT_EQ(find<QComboBox>("labelPrinter").currentText(), QStringLiteral("Label 4B"));
}

TEST_F(LifecycleTest, AWakeDuringAJobWaitsForTheJobOnTheWorker)
{
    saveSettings();
    std::function<void()> woke;
    std::atomic<bool> disconnected = false;
    configure = [&](AgentConfiguration& configuration) {
        configuration.observeWake = [&](std::function<void()> callback) {
            woke = std::move(callback);
            return std::make_shared<int>();
        };
        configuration.disconnectBluetooth = [&] { disconnected = true; };
    };
    launch();
    beginJob();
    woke();
    runDue();
    EXPECT_FALSE(disconnected);
    endJob();
    runUntil([&] {
        main.async([] {});
        return disconnected.load();
    });
}
