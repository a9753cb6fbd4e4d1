#include "GuardTexts.h"
#include "support/FaultyFileSystem.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

using Date = PrintGuard::Date;

const QString directory = QStringLiteral("/data");
const QString receiptFile = QStringLiteral("/data/recent-jobs.json");
const QString a = QStringLiteral("a");
const QString b = QStringLiteral("b");
constexpr auto tick = 1us; // the precision of the file

const Date start{std::chrono::sys_days(std::chrono::year(2024) / 2 / 29) + 12h};

QString key(int number)
{
    return QStringLiteral("key %1").arg(number);
}

class PrintGuards : public ::testing::Test {
protected:
    FaultyFileSystem files;
    PrintGuard receipts{false, directory, files};
    PrintGuard labels{true, directory, files};

    /// Prints a receipt of `key` to its end.
    void print(PrintGuard& guard, const QString& key, Date reserved, Date completed)
    {
        ASSERT_EQ(outcome(guard, key, reserved), held);
        guard.transferred(key, completed);
    }
};

using PrintGuardRepeat = PrintGuards;
using PrintGuardRequest = PrintGuards;
using PrintGuardUncertain = PrintGuards;
using PrintGuardRate = PrintGuards;
using PrintGuardMemory = PrintGuards;
using PrintGuardTransferred = PrintGuards;

TEST_F(PrintGuardRepeat, RefusesTheSameKeyUntilFiveSecondsAfterCompletion)
{
    print(receipts, a, start, start + 10s);
    EXPECT_EQ(outcome(receipts, a, start + 10s), justSent);
    EXPECT_EQ(outcome(receipts, a, start + 10s + 4900ms), justSent);
    EXPECT_EQ(outcome(receipts, a, start + 15s - tick), justSent);
    EXPECT_EQ(outcome(receipts, a, start + 15s), held);
}

TEST_F(PrintGuardRepeat, RefusesTheSameLabelUntilFiveSecondsAfterCompletion)
{
    print(labels, a, start, start + 10s);
    EXPECT_EQ(outcome(labels, a, start + 15s - tick), justSent);
    EXPECT_EQ(outcome(labels, a, start + 15s), held);
}

TEST_F(PrintGuardRepeat, CountsFromTheReservationWhenTheCompletionIsUnknown)
{
    Disk disk;
    disk.put(receiptFile, R"([{"key":"a","date":0,"transferred":true}])");
    FaultyFileSystem other(disk);
    PrintGuard guard(false, directory, other);
    const Date epoch{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};
    EXPECT_EQ(outcome(guard, a, epoch + 5s - tick), justSent);
    EXPECT_EQ(outcome(guard, a, epoch + 5s), held);
}

TEST_F(PrintGuardRepeat, LooksAtEveryPrintOfTheKey)
{
    print(receipts, a, start, start + 60s); // completed late
    Disk disk;
    disk.put(receiptFile,
        R"([{"key":"a","date":0,"transferred":true,"completedAt":20},{"key":"a","date":1,"transferred":true}])");
    FaultyFileSystem other(disk);
    PrintGuard guard(false, directory, other);
    const Date epoch{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};
    EXPECT_EQ(outcome(guard, a, epoch + 25s - tick), justSent);
    EXPECT_EQ(outcome(guard, a, epoch + 25s), held);
}

TEST_F(PrintGuardRepeat, LetsAnotherKeyPassAtOnce)
{
    print(receipts, a, start, start);
    EXPECT_EQ(outcome(receipts, b, start), held);
}

TEST_F(PrintGuardRepeat, TakesKeysAsTheyAre)
{
    print(receipts, a, start, start);
    EXPECT_EQ(outcome(receipts, QStringLiteral("A"), start), held);
    EXPECT_EQ(outcome(receipts, QStringLiteral(" a"), start), held);
    EXPECT_EQ(outcome(receipts, QString(), start), held);
}

TEST_F(PrintGuardRepeat, RefusesWhenTheCompletionLiesInTheFuture)
{
    print(receipts, a, start, start + 3600s);
    EXPECT_EQ(outcome(receipts, a, start + 80s), justSent);
    EXPECT_EQ(outcome(receipts, b, start + 80s), held);
}

