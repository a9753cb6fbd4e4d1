#include "ScriptedProgram.h"

#include <QFile>
#include <chrono>

namespace harrowmint::test {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

class USBTimeLimit : public ScriptedPrograms {
protected:
    static QString print(const QString& program, const USBBackend::Limits& limits, const QByteArray& data = "job")
    {
        return failure([&] { USBBackend::print(data, printerURI, {}, program, limits); });
    }

    /// Prints, with more and more time, until the program was quick enough to say that it is ready (or that it cannot
    /// do what it should). Whatever the time, it must run out.
    static void printUntilReady(const QString& program, milliseconds termination)
    {
        for (milliseconds limit(50);; limit *= 2) {
            EXPECT_EQ(print(program, {limit, limit, termination}), QString::fromLatin1(timedOut));
            if (QFile::exists(program + QStringLiteral(".ready"))
                || QFile::exists(program + QStringLiteral(".refused")))
                return;
        }
    }
};

TEST_F(USBTimeLimit, DefaultsAreTheAgents)
{
    const USBBackend::Limits limits;
    EXPECT_EQ(limits.printing, milliseconds(15000));
    EXPECT_EQ(limits.listing, milliseconds(3000));
    EXPECT_EQ(limits.termination, milliseconds(250));
}

TEST_F(USBTimeLimit, EndsAProgramThatNeverReads)
{
    const auto before = Clock::now();
    EXPECT_EQ(print(script("exec sleep 600"), impatient(), QByteArray(900000, 'x')), QString::fromLatin1(timedOut));
    EXPECT_GE(Clock::now() - before, impatient().printing);
}

TEST_F(USBTimeLimit, EndsAProgramThatReadsAllAndStays)
{
    EXPECT_EQ(print(script("cat > /dev/null; exec sleep 600"), impatient()), QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, EndsAProgramThatClosedItsStreams)
{
    EXPECT_EQ(print(script("exec 0<&- 1>&- 2>&-; exec sleep 600"), impatient()), QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, EndsAProgramThatFloodsItsErrorStream)
{
    EXPECT_EQ(print(script("exec yes >&2"), impatient()), QString::fromLatin1(timedOut));
    EXPECT_EQ(print(script("exec cat /dev/zero >&2"), impatient()), QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, EndsAStoppedProgram)
{
    EXPECT_EQ(print(script("kill -STOP $$"), impatient()), QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, EndsAListingThatNeverEnds)
{
    const auto discover = [](const QString& program) {
        return failure([&] { static_cast<void>(USBBackend::discover(program, impatient())); });
    };
    EXPECT_EQ(discover(script("exec sleep 600")), QString::fromLatin1(timedOut));
    EXPECT_EQ(discover(script("exec yes")), QString::fromLatin1(timedOut));
    EXPECT_EQ(discover(script("exec 1>&-; exec sleep 600")), QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, ListingAndPrintingHaveTheirOwn)
{
    const milliseconds never = std::chrono::hours(1);
    const QString program = script("exec sleep 600");
    EXPECT_EQ(print(program, {milliseconds(50), never, milliseconds(50)}), QString::fromLatin1(timedOut));
    EXPECT_EQ(failure([&] {
        static_cast<void>(USBBackend::discover(program, {never, milliseconds(50), milliseconds(50)}));
    }),
        QString::fromLatin1(timedOut));
}

TEST_F(USBTimeLimit, AsksTheProgramToEndBeforeItIsKilled)
{
    // The time after SIGTERM is an hour: it returns because the program obeyed, and its status then counts for nothing.
    const QString program = script("trap 'echo asked > \"$0.asked\"; exit 0' TERM; echo > \"$0.ready\"\n" + waitForGo);
    printUntilReady(program, std::chrono::hours(1));
    EXPECT_EQ(readFile(program + QStringLiteral(".asked")), "asked\n");
}

TEST_F(USBTimeLimit, KillsAProgramThatIgnoresTermination)
{
    printUntilReady(script("trap '' TERM; echo > \"$0.ready\"\n" + waitForGo), std::chrono::milliseconds(20));
}

TEST_F(USBTimeLimit, CanFollowOnAnAcknowledgement)
{
    const QString program =
        script("cat > /dev/null; printf 'DEBUG: Sent 3 bytes...\\nSTATE: +cups-waiting-for-job-completed\\n' >&2\n"
               "exec sleep 600");
    int transferred = 0;
    for (milliseconds limit(50); transferred == 0; limit *= 2)
        EXPECT_EQ(failure([&] {
            USBBackend::print("job", printerURI, [&] { ++transferred; }, program, {limit, limit, milliseconds(50)});
        }),
            QString::fromLatin1(timedOut));
    EXPECT_EQ(transferred, 1);
}

TEST_F(USBTimeLimit, ReturnsThoughTheProgramCannotDieAndReapsItLater)
{
    const QString program = observer(QStringLiteral("traced"));
    printUntilReady(program, milliseconds(20));
    if (QFile::exists(program + QStringLiteral(".refused")))
        GTEST_SKIP() << "this system does not let a process be traced";
    EXPECT_TRUE(hasChild()) << "the program was to outlive its killing";
    writeFile(program + QStringLiteral(".release"), "");
    waitUntilReaped();
}

} // namespace
} // namespace harrowmint::test
