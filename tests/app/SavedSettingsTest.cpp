#include "app/SavedSettings.h"

#include "base/PrinterError.h"
#include "support/FaultyFileSystem.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const auto directory = QStringLiteral("/data");
const auto path = QStringLiteral("/data/settings.json");

FaultyFileSystem damagedFiles()
{
    Disk disk;
    disk.put(path, "{");
    return FaultyFileSystem(disk);
}

} // namespace

TEST(SavedSettings, AreTheDefaultsWithoutAFile)
{
    FaultyFileSystem files;
    SavedSettings settings(directory, files);
    settings.load();
    EXPECT_EQ(settings.value(), PrinterSettings());
    EXPECT_TRUE(settings.areReadable());
    EXPECT_FALSE(settings.fileExists());
}

TEST(SavedSettings, AreTheDefaultsAndSaySoWhenTheFileCannotBeRead)
{
    FaultyFileSystem files = damagedFiles();
    SavedSettings settings(directory, files);
    settings.load();
    EXPECT_EQ(settings.value(), PrinterSettings());
    EXPECT_FALSE(settings.areReadable());
    EXPECT_TRUE(settings.fileExists());
}

TEST(SavedSettings, AreReadableAgainAfterASave)
{
    FaultyFileSystem files = damagedFiles();
    SavedSettings settings(directory, files);
    settings.load();
    settings.save({});
    EXPECT_TRUE(settings.areReadable());
}

TEST(SavedSettings, TakeTheValidatedRecordOfASave)
{
    FaultyFileSystem files;
    SavedSettings settings(directory, files);
    PrinterSettings typed;
    typed.origins = {QStringLiteral("https://B.example.com/"), QStringLiteral("https://a.example.com")};
    settings.save(typed);
    EXPECT_EQ(settings.value().origins,
        (QStringList{QStringLiteral("https://a.example.com"), QStringLiteral("https://b.example.com")}));
}

TEST(SavedSettings, StayAsTheyWereAndSilentWhenASaveFails)
{
    FaultyFileSystem files;
    SavedSettings settings(directory, files);
    settings.changed = [] { FAIL() << "nothing has changed"; };
    PrinterSettings wrong;
    wrong.currency = QStringLiteral("usd");
    EXPECT_THROW(settings.save(wrong), PrinterError);
    files.failOperation(files.operations() + 1, true);
    PrinterSettings other;
    other.paused = true;
    EXPECT_THROW(settings.save(other), std::system_error);
    EXPECT_EQ(settings.value(), PrinterSettings());
}

TEST(SavedSettings, CountAFileThatCannotBeLookedForAsThere)
{
    FaultyFileSystem files;
    files.failOperation(1);
    EXPECT_TRUE(SavedSettings(directory, files).fileExists());
}