TEST_F(PrintGuardRepeat, PassesOnceTheReservationIsForgottenThoughItsCompletionLiesInTheFuture)
{
    print(receipts, a, start, start + 3600s);
    EXPECT_EQ(outcome(receipts, a, start + 90s), justSent);
    EXPECT_EQ(outcome(receipts, a, start + 90s + tick), held);
}

TEST_F(PrintGuardUncertain, RefusesTheSameKeyUntilNinetySecondsHavePassed)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    EXPECT_EQ(outcome(receipts, a, start), transferUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 5s), transferUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 90s), transferUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 90s + tick), held);
}

TEST_F(PrintGuardUncertain, RefusesTheSameLabelUntilNinetySecondsHavePassed)
{
    ASSERT_EQ(outcome(labels, a, start), held);
    EXPECT_EQ(outcome(labels, a, start + 90s), transferUncertain);
    EXPECT_EQ(outcome(labels, a, start + 90s + tick), held);
}

TEST_F(PrintGuardUncertain, PassesTheShortestTimeAfterNinetySeconds)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    EXPECT_EQ(outcome(receipts, a, start + 90s + Date::duration(1)), held);
}

TEST_F(PrintGuardUncertain, LetsAnotherKeyPass)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    EXPECT_EQ(outcome(receipts, b, start), held);
}

TEST_F(PrintGuardUncertain, OutranksJustSent)
{
    print(receipts, a, start, start);
    ASSERT_EQ(outcome(receipts, a, start + 5s), held);
    EXPECT_EQ(outcome(receipts, a, start + 6s), transferUncertain);
}

TEST_F(PrintGuardUncertain, OlderPrintBlocksThoughALaterOneWasConfirmed)
{
    Disk disk;
    disk.put(receiptFile, R"([{"key":"a","date":0},{"key":"a","date":1,"transferred":true,"completedAt":2}])");
    FaultyFileSystem other(disk);
    PrintGuard guard(false, directory, other);
    const Date epoch{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};
    EXPECT_EQ(outcome(guard, a, epoch + 30s), transferUncertain);
    EXPECT_EQ(outcome(guard, a, epoch + 30s, true), alreadySent) << "a request looks at its last print alone";
    EXPECT_EQ(outcome(guard, a, epoch + 90s + tick), held);
}

TEST_F(PrintGuardUncertain, TransferredOfFalseCountsAsUnconfirmed)
{
    Disk disk;
    disk.put(receiptFile, R"([{"key":"a","date":0,"transferred":false,"completedAt":1}])");
    FaultyFileSystem other(disk);
    PrintGuard guard(false, directory, other);
    const Date epoch{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};
    EXPECT_EQ(outcome(guard, a, epoch + 30s), transferUncertain);
    EXPECT_EQ(outcome(guard, a, epoch + 30s, true), requestUncertain);
    guard.transferred(a, epoch + 40s);
    EXPECT_EQ(outcome(guard, a, epoch + 44s), justSent);
}

TEST_F(PrintGuardRequest, ThatWasSentIsRefusedUntilItIsForgotten)
{
    print(receipts, a, start, start + 1s);
    EXPECT_EQ(outcome(receipts, a, start + 2s, true), alreadySent);
    EXPECT_EQ(outcome(receipts, a, start + 60s, true), alreadySent);
    EXPECT_EQ(outcome(receipts, a, start + 90s, true), alreadySent);
    EXPECT_EQ(outcome(receipts, a, start + 90s + tick, true), held);
}

TEST_F(PrintGuardRequest, ThatWasSentTwoMinutesAgoPasses)
{
    print(receipts, a, start, start + 1s);
    EXPECT_EQ(outcome(receipts, a, start + 120s, true), held);
}

TEST_F(PrintGuardRequest, ThatIsUncertainIsRefusedUntilItIsForgotten)
{
    ASSERT_EQ(outcome(receipts, a, start, true), held);
    EXPECT_EQ(outcome(receipts, a, start, true), requestUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 90s, true), requestUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 90s + tick, true), held);
}

TEST_F(PrintGuardRequest, OfAnotherKeyPasses)
{
    print(receipts, a, start, start);
    EXPECT_EQ(outcome(receipts, b, start, true), held);
}

