#include "base/FileSystem.h"
#include "support/FaultyFileSystem.h"

#include <QDir>
#include <QTemporaryDir>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString directory = QStringLiteral("/a/b");
const QString name = QStringLiteral("file");
const QString path = QStringLiteral("/a/b/file");

Disk withOldFile()
{
    Disk disk;
    disk.put(path, "old bytes");
    return disk;
}

int operationsOfWrite(const Disk& disk)
{
    FaultyFileSystem files(disk);
    writeFileAtomically(files, directory, name, "new bytes");
    EXPECT_EQ(files.disk().bytes(path), "new bytes");
    return files.operations();
}

TEST(WriteFileAtomically, TakesItsStatedSteps)
{
    FaultyFileSystem files(withOldFile());
    writeFileAtomically(files, directory, name, "new bytes");
    // exists, create, write, sync, close, rename, sync of the directory
    EXPECT_EQ(files.operations(), 7);
    EXPECT_EQ(files.disk().bytes(path), "new bytes");
    EXPECT_FALSE(files.disk().names.contains(path + QStringLiteral(".new")));
}

TEST(WriteFileAtomically, LeavesTheOldFileWhenAnOperationBeforeTheRenameFails)
{
    const int count = operationsOfWrite(withOldFile());
    for (int number = 1; number < count; ++number) {
        FaultyFileSystem files(withOldFile());
        files.failOperation(number);
        EXPECT_THROW(writeFileAtomically(files, directory, name, "new bytes"), std::system_error) << number;
        EXPECT_EQ(files.disk().bytes(path), "old bytes") << number;
        EXPECT_EQ(files.openDescriptors(), 0U) << number;
    }
}

TEST(WriteFileAtomically, LeavesTheNewFileWhenTheOperationAfterTheRenameFails)
{
    FaultyFileSystem files(withOldFile());
    files.failOperation(operationsOfWrite(withOldFile()));
    EXPECT_THROW(writeFileAtomically(files, directory, name, "new bytes"), std::system_error);
    EXPECT_EQ(files.disk().bytes(path), "new bytes");
}

TEST(WriteFileAtomically, SurvivesACrashAtAnyMoment)
{
    FaultyFileSystem files(withOldFile());
    writeFileAtomically(files, directory, name, "new bytes");
    for (int number = 0; number <= files.operations(); ++number) {
        for (int loss = 0; loss < Loss::count; ++loss) {
            const QByteArray left = files.diskAfterCrash(number, Loss::number(loss)).bytes(path);
            const bool isOver = number == files.operations();
            EXPECT_TRUE(left == "new bytes" || (!isOver && left == "old bytes")) << number << ", loss " << loss;
        }
    }
}

TEST(WriteFileAtomically, IsDurableInDirectoriesItMadeItself)
{
    FaultyFileSystem files;
    writeFileAtomically(files, QStringLiteral("/a/b/c"), name, "bytes");
    for (int loss = 0; loss < Loss::count; ++loss) {
        const Disk disk = files.diskAfterCrash(files.operations(), Loss::number(loss));
        EXPECT_EQ(disk.bytes(QStringLiteral("/a/b/c/file")), "bytes") << loss;
    }
}

TEST(WriteFileAtomically, IgnoresWhatAnEarlierWriteLeftBehind)
{
    Disk disk = withOldFile();
    disk.put(path + QStringLiteral(".new"), "a longer rest of an earlier write");
    FaultyFileSystem files(disk);
    writeFileAtomically(files, directory, name, "new bytes");
    EXPECT_EQ(files.disk().bytes(path), "new bytes");
}

TEST(WriteFileAtomically, WritesOnTheRealDiskToo)
{
    const QTemporaryDir root;
    const QString data = root.filePath(QStringLiteral("a b/ü"));
    writeFileAtomically(FileSystem::local(), data, name, "one");
    writeFileAtomically(FileSystem::local(), data, name, QByteArray("t\0o", 3));
    EXPECT_EQ(FileSystem::local().read(data + u'/' + name), QByteArray("t\0o", 3));
    EXPECT_EQ(QDir(data).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList(name));
}

/// A writer that forgets a step, to see that the model notices.
QByteArray leftByCarelessWriter(bool syncFile, bool syncDirectory, Loss loss)
{
    FaultyFileSystem files(withOldFile());
    const int descriptor = files.create(path + QStringLiteral(".new"));
    files.write(descriptor, "new bytes");
    if (syncFile)
        files.sync(descriptor);
    files.close(descriptor);
    files.rename(path + QStringLiteral(".new"), path);
    if (syncDirectory)
        files.syncDirectory(directory);
    return files.diskAfterCrash(files.operations(), loss).bytes(path);
}

TEST(FaultyFileSystem, LosesWhatWasNotSynced)
{
    using Names = Loss::Names;
    using Bytes = Loss::Bytes;
    EXPECT_EQ(leftByCarelessWriter(true, true, {Names::Lost, Bytes::Lost}), "new bytes");
    EXPECT_EQ(leftByCarelessWriter(true, false, {Names::Lost, Bytes::Lost}), "old bytes");
    EXPECT_EQ(leftByCarelessWriter(true, false, {Names::Kept, Bytes::Lost}), "new bytes");
    EXPECT_EQ(leftByCarelessWriter(false, true, {Names::Lost, Bytes::Lost}), "");
    EXPECT_EQ(leftByCarelessWriter(false, true, {Names::Lost, Bytes::Torn}), "new ");
    EXPECT_EQ(leftByCarelessWriter(false, true, {Names::Lost, Bytes::Kept}), "new bytes");
}

TEST(FaultyFileSystem, LosesDirectoriesThatWereNotSynced)
{
    FaultyFileSystem files;
    EXPECT_TRUE(files.createDirectory(QStringLiteral("/a")));
    files.close(files.create(QStringLiteral("/a/file")));
    files.syncDirectory(QStringLiteral("/a"));
    const Disk disk = files.diskAfterCrash(files.operations(), {Loss::Names::Lost, Loss::Bytes::Kept});
    EXPECT_EQ(disk.names.size(), 1U) << "only the root is left";
}

TEST(FaultyFileSystem, FailsTheOperationsAskedFor)
{
    FaultyFileSystem files(withOldFile());
    files.failOperation(2);
    EXPECT_TRUE(files.exists(path));
    EXPECT_THROW((void)files.exists(path), std::system_error);
    EXPECT_TRUE(files.exists(path));
    files.failOperation(4, true);
    EXPECT_THROW((void)files.read(path), std::system_error);
    EXPECT_THROW((void)files.read(path), std::system_error);
    EXPECT_EQ(files.operations(), 5);
}

TEST(FaultyFileSystem, AnswersAsTheRealOneDoes)
{
    FaultyFileSystem files(withOldFile());
    EXPECT_EQ(files.read(path), "old bytes");
    EXPECT_FALSE(files.createDirectory(directory));
    EXPECT_THROW((void)files.read(directory), std::system_error);
    EXPECT_THROW((void)files.read(QStringLiteral("/none")), std::system_error);
    EXPECT_THROW(files.createDirectory(QStringLiteral("/none/below")), std::system_error);
    EXPECT_THROW(files.createDirectory(path), std::system_error);
    EXPECT_THROW((void)files.create(QStringLiteral("/none/file")), std::system_error);
    EXPECT_THROW(files.rename(QStringLiteral("/none"), path), std::system_error);
    files.remove(path);
    EXPECT_FALSE(files.exists(path));
    EXPECT_THROW(files.remove(path), std::system_error);
}

} // namespace
