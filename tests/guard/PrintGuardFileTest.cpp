#include "GuardTexts.h"
#include "support/FaultyFileSystem.h"
#include "support/Files.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

using Date = PrintGuard::Date;

const QString directory = QStringLiteral("/data");
const QString receiptFile = QStringLiteral("/data/recent-jobs.json");
const QString labelFile = QStringLiteral("/data/recent-labels.json");
const Date reference{std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)};

/// What a guard remembers that finds `json` in its file; nothing when it cannot be read.
std::optional<std::vector<RecentPrint>> remembered(const QByteArray& json)
{
    Disk disk;
    disk.put(receiptFile, json);
    FaultyFileSystem files(disk);
    try {
        return PrintGuard(false, directory, files).recent();
    } catch (const PrinterError&) {
        EXPECT_EQ(files.disk().bytes(receiptFile), json);
        return std::nullopt;
    }
}

using Prints = std::vector<RecentPrint>;

TEST(PrintGuardFile, IsNotNeededAndNotWrittenAtStart)
{
    FaultyFileSystem files;
    EXPECT_TRUE(PrintGuard(false, directory, files).recent().empty());
    EXPECT_TRUE(PrintGuard(true, directory, files).recent().empty());
    EXPECT_EQ(files.disk().names.size(), 1U);
}

TEST(PrintGuardFile, IsNamedByWhatTheGuardIsFor)
{
    FaultyFileSystem files;
    PrintGuard(false, directory, files).reserve(QStringLiteral("r"), reference, false);
    EXPECT_EQ(files.disk().bytes(receiptFile), R"([{"date":0,"key":"r"}])");
    EXPECT_EQ(files.disk().bytes(labelFile), QByteArray());
    PrintGuard(true, directory, files).reserve(QStringLiteral("l"), reference, false);
    EXPECT_EQ(files.disk().bytes(labelFile), R"([{"date":0,"key":"l"}])");
    EXPECT_EQ(files.disk().bytes(receiptFile), R"([{"date":0,"key":"r"}])");
}

TEST(PrintGuardFile, HoldsDatesAsSecondsSince2001)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    guard.reserve(QStringLiteral("\"k\"\n"), reference + 1500ms, false);
    guard.transferred(QStringLiteral("\"k\"\n"), Date(1'700'000'000'123'456us));
    EXPECT_EQ(files.disk().bytes(receiptFile),
        R"([{"completedAt":721692800.123456,"date":1.5,"key":"\"k\"\n","transferred":true}])");
    EXPECT_EQ(PrintGuard(false, directory, files).recent(), guard.recent());
}

TEST(PrintGuardFile, ReadsEveryMicrosecondBackAsItWas)
{
    for (int i = 0; i < 5000; ++i) {
        FaultyFileSystem files;
        PrintGuard guard(false, directory, files);
        const Date date(1'700'000'000s + i * 7'919'000'000'123us / 1000);
        guard.reserve(QStringLiteral("k"), date, false);
        ASSERT_EQ(PrintGuard(false, directory, files).recent().at(0).date, date) << i;
    }
}

TEST(PrintGuardFile, ReadsTheShorterTimesOfTheClockBackToTheMicrosecond)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    const Date date(std::chrono::duration_cast<Date::duration>(1'700'000'000'123'456'789ns));
    guard.reserve(QStringLiteral("k"), date, false);
    const auto difference = PrintGuard(false, directory, files).recent().at(0).date - date;
    EXPECT_LE(std::chrono::abs(difference), 1us);
}

TEST(PrintGuardFile, MayLackTheOptionalKeysOrHoldNullForThem)
{
    const Prints expected = {{QStringLiteral("k"), reference + 2s, {}, {}}};
    EXPECT_EQ(remembered(R"([{"key":"k","date":2}])"), expected);
    EXPECT_EQ(remembered(R"([{"key":"k","date":2.0,"transferred":null,"completedAt":null}])"), expected);
}

TEST(PrintGuardFile, MayHoldUnknownKeysAndDuplicatesOfWhichTheLastCounts)
{
    const Prints expected = {{QStringLiteral("k"), reference + 2s, true, reference - 1s}};
    EXPECT_EQ(
        remembered(R"([{"key":"x","key":"k","more":[],"date":2,"transferred":true,"completedAt":-1}])"), expected);
}

TEST(PrintGuardFile, MayHoldNoPrintOrMoreThanTheLimit)
{
    EXPECT_EQ(remembered("[]"), Prints());
    QByteArray many = R"([{"key":"k","date":2})";
    for (int i = 0; i < 99; ++i)
        many += R"(,{"key":"k","date":2})";
    EXPECT_EQ(remembered(many + ']')->size(), 100U);
}