TEST_F(PrintGuardRequest, IsRefusedAsSuchEvenWhenTheRateIsExceeded)
{
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(outcome(receipts, key(i), start, true), held);
    EXPECT_EQ(outcome(receipts, key(0), start, true), requestUncertain);
    EXPECT_EQ(outcome(receipts, key(0), start), transferUncertain);
    EXPECT_EQ(outcome(receipts, key(8), start, true), tooMany);
}

TEST_F(PrintGuardRequest, OfALabelNeverGetsTheTextsForRequests)
{
    ASSERT_EQ(outcome(labels, a, start, true), held);
    EXPECT_EQ(outcome(labels, a, start + 10s, true), transferUncertain);
    labels.transferred(a, start + 20s);
    EXPECT_EQ(outcome(labels, a, start + 24s, true), justSent);
    EXPECT_EQ(outcome(labels, a, start + 60s, true), held);
}

TEST_F(PrintGuardRate, TakesEightReceiptsInNinetySeconds)
{
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(outcome(receipts, key(i), start), held) << i;
    EXPECT_EQ(outcome(receipts, key(8), start), tooMany);
    EXPECT_EQ(outcome(receipts, key(8), start + 90s), tooMany);
    EXPECT_EQ(outcome(receipts, key(8), start + 90s + tick), held);
}

TEST_F(PrintGuardRate, TakesThirtyTwoLabelsInNinetySeconds)
{
    for (int i = 0; i < 32; ++i)
        ASSERT_EQ(outcome(labels, key(i), start), held) << i;
    EXPECT_EQ(outcome(labels, key(32), start), tooMany);
    EXPECT_EQ(outcome(labels, key(32), start + 90s), tooMany);
    EXPECT_EQ(outcome(labels, key(32), start + 90s + tick), held);
}

TEST_F(PrintGuardRate, CountsConfirmedPrintsToo)
{
    for (int i = 0; i < 8; ++i)
        print(receipts, key(i), start, start);
    EXPECT_EQ(outcome(receipts, key(8), start + 30s), tooMany);
    EXPECT_EQ(outcome(receipts, key(0), start + 30s), tooMany);
}

TEST_F(PrintGuardRate, IsRefusedAfterJustSent)
{
    for (int i = 0; i < 8; ++i)
        print(receipts, key(i), start, start);
    EXPECT_EQ(outcome(receipts, key(0), start + 5s - tick), justSent);
    EXPECT_EQ(outcome(receipts, key(0), start + 5s), tooMany);
}

TEST_F(PrintGuardRate, DoesNotCountRefusals)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(outcome(receipts, a, start), transferUncertain);
    EXPECT_EQ(receipts.recent().size(), 1U);
    EXPECT_EQ(outcome(receipts, b, start), held);
}

TEST_F(PrintGuardRate, OfLabelsAndReceiptsAreCountedApart)
{
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(outcome(receipts, key(i), start), held);
    EXPECT_EQ(outcome(labels, key(0), start), held);
    EXPECT_EQ(labels.recent().size(), 1U);
    EXPECT_EQ(receipts.recent().size(), 8U);
}

TEST_F(PrintGuardMemory, KeepsThePrintsInTheOrderOfTheirReservations)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    ASSERT_EQ(outcome(receipts, b, start - 10s), held);
    receipts.transferred(b, start + 1s);
    const std::vector<RecentPrint> expected = {{a, start, {}, {}}, {b, start - 10s, true, start + 1s}};
    EXPECT_EQ(receipts.recent(), expected);
}

TEST_F(PrintGuardMemory, ForgetsOldPrintsInMemoryEvenWhenTheReservationIsRefused)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    ASSERT_EQ(outcome(receipts, b, start + 60s), held);
    const QByteArray file = files.disk().bytes(receiptFile);
    EXPECT_EQ(outcome(receipts, b, start + 91s), transferUncertain);
    ASSERT_EQ(receipts.recent().size(), 1U);
    EXPECT_EQ(receipts.recent().front().key, b);
    EXPECT_EQ(files.disk().bytes(receiptFile), file) << "a refusal writes nothing";
}

