#include "GuardTexts.h"
#include "support/FaultyFileSystem.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

using Date = PrintGuard::Date;
using Prints = std::vector<RecentPrint>;

const QString directory = QStringLiteral("/home/user/data");
const QString old = QStringLiteral("old");
const QString a = QStringLiteral("a");
const Date start{std::chrono::sys_days(std::chrono::year(2024) / 2 / 29) + 12h};

Prints remembered(const Disk& disk)
{
    FaultyFileSystem files(disk);
    return PrintGuard(false, directory, files).recent();
}

/// What is on the disk before the operation under test, and the operation.
struct Step {
    const char* name;
    bool first; ///< no file, and no directory, exists yet
    bool transfer; ///< the step is `transferred`, otherwise `reserve`
};

void PrintTo(const Step& step, std::ostream* out)
{
    *out << step.name;
}

class PrintGuardFaults : public ::testing::TestWithParam<Step> {
protected:
    static Disk home()
    {
        Disk disk;
        disk.put(QStringLiteral("/home/user/other"), "x");
        FaultyFileSystem files(disk);
        if (!GetParam().first) {
            PrintGuard guard(false, directory, files);
            guard.reserve(old, start - 10s, false);
            guard.transferred(old, start - 9s);
        }
        if (GetParam().transfer)
            PrintGuard(false, directory, files).reserve(a, start, false);
        return files.disk();
    }
    static void run(PrintGuard& guard)
    {
        if (GetParam().transfer)
            guard.transferred(a, start + 2s);
        else
            guard.reserve(a, start, false);
    }
    static Prints after()
    {
        FaultyFileSystem files(home());
        PrintGuard guard(false, directory, files);
        run(guard);
        return guard.recent();
    }
    /// The numbers of the operations of the step, of those that start a guard too.
    static std::pair<int, int> operations()
    {
        FaultyFileSystem files(home());
        PrintGuard guard(false, directory, files);
        const int first = files.operations() + 1;
        run(guard);
        return {first, files.operations()};
    }
};

const Step steps[] = {
    {"FirstReservation", true, false},
    {"LaterReservation", false, false},
    {"Transferred", false, true},
    {"TransferredOfTheFirst", true, true},
};
INSTANTIATE_TEST_SUITE_P(
    Each, PrintGuardFaults, ::testing::ValuesIn(steps), [](const auto& info) { return std::string(info.param.name); });

TEST_P(PrintGuardFaults, FailingOperationIsToldAndMemoryStaysAsItWas)
{
    const auto [first, last] = operations();
    for (int number = first; number <= last; ++number) {
        FaultyFileSystem files(home());
        PrintGuard guard(false, directory, files);
        const Prints before = guard.recent();
        files.failOperation(number);
        EXPECT_THROW(run(guard), std::system_error) << "operation " << number;
        EXPECT_EQ(guard.recent(), before) << "operation " << number;
        EXPECT_EQ(files.openDescriptors(), 0U) << "operation " << number;
        const Prints left = remembered(files.disk());
        EXPECT_EQ(left, number == last ? after() : before) << "operation " << number << ": the last follows the rename";
    }
}

TEST_P(PrintGuardFaults, StepCanBeRepeatedAfterAnyFailure)
{
    const auto [first, last] = operations();
    for (int number = first; number <= last; ++number) {
        FaultyFileSystem files(home());
        PrintGuard guard(false, directory, files);
        files.failOperation(number);
        EXPECT_THROW(run(guard), std::system_error) << "operation " << number;
        run(guard);
        EXPECT_EQ(guard.recent(), after()) << "operation " << number;
        EXPECT_EQ(remembered(files.disk()), after()) << "operation " << number;
        for (int loss = 0; loss < Loss::count; ++loss)
            EXPECT_EQ(remembered(files.diskAfterCrash(files.operations(), Loss::number(loss))), after())
                << "operation " << number << ", loss " << loss;
    }
}

