#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"
#include "support/FaultyFileSystem.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString directory = QStringLiteral("/home/user/data");
const QString path = QStringLiteral("/home/user/data/settings.json");
const QString keptPath = QStringLiteral("/home/user/data/settings.json.unreadable");
const QByteArray unreadable = "{\"origins\":[";

PrinterSettings oldSettings()
{
    PrinterSettings settings;
    settings.origins = {QStringLiteral("https://old.example")};
    return settings;
}

PrinterSettings newSettings()
{
    PrinterSettings settings;
    settings.printerURI = QStringLiteral("usb://new");
    settings.paused = true;
    return settings;
}

/// A disk on which the user's home directory is, and old settings if there are any.
Disk homeWith(const std::optional<PrinterSettings>& settings)
{
    Disk disk;
    disk.put(QStringLiteral("/home/user/other"), "x");
    FaultyFileSystem files(disk);
    if (settings)
        settings->save(directory, files);
    return files.disk();
}

Disk homeWithUnreadable()
{
    Disk disk;
    disk.put(path, unreadable);
    return disk;
}

PrinterSettings loaded(const Disk& disk)
{
    FaultyFileSystem files(disk);
    return PrinterSettings::load(directory, files);
}

int operationsOfSave(const Disk& disk)
{
    FaultyFileSystem files(disk);
    newSettings().save(directory, files);
    EXPECT_EQ(files.openDescriptors(), 0U);
    return files.operations();
}

class SettingsFaults : public ::testing::TestWithParam<bool> {
protected:
    /// What was saved before, if anything was.
    std::optional<PrinterSettings> before() const { return GetParam() ? std::optional(oldSettings()) : std::nullopt; }
    PrinterSettings loadedBefore() const { return before().value_or(PrinterSettings()); }
};

INSTANTIATE_TEST_SUITE_P(Each, SettingsFaults, ::testing::Bool(),
    [](const auto& info) { return std::string(info.param ? "OverOldSettings" : "WithoutSettings"); });

TEST_P(SettingsFaults, FailingOperationIsToldAndLeavesTheOldOrTheWholeNewFile)
{
    const Disk disk = homeWith(before());
    const int count = operationsOfSave(disk);
    bool isNew = false;
    for (int number = 1; number <= count; ++number) {
        FaultyFileSystem files(disk);
        files.failOperation(number);
        EXPECT_THROW(newSettings().save(directory, files), std::system_error) << "operation " << number;
        EXPECT_EQ(files.openDescriptors(), 0U) << "operation " << number;
        const PrinterSettings left = loaded(files.disk());
        EXPECT_TRUE(left == newSettings() || (!isNew && left == loadedBefore())) << "operation " << number;
        isNew = left == newSettings();
    }
    EXPECT_TRUE(isNew) << "only the last step, after the rename, leaves the new file";
}

TEST_P(SettingsFaults, DiskThatFailsForGoodLeavesTheOldOrTheWholeNewFile)
{
    const Disk disk = homeWith(before());
    const int count = operationsOfSave(disk);
    for (int number = 1; number <= count; ++number) {
        FaultyFileSystem files(disk);
        files.failOperation(number, true);
        EXPECT_THROW(newSettings().save(directory, files), std::system_error) << "operation " << number;
        EXPECT_EQ(files.openDescriptors(), 0U) << "operation " << number;
        const PrinterSettings left = loaded(files.disk());
        EXPECT_TRUE(left == newSettings() || left == loadedBefore()) << "operation " << number;
    }
}

TEST_P(SettingsFaults, CrashAfterAnyOperationLeavesTheOldOrTheWholeNewFile)
{
    FaultyFileSystem files(homeWith(before()));
    newSettings().save(directory, files);
    for (int number = 0; number <= files.operations(); ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            const PrinterSettings left = loaded(files.diskAfterCrash(number, Loss::number(loss)));
            EXPECT_TRUE(left == newSettings() || left == loadedBefore()) << "operation " << number << ", loss " << loss;
        }
    }
}

TEST_P(SettingsFaults, FailureAndThenACrashLeaveTheOldOrTheWholeNewFile)
{
    const Disk disk = homeWith(before());
    const int count = operationsOfSave(disk);
    for (int failing = 1; failing <= count; ++failing) {
        FaultyFileSystem files(disk);
        files.failOperation(failing);
        EXPECT_THROW(newSettings().save(directory, files), std::system_error);
        for (int loss = 0; loss < Loss::count; ++loss) {
            const PrinterSettings left = loaded(files.diskAfterCrash(files.operations(), Loss::number(loss)));
            EXPECT_TRUE(left == newSettings() || left == loadedBefore())
                << "operation " << failing << ", loss " << loss;
        }
    }
}

TEST_P(SettingsFaults, CrashAfterASaveLeavesTheNewFile)
{
    FaultyFileSystem files(homeWith(before()));
    newSettings().save(directory, files);
    for (int loss = 0; loss < Loss::count; ++loss)
        EXPECT_EQ(loaded(files.diskAfterCrash(files.operations(), Loss::number(loss))), newSettings()) << loss;
}

TEST_P(SettingsFaults, SaveSucceedsAfterAnyFailureOrCrash)
{
    const Disk disk = homeWith(before());
    const int count = operationsOfSave(disk);
    for (int number = 1; number <= count; ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            FaultyFileSystem files(disk);
            files.failOperation(number);
            EXPECT_THROW(newSettings().save(directory, files), std::system_error);
            FaultyFileSystem restarted(files.diskAfterCrash(files.operations(), Loss::number(loss)));
            newSettings().save(directory, restarted);
            EXPECT_EQ(loaded(restarted.disk()), newSettings()) << "operation " << number << ", loss " << loss;
        }
    }
}

TEST(SettingsFaults, FailingOperationOfALoadIsTold)
{
    for (int number = 1; number <= 2; ++number) {
        FaultyFileSystem files(homeWith(oldSettings()));
        files.failOperation(number);
        EXPECT_THROW((void)PrinterSettings::load(directory, files), std::system_error) << "operation " << number;
    }
    FaultyFileSystem files(homeWith(oldSettings()));
    files.failOperation(3);
    EXPECT_EQ(PrinterSettings::load(directory, files), oldSettings()) << "a load has two operations";
}

/// Either the old bytes are still in their place, or they are kept beside the new file.
void expectNothingLost(const Disk& disk, const std::string& when)
{
    if (disk.bytes(path) == unreadable)
        return;
    EXPECT_EQ(loaded(disk), newSettings()) << when;
    EXPECT_EQ(disk.bytes(keptPath), unreadable) << when;
}

TEST(SettingsFaults, FailingOperationNeverLosesUnreadableSettings)
{
    const Disk disk = homeWithUnreadable();
    const int count = operationsOfSave(disk);
    for (int number = 1; number <= count; ++number) {
        FaultyFileSystem files(disk);
        files.failOperation(number);
        EXPECT_THROW(newSettings().save(directory, files), std::system_error) << "operation " << number;
        expectNothingLost(files.disk(), "operation " + std::to_string(number));
    }
}

TEST(SettingsFaults, CrashNeverLosesUnreadableSettings)
{
    FaultyFileSystem files(homeWithUnreadable());
    newSettings().save(directory, files);
    for (int number = 0; number <= files.operations(); ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            expectNothingLost(files.diskAfterCrash(number, Loss::number(loss)),
                "operation " + std::to_string(number) + ", loss " + std::to_string(loss));
        }
    }
    EXPECT_EQ(files.disk().bytes(keptPath), unreadable);
}

} // namespace
