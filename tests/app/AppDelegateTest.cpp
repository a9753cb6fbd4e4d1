#include "app/DelegateFixture.h"

#include <sys/resource.h>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class AppDelegateTest : public DelegateFixture { };

} // namespace

TEST_F(AppDelegateTest, PrintsAReceiptOfAnApprovedStoreFromPreflightToReply)
{
    saveSettings();
    launch();
    const auto preflight = request("OPTIONS", "/print", store, {},
        "Access-Control-Request-Method: POST\r\nAccess-Control-Request-Headers: content-type\r\n");
    EXPECT_EQ(preflight.status, 204);
    EXPECT_EQ(preflight.header("Access-Control-Allow-Origin"), store);
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, json(true, "Sent to USB printer. Please check the paper."));
    EXPECT_EQ(reply.header("Access-Control-Allow-Origin"), store);
    ASSERT_EQ(printed.size(), 1);
    EXPECT_TRUE(printed[0].startsWith(QByteArray::fromHex("1b401b61001d763000")));
    EXPECT_EQ(delegate->activityText(), QStringLiteral("Sent to USB printer. Please check the paper."));
}

TEST_F(AppDelegateTest, PrintsALabel)
{
    saveSettings();
    launch();
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("label.json")));
    EXPECT_EQ(reply.body, json(true, "Label sent to Bluetooth printer. Please check the paper."));
    ASSERT_EQ(printed.size(), 1);
    EXPECT_TRUE(printed[0].startsWith(QByteArray::fromHex("1b401d763000")));
}

TEST_F(AppDelegateTest, NeverPrintsOneRequestTwice)
{
    saveSettings();
    launch();
    const QByteArray body = sample(QStringLiteral("invoice-10.json"));
    EXPECT_EQ(request("POST", "/print", store, body).status, 200);
    const auto again = request("POST", "/print", store, body);
    EXPECT_EQ(again.status, 409);
    EXPECT_EQ(
        again.body, json(false, "This print request was already sent. Click Receipt again if you need another copy."));
    EXPECT_EQ(printed.size(), 1);
}

TEST_F(AppDelegateTest, AnswersABodyThatDoesNotDecodeWith400AndTheOrigin)
{
    saveSettings();
    launch();
    const auto reply = request("POST", "/print", store, R"({"action":"print"})");
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.body, json(false, "Invalid POS invoice or printer alias. Expected POSPrinter and 1–60 items."));
    EXPECT_EQ(reply.header("Access-Control-Allow-Origin"), store);
}

TEST_F(AppDelegateTest, RefusesAStoreThatIsNotApproved)
{
    saveSettings();
    launch();
    const auto reply =
        request("POST", "/print", "https://other.example.com", sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.raw.split('\r').first(), QByteArray("HTTP/1.1 428 Error"));
    EXPECT_TRUE(printed.isEmpty());
}

TEST_F(AppDelegateTest, RefusesToPrintWhilePaused)
{
    change = [](PrinterSettings& settings) { settings.paused = true; };
    saveSettings();
    launch();
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, json(false, "Resume printing in Harrowmint Printer."));
}

TEST_F(AppDelegateTest, AnswersAnApprovedStoreThatAsksForApprovalAgain)
{
    saveSettings();
    launch();
    const auto reply = request("POST", "/pair", store, R"({"action":"pair"})");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, json(true, "Store connected."));
}

TEST_F(AppDelegateTest, RefusesAPairingBodyThatIsNotTheSeventeenBytes)
{
    saveSettings();
    launch();
    const auto reply = request("POST", "/pair", store, R"({"action": "pair"})");
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.body, json(false, "Invalid connection request."));
}

TEST_F(AppDelegateTest, StartsWithTheDefaultsWhenThereAreNoSettings)
{
    launch();
    EXPECT_EQ(delegate->settings(), PrinterSettings{});
    const auto health = request("GET", "/health", {});
    EXPECT_EQ(health.body, json(true, "Harrowmint Printer is running."));
    EXPECT_TRUE(delegate->statusIsWell());
    EXPECT_EQ(delegate->statusText(), QStringLiteral("Ready on this Mac · port ") + QString::number(delegate->port()));
}

TEST_F(AppDelegateTest, ShowsThatSettingsCannotBeReadAboveReadyAndPrintsNothing)
{
    saveSettings();
    writeFile(directory.filePath(PrinterSettings::fileName()), "{");
    launch();
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.status, 428);
    EXPECT_EQ(delegate->statusText(), settingsUnreadableText);
    EXPECT_FALSE(delegate->statusIsWell());
    EXPECT_EQ(log.last(), settingsUnreadableText);
    EXPECT_TRUE(printed.isEmpty());
}

