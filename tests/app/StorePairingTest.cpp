#include "app/StorePairing.h"

#include "app/ScriptedWindow.h"
#include "support/FaultyFileSystem.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

const QByteArray pairingBody = R"({"action":"pair"})";
const auto directory = QStringLiteral("/data");
const auto store = QStringLiteral("https://shop.example.com");
const auto otherStore = QStringLiteral("https://other.example.com");
const auto connectedText = QStringLiteral("Store connected.");
const auto unavailableText =
    QStringLiteral("Connection unavailable. Wait, or disconnect an unused store in the printer app.");
const auto cancelledText = QStringLiteral("Store connection was cancelled.");

class StorePairingTest : public ::testing::Test {
protected:
    StorePairingTest() { settings.load(); }

    void pair(const QString& origin, const QByteArray& body = pairingBody)
    {
        HTTPRequest request;
        request.body = body;
        pairing->pair(request, origin, ReplyCallback([this](const HTTPReply& reply) { replies.push_back(reply); }));
    }

    void approve(const QStringList& origins)
    {
        PrinterSettings approved = settings.value();
        approved.origins = origins;
        settings.save(approved);
    }

    static QStringList stores(int count)
    {
        QStringList result;
        for (int number = 0; number < count; ++number)
            result.append(QStringLiteral("https://store-%1.example.com").arg(number));
        return result;
    }

    void press(SheetResponse response, std::size_t sheet = 0) { window.press(response, sheet); }
    void allow(std::size_t sheet = 0) { press(SheetResponse::first, sheet); }
    void makeFilesUnwritable() { files.failOperation(files.operations() + 1, true); }
    bool isSaved(const QString& origin) { return PrinterSettings::load(directory, files).origins.contains(origin); }

    FaultyFileSystem files;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue main{clock};
    SavedSettings settings{directory, files};
    ScriptedWindow window;
    bool mayAsk = true;
    std::vector<HTTPReply> replies;
    std::optional<StorePairing> pairing{
        std::in_place, main, settings, static_cast<SheetWindow*>(&window), [this] { return mayAsk; }};
};

HTTPReply reply(int status, const QString& text, const QString& origin = store)
{
    return {status, text, origin};
}

using Replies = std::vector<HTTPReply>;

} // namespace

TEST_F(StorePairingTest, AsksInASheetOnTheWindowInFront)
{
    pair(store);
    EXPECT_EQ(window.events, (QStringList{QStringLiteral("front"), QStringLiteral("sheet")}));
    const SheetText& text = window.sheets.at(0)->text;
    EXPECT_EQ(text.message, QStringLiteral("Allow this store to print?"));
    EXPECT_EQ(text.informative,
        QStringLiteral("https://shop.example.com\n\nAllow only your own Harrowmint store. It can send receipts and "
                       "labels to your saved printers on this Mac."));
    EXPECT_EQ(text.buttons, (QStringList{QStringLiteral("Allow store"), QStringLiteral("Cancel")}));
    EXPECT_EQ(text.safe, SheetResponse::second);
    EXPECT_TRUE(text.isDeliberate);
    EXPECT_TRUE(pairing->pairing());
    EXPECT_TRUE(replies.empty());
}

TEST_F(StorePairingTest, ConnectsAndSavesAStoreThatTheUserAllows)
{
    approve({otherStore});
    pair(store);
    allow();
    EXPECT_EQ(replies, (Replies{reply(200, connectedText)}));
    EXPECT_EQ(settings.value().origins, (QStringList{otherStore, store}));
    EXPECT_TRUE(isSaved(store));
    EXPECT_FALSE(pairing->pairing());
    EXPECT_FALSE(window.sheets.at(0)->open);
}

TEST_F(StorePairingTest, AddsTheStoreToTheSettingsOfTheMomentOfTheAnswer)
{
    pair(store);
    PrinterSettings changed = settings.value();
    changed.currency = QStringLiteral("EUR");
    settings.save(changed);
    allow();
    EXPECT_EQ(settings.value().currency, QStringLiteral("EUR"));
    EXPECT_EQ(settings.value().origins, QStringList{store});
}

TEST_F(StorePairingTest, RefusesAStoreThatTheUserCancels)
{
    pair(store);
    press(SheetResponse::second);
    EXPECT_EQ(replies, (Replies{reply(403, cancelledText)}));
    EXPECT_TRUE(settings.value().origins.isEmpty());
    EXPECT_FALSE(pairing->pairing());
}