TEST_P(PrintGuardFaults, StepAfterAKillAtAnyOperationOutlastsALossOfPower)
{
    const auto [first, last] = operations();
    for (int number = first; number <= last; ++number) {
        FaultyFileSystem killed(home());
        PrintGuard guard(false, directory, killed);
        killed.failOperation(number, true);
        EXPECT_THROW(run(guard), std::system_error) << "operation " << number;
        // What the killed process left is all there, and nothing of it is certain to stay.
        FaultyFileSystem files(killed.disk());
        PrintGuard restarted(false, directory, files);
        if (remembered(killed.disk()) != remembered(home()))
            continue; // the step had been done
        run(restarted);
        for (int loss = 0; loss < Loss::count; ++loss)
            EXPECT_EQ(remembered(files.diskAfterCrash(files.operations(), Loss::number(loss))), after())
                << "operation " << number << ", loss " << loss;
    }
}

TEST_P(PrintGuardFaults, CrashAfterAnyOperationLeavesTheOldOrTheWholeNewMemory)
{
    const Prints before = remembered(home());
    FaultyFileSystem files(home());
    PrintGuard guard(false, directory, files);
    run(guard);
    for (int number = 0; number <= files.operations(); ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            const Prints left = remembered(files.diskAfterCrash(number, Loss::number(loss)));
            EXPECT_TRUE(left == before || left == after()) << "operation " << number << ", loss " << loss;
        }
    }
}

TEST_P(PrintGuardFaults, CrashAfterTheStepLeavesTheNewMemory)
{
    FaultyFileSystem files(home());
    PrintGuard guard(false, directory, files);
    run(guard);
    for (int loss = 0; loss < Loss::count; ++loss)
        EXPECT_EQ(remembered(files.diskAfterCrash(files.operations(), Loss::number(loss))), after()) << loss;
}

TEST_P(PrintGuardFaults, CrashAfterAFailureLeavesTheOldOrTheWholeNewMemory)
{
    const Prints before = remembered(home());
    const auto [first, last] = operations();
    for (int number = first; number <= last; ++number) {
        FaultyFileSystem files(home());
        PrintGuard guard(false, directory, files);
        files.failOperation(number);
        EXPECT_THROW(run(guard), std::system_error);
        for (int loss = 0; loss < Loss::count; ++loss) {
            const Prints left = remembered(files.diskAfterCrash(files.operations(), Loss::number(loss)));
            EXPECT_TRUE(left == before || left == after()) << "operation " << number << ", loss " << loss;
        }
    }
}

TEST(PrintGuardFaults, CrashBetweenReservationAndConfirmationAlwaysReadsAsUncertain)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    guard.reserve(a, start, false);
    const int reserved = files.operations();
    guard.transferred(a, start + 2s);
    const int confirmed = files.operations();
    for (int number = reserved; number <= confirmed; ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            FaultyFileSystem restarted(files.diskAfterCrash(number, Loss::number(loss)));
            PrintGuard next(false, directory, restarted);
            const QString told = outcome(next, a, start + 30s, true);
            const bool mayReadAsSent = number >= confirmed - 1; // from the rename on
            EXPECT_TRUE(told == requestUncertain || (mayReadAsSent && told == alreadySent))
                << "operation " << number << ", loss " << loss << ": " << told.toStdString();
        }
    }
}

TEST(PrintGuardFaults, FailureToConfirmLeavesThePrintUncertain)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    guard.reserve(a, start, false);
    files.failOperation(files.operations() + 1, true);
    EXPECT_THROW(guard.transferred(a, start + 2s), std::system_error);
    EXPECT_EQ(outcome(guard, a, start + 30s), transferUncertain);
}

TEST(PrintGuardFaults, FailureToReserveKeepsWhatTheNextReservationNeeds)
{
    FaultyFileSystem files;
    PrintGuard guard(false, directory, files);
    files.failOperation(files.operations() + 1);
    EXPECT_THROW(guard.reserve(a, start, false), std::system_error);
    EXPECT_EQ(outcome(guard, a, start), held) << "a reservation that is not on the disk is not held";
}

TEST(PrintGuardFaults, FailingOperationOfTheStartIsTold)
{
    Disk disk;
    disk.put(directory + QStringLiteral("/recent-jobs.json"), "[]");
    for (int number = 1; number <= 2; ++number) {
        FaultyFileSystem files(disk);
        files.failOperation(number);
        EXPECT_THROW(PrintGuard(false, directory, files), std::system_error) << "operation " << number;
    }
    FaultyFileSystem files(disk);
    files.failOperation(3);
    EXPECT_NO_THROW(PrintGuard(false, directory, files)) << "a start has two operations";
}

} // namespace