TEST_F(PrintGuardMemory, ForgetsOldPrintsInTheFileWithTheNextReservation)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    ASSERT_EQ(outcome(receipts, b, start + 91s), held);
    EXPECT_EQ(PrintGuard(false, directory, files).recent(), receipts.recent());
    EXPECT_EQ(receipts.recent().size(), 1U);
}

TEST_F(PrintGuardMemory, KeepsPrintsOfTheFutureUntilNinetySecondsAfterTheirDate)
{
    ASSERT_EQ(outcome(receipts, a, start + 3600s), held);
    EXPECT_EQ(outcome(receipts, a, start), transferUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 3690s), transferUncertain);
    EXPECT_EQ(outcome(receipts, a, start + 3690s + tick), held);
}

TEST_F(PrintGuardMemory, HoldsWhateverTheClockSays)
{
    ASSERT_EQ(outcome(receipts, a, Date::max()), held);
    EXPECT_EQ(outcome(receipts, a, Date::min()), transferUncertain);
    EXPECT_EQ(outcome(receipts, b, Date::min()), held);
    EXPECT_EQ(outcome(receipts, b, Date::min() + 90s), transferUncertain);
    EXPECT_EQ(outcome(receipts, b, Date::max()), held);
    receipts.transferred(b, Date::min());
    EXPECT_EQ(outcome(receipts, b, Date::min()), justSent);
    EXPECT_EQ(PrintGuard(false, directory, files).recent().size(), 2U) << "and can be read again";
}

TEST_F(PrintGuardTransferred, OfAnUnknownKeyWritesNothing)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    const int operations = files.operations();
    receipts.transferred(b, start);
    EXPECT_EQ(files.operations(), operations);
    EXPECT_EQ(receipts.recent(), (std::vector<RecentPrint>{{a, start, {}, {}}}));
}

TEST_F(PrintGuardTransferred, OfAConfirmedPrintWritesNothing)
{
    print(receipts, a, start, start + 1s);
    const int operations = files.operations();
    receipts.transferred(a, start + 2s);
    EXPECT_EQ(files.operations(), operations);
    EXPECT_EQ(receipts.recent(), (std::vector<RecentPrint>{{a, start, true, start + 1s}}));
}

TEST_F(PrintGuardTransferred, ConfirmsTheNewestReservationOfItsKey)
{
    print(receipts, a, start, start);
    ASSERT_EQ(outcome(receipts, a, start + 10s), held);
    ASSERT_EQ(outcome(receipts, b, start + 11s), held);
    receipts.transferred(a, start + 12s);
    const std::vector<RecentPrint> expected = {
        {a, start, true, start}, {a, start + 10s, true, start + 12s}, {b, start + 11s, {}, {}}};
    EXPECT_EQ(receipts.recent(), expected);
}

TEST_F(PrintGuardTransferred, LooksNoFurtherThanTheNewestOfItsKey)
{
    Disk disk;
    disk.put(receiptFile, R"([{"key":"a","date":0},{"key":"a","date":1,"transferred":true}])");
    FaultyFileSystem other(disk);
    PrintGuard guard(false, directory, other);
    const auto before = guard.recent();
    guard.transferred(a, start);
    EXPECT_EQ(guard.recent(), before);
}

TEST_F(PrintGuardTransferred, DoesNotForgetOldPrints)
{
    ASSERT_EQ(outcome(receipts, a, start), held);
    receipts.transferred(a, start + 3600s);
    EXPECT_EQ(receipts.recent(), (std::vector<RecentPrint>{{a, start, true, start + 3600s}}));
}

TEST_F(PrintGuardTransferred, IsPersisted)
{
    print(receipts, a, start, start + 1s);
    EXPECT_EQ(PrintGuard(false, directory, files).recent(), receipts.recent());
}

TEST(PrintGuardClock, IsTheSystemsUnlessAnotherIsGiven)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    const Date before = Date::clock::now();
    guard.reserve(a, false);
    guard.transferred(a);
    const Date after = Date::clock::now();
    EXPECT_LE(before, guard.recent().at(0).date);
    EXPECT_LE(guard.recent().at(0).date, *guard.recent().at(0).completedAt);
    EXPECT_LE(*guard.recent().at(0).completedAt, after);
}

} // namespace