TEST_F(AppDelegateTest, RefusesReceiptsButPrintsLabelsWhenOnlyTheReceiptGuardCannotBeRead)
{
    saveSettings();
    const QString guard = directory.filePath(QStringLiteral("recent-jobs.json"));
    writeFile(guard, "{}");
    launch();
    const auto receipt = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(receipt.status, 409);
    EXPECT_EQ(receipt.body,
        json(false, "Local print protection could not be loaded. Reopen the app after checking its settings."));
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("label.json"))).status, 200);
    EXPECT_EQ(readFile(guard), "{}") << "the damaged file must be left alone";
}

TEST_F(AppDelegateTest, ReopenedLoadsTheGuardThatCouldNotBeRead)
{
    saveSettings();
    QFile file(directory.filePath(QStringLiteral("recent-jobs.json")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{}");
    file.close();
    launch();
    delegate->applicationShouldHandleReopen();
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 409);
    ASSERT_TRUE(file.remove());
    delegate->applicationShouldHandleReopen();
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 200);
    delegate->applicationShouldHandleReopen();
    EXPECT_EQ(request("POST", "/print", store, sample(QStringLiteral("invoice-10.json"))).status, 409)
        << "a guard that is there keeps what it remembers";
}

TEST_F(AppDelegateTest, TellsThatThePortIsTaken)
{
    launch();
    port = delegate->port();
    const auto first = std::move(delegate);
    AgentConfiguration configuration;
    configuration.directory = directory.path();
    configuration.port = port;
    AppDelegate second(main, std::move(configuration));
    second.applicationDidFinishLaunching();
    runUntil([&] { return !second.statusText().isEmpty(); });
    EXPECT_EQ(second.statusText(),
        QStringLiteral("Port 9100 is unavailable. Close the other printer agent, then reopen this app."));
    EXPECT_FALSE(second.statusIsWell());
}

TEST_F(AppDelegateTest, ReopenedListensOnThePortThatItFoundTaken)
{
    launch();
    port = delegate->port();
    auto first = std::move(delegate);
    const TemporaryDirectory other;
    AgentConfiguration configuration;
    configuration.directory = other.path();
    configuration.port = port;
    delegate = std::make_unique<AppDelegate>(main, std::move(configuration));
    delegate->applicationDidFinishLaunching();
    runUntil([this] { return !delegate->statusText().isEmpty(); });
    EXPECT_TRUE(delegate->applicationShouldHandleReopen());
    EXPECT_FALSE(delegate->statusIsWell());
    first.reset();
    delegate->applicationShouldHandleReopen();
    delegate->applicationShouldHandleReopen();
    runUntil([this] { return delegate->statusIsWell(); });
    EXPECT_EQ(delegate->statusText(), QStringLiteral("Ready on this Mac · port %1").arg(port));
    EXPECT_EQ(request("GET", "/health", {}).status, 200);
    delegate->applicationShouldHandleReopen();
    EXPECT_EQ(request("GET", "/health", {}).status, 200) << "it goes on listening";
}

TEST_F(AppDelegateTest, AfterARestartAnInterruptedTransferCountsAsUncertain)
{
    saveSettings();
    {
        const auto receipt = Receipt::decode(sample(QStringLiteral("invoice-10.json")), QStringLiteral("USD"));
        PrintGuard interrupted(false, directory.path());
        interrupted.reserve(receipt.jobKey(QString::fromLatin1(store)), std::chrono::system_clock::now(), true);
    }
    launch();
    const auto reply = request("POST", "/print", store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(reply.status, 409);
    EXPECT_EQ(reply.body,
        json(false,
            "This print request has an uncertain outcome. Check the paper, then click Receipt again to start a new "
            "attempt."));
    EXPECT_TRUE(printed.isEmpty());
}

TEST_F(AppDelegateTest, TellsThatNoSocketCanBeMade)
{
    makeDelegate();
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    // All that is open stays usable: event loops of other threads poll it meanwhile.
    const int lowestFree = ::dup(0);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    const rlimit noMore{static_cast<rlim_t>(lowestFree), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &noMore), 0);
    delegate->applicationDidFinishLaunching();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(delegate->statusText(), QStringLiteral("Unable to open local printer port."));
    EXPECT_FALSE(delegate->statusIsWell());
}

TEST_F(AppDelegateTest, EndsWhileATransportRunsAndLeavesTheJobUncertain)
{
    saveSettings();
    launch();
    beginJob();
    mayEnd.set_value();
    delegate.reset();
    EXPECT_EQ(jobReply.get().status, 0);
    EXPECT_EQ(PrintGuard(false, directory.path()).recent().at(0).transferred, std::nullopt);
}