TEST(PrintGuardFile, OfAnotherFormIsRefusedAndLeftAlone)
{
    for (const char* json : {"", " ", "{}", R"({"key":"k","date":2})", "null", "[", "[]]", "[null]", "[1]", "[\"k\"]",
             "[[]]", "[{}]", R"([{"key":"k"}])", R"([{"date":2}])", R"([{"key":null,"date":2}])",
             R"([{"key":1,"date":2}])", R"([{"key":"k","date":null}])", R"([{"key":"k","date":"2"}])",
             R"([{"key":"k","date":true}])", R"([{"key":"k","date":2,"transferred":1}])",
             R"([{"key":"k","date":2,"transferred":"true"}])", R"([{"key":"k","date":2,"completedAt":"2"}])",
             R"([{"key":"k","date":2,"completedAt":true}])", R"([{"key":"k","date":2},{"key":"k"}])"})
        EXPECT_EQ(remembered(json), std::nullopt) << json;
}

TEST(PrintGuardFile, HoldsNoDateThatAClockCouldNotShow)
{
    for (const char* date : {"4000000000", "-4000000000", "4e9"})
        EXPECT_TRUE(remembered(QByteArray(R"([{"key":"k","date":)") + date + "}]")) << date;
    for (const char* date : {"4000000000.1", "-4000000000.1", "9223372036854775807", "18446744073709551615", "1e300",
             "-1e300", "1e999", "NaN", "Infinity"}) {
        EXPECT_FALSE(remembered(QByteArray(R"([{"key":"k","date":)") + date + "}]")) << date;
        EXPECT_FALSE(remembered(QByteArray(R"([{"key":"k","date":0,"completedAt":)") + date + "}]")) << date;
    }
}

TEST(PrintGuardFile, WithTheFarthestDatesIsComparedWithoutOverflow)
{
    Disk disk;
    disk.put(receiptFile,
        R"([{"key":"past","date":-4e9},{"key":"future","date":4e9,"transferred":true,"completedAt":-4e9},)"
        R"({"key":"both","date":4e9,"transferred":true,"completedAt":4e9}])");
    FaultyFileSystem files(disk);
    PrintGuard guard(false, directory, files);
    EXPECT_EQ(outcome(guard, QStringLiteral("past"), reference), held);
    EXPECT_EQ(outcome(guard, QStringLiteral("future"), reference), held);
    EXPECT_EQ(outcome(guard, QStringLiteral("both"), reference), justSent);
    EXPECT_EQ(guard.recent().size(), 4U);
}

TEST(PrintGuardFile, IsForItsUserAlone)
{
    const QTemporaryDir root;
    const QString data = root.filePath(QStringLiteral("a/b"));
    PrintGuard(false, data).reserve(QStringLiteral("k"), reference, false);
    EXPECT_EQ(modeOf(data), 0700U);
    EXPECT_EQ(modeOf(data + QStringLiteral("/recent-jobs.json")), 0600U);
    EXPECT_EQ(PrintGuard(false, data).recent(), (Prints{{QStringLiteral("k"), reference, {}, {}}}));
}

TEST(PrintGuardFile, ThatCannotBeReadIsTold)
{
    const QTemporaryDir root;
    FileSystem::local().createDirectories(root.filePath(QStringLiteral("recent-jobs.json")));
    EXPECT_THROW(PrintGuard(false, root.path()), std::system_error);
}

/// Runs `body` in a process of its own, waits until it says that it is ready and kills it there.
template <class Body>
void killWhenReady(Body body)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        (void)!::write(ends[1], "!", 1);
        for (;;)
            ::pause();
    }
    char ready = 0;
    ASSERT_EQ(::read(ends[0], &ready, 1), 1);
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(PrintGuardFile, OfAProcessKilledBetweenReservationAndResultReadsAsUncertain)
{
    const QTemporaryDir root;
    const QString data = root.filePath(QStringLiteral("data"));
    const QString key = QStringLiteral("k");
    killWhenReady([&] { PrintGuard(false, data).reserve(key, reference, false); });
    PrintGuard guard(false, data);
    EXPECT_EQ(outcome(guard, key, reference + 60s), transferUncertain);
    EXPECT_EQ(outcome(guard, key, reference + 60s, true), requestUncertain);
}

TEST(PrintGuardFile, OfAProcessKilledAfterTheResultReadsAsSent)
{
    const QTemporaryDir root;
    const QString data = root.filePath(QStringLiteral("data"));
    const QString key = QStringLiteral("k");
    killWhenReady([&] {
        PrintGuard guard(false, data);
        guard.reserve(key, reference, false);
        guard.transferred(key, reference + 1s);
    });
    PrintGuard guard(false, data);
    EXPECT_EQ(outcome(guard, key, reference + 60s, true), alreadySent);
    EXPECT_EQ(outcome(guard, key, reference + 60s), held);
}

} // namespace