TEST_F(StorePairingTest, TakesNoAnswerWithin45SecondsAsACancellation)
{
    pair(store);
    clock->advance(45s - 1ns);
    EXPECT_TRUE(window.sheets.at(0)->open);
    EXPECT_TRUE(replies.empty());
    clock->advance(1ns);
    EXPECT_EQ(replies, (Replies{reply(403, cancelledText)}));
    EXPECT_FALSE(window.sheets.at(0)->open);
    EXPECT_FALSE(pairing->pairing());
}

TEST_F(StorePairingTest, AnswersOnceWhenTheUserActsRightBeforeTheTimeIsUp)
{
    pair(store);
    clock->advance(45s - 1ns);
    allow();
    clock->advance(60s);
    EXPECT_EQ(replies, (Replies{reply(200, connectedText)}));
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(StorePairingTest, ASheetThatIsPressedAfterTheTimeIsUpDoesNothing)
{
    pair(store);
    const auto completion = window.sheets.at(0)->completion;
    clock->advance(45s);
    completion(SheetResponse::first);
    EXPECT_EQ(replies, (Replies{reply(403, cancelledText)}));
    EXPECT_TRUE(settings.value().origins.isEmpty());
}

TEST_F(StorePairingTest, SaysThatTheConnectionCouldNotBeSavedAndChangesNothing)
{
    pair(store);
    makeFilesUnwritable();
    allow();
    EXPECT_EQ(replies, (Replies{reply(503, QStringLiteral("Could not save the store connection."))}));
    EXPECT_TRUE(settings.value().origins.isEmpty());
    EXPECT_FALSE(pairing->pairing());
}

class StorePairingBodies : public StorePairingTest, public ::testing::WithParamInterface<const char*> { };

TEST_P(StorePairingBodies, AreRefusedUnlessTheyAreTheSeventeenBytes)
{
    approve({store}); // even then
    pair(store, GetParam());
    EXPECT_EQ(replies, (Replies{reply(400, QStringLiteral("Invalid connection request."))}));
    EXPECT_TRUE(window.events.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, StorePairingBodies,
    ::testing::Values("", R"({"action": "pair"})", R"({"action":"pair"} )", R"( {"action":"pair"})",
        R"({"action":"Pair"})", R"({"action":"pair","x":1})", R"({"action":"pai"})", "{\n\"action\":\"pair\"}"));

TEST_F(StorePairingTest, RefusesTheRightBodyWithAZeroByteBehindIt)
{
    pair(store, pairingBody + '\0');
    EXPECT_EQ(replies.at(0).status, 400);
}

TEST_F(StorePairingTest, AnswersAnApprovedStoreAtOnceWhateverElseGoesOn)
{
    approve({store});
    pair(otherStore);
    mayAsk = false;
    pair(store);
    EXPECT_EQ(replies, (Replies{reply(200, connectedText)}));
    EXPECT_EQ(window.sheets.size(), 1u);
}

TEST_F(StorePairingTest, RefusesASecondStoreWhileASheetIsOpen)
{
    pair(store);
    clock->advance(20s);
    pair(otherStore);
    pair(store);
    EXPECT_EQ(replies, (Replies{reply(429, unavailableText, otherStore), reply(429, unavailableText)}));
    EXPECT_EQ(window.sheets.size(), 1u);
    EXPECT_TRUE(window.sheets.at(0)->open);
}

TEST_F(StorePairingTest, RefusesAnotherSheetWithin10SecondsEvenAfterTheFirstWasAnswered)
{
    pair(store);
    allow();
    clock->advance(10s - 1ns);
    pair(otherStore);
    EXPECT_EQ(replies.at(1), reply(429, unavailableText, otherStore));
    clock->advance(1ns);
    pair(otherStore);
    EXPECT_EQ(replies.size(), 2u);
    EXPECT_EQ(window.sheets.size(), 2u);
}

TEST_F(StorePairingTest, ARefusedRequestDoesNotPutOffTheNextSheet)
{
    pair(store);
    press(SheetResponse::second);
    clock->advance(9s);
    pair(otherStore);
    clock->advance(1s);
    pair(otherStore);
    EXPECT_EQ(window.sheets.size(), 2u);
}

TEST_F(StorePairingTest, CountsTheTenSecondsWhateverTheUserDoesToTheClock)
{
    pair(store);
    press(SheetResponse::second);
    clock->setDate(clock->date() - 24h);
    clock->advance(10s);
    pair(otherStore);
    EXPECT_EQ(window.sheets.size(), 2u);
}

TEST_F(StorePairingTest, TheFirstRequestAfterTheStartIsNeverHeldBack)
{
    pair(store);
    EXPECT_EQ(window.sheets.size(), 1u);
}

TEST_F(StorePairingTest, AsksForTheEighthStoreButNotForANinth)
{
    approve(stores(7));
    pair(store);
    allow();
    EXPECT_EQ(settings.value().origins.size(), 8);
    clock->advance(10s);
    pair(otherStore);
    EXPECT_EQ(replies.at(1), reply(429, unavailableText, otherStore));
    EXPECT_EQ(window.sheets.size(), 1u);
}

TEST_F(StorePairingTest, AfterDisconnectingEightStoresANewOneCanPair)
{
    approve(stores(8));
    pair(store);
    pairing->disconnectStores();
    press(SheetResponse::second);
    pair(store);
    ASSERT_EQ(window.sheets.size(), 2u);
    allow(1);
    EXPECT_EQ(settings.value().origins, QStringList{store});
}

TEST_F(StorePairingTest, DoesNotAskWhileTheAgentMayNot)
{
    mayAsk = false;
    pair(store);
    EXPECT_EQ(replies, (Replies{reply(429, unavailableText)}));
    mayAsk = true;
    pair(store); // and that was no sheet
    EXPECT_EQ(window.sheets.size(), 1u);
}

TEST_F(StorePairingTest, RefusesWithoutAWindowAndIsReadyAgain)
{
    pairing.emplace(main, settings, nullptr, [] { return true; });
    pair(store);
    EXPECT_EQ(replies, (Replies{reply(429, unavailableText)}));
    EXPECT_FALSE(pairing->pairing());
    pairing->disconnectStores();
}

TEST_F(StorePairingTest, QuittingWithAnOpenSheetGivesThePageItsCancellation)
{
    pair(store);
    pairing.reset();
    EXPECT_EQ(replies, (Replies{reply(403, cancelledText)}));
    EXPECT_FALSE(window.sheets.at(0)->open);
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(StorePairingTest, CancellingWithoutASheetDoesNothing)
{
    pairing->cancel();
    EXPECT_TRUE(replies.empty());
}

TEST_F(StorePairingTest, AsksBeforeItForgetsTheStores)
{
    approve({store});
    pairing->disconnectStores();
    const SheetText& text = window.sheets.at(0)->text;
    EXPECT_EQ(text.message, QStringLiteral("Disconnect approved stores?"));
    EXPECT_EQ(text.informative,
        QStringLiteral("Each store will need your approval on this Mac the next time it prints. Printer selections are "
                       "kept."));
    EXPECT_EQ(text.buttons, (QStringList{QStringLiteral("Cancel"), QStringLiteral("Disconnect")}));
    EXPECT_EQ(text.safe, SheetResponse::first);
    EXPECT_EQ(settings.value().origins, QStringList{store});
    press(SheetResponse::first);
    EXPECT_EQ(settings.value().origins, QStringList{store});
    EXPECT_FALSE(window.sheets.at(0)->open);
}

TEST_F(StorePairingTest, ForgetsTheStoresAndKeepsEverythingElse)
{
    PrinterSettings before = settings.value();
    before.printerURI = QStringLiteral("usb://Acme/TM");
    before.labelPrinterURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
    before.origins = {otherStore, store};
    before.paused = true;
    settings.save(before);
    pairing->disconnectStores();
    press(SheetResponse::second);
    before.origins.clear();
    EXPECT_EQ(settings.value(), before);
    EXPECT_EQ(PrinterSettings::load(directory, files), before);
    EXPECT_TRUE(window.errors.isEmpty());
}

TEST_F(StorePairingTest, SaysThatTheStoresCouldNotBeForgottenAndKeepsThem)
{
    approve({store});
    pairing->disconnectStores();
    makeFilesUnwritable();
    press(SheetResponse::second);
    EXPECT_EQ(window.errors, QStringList{QStringLiteral("Could not disconnect stores.")});
    EXPECT_EQ(settings.value().origins, QStringList{store});
}

TEST_F(StorePairingTest, AsksOnceHoweverOftenDisconnectIsPressed)
{
    pairing->disconnectStores();
    pairing->disconnectStores();
    EXPECT_EQ(window.sheets.size(), 1u);
    press(SheetResponse::first);
    pairing->disconnectStores();
    EXPECT_EQ(window.sheets.size(), 2u);
}

TEST_F(StorePairingTest, ASaveTellsWhoeverShowsTheStores)
{
    int changes = 0;
    settings.changed = [&] { ++changes; };
    pair(store);
    allow();
    EXPECT_EQ(changes, 1);
}
