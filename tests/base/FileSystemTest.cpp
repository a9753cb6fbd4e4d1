#include "base/FileSystem.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class LocalFiles : public ::testing::Test {
protected:
    QString path(const char* name) const { return m_root.filePath(QString::fromUtf8(name)); }
    QByteArray bytes(const QString& name) const
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
    }
    /// The platform's code with which `operation` fails; 0 when it does not.
    template <class Operation>
    static int errorOf(Operation operation)
    {
        try {
            operation();
            return 0;
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code().category(), std::generic_category());
            return error.code().value();
        }
    }
    /// Creates a file with `content` as a writer does.
    void write(const QString& name, const QByteArray& content)
    {
        const int descriptor = files.create(name);
        files.write(descriptor, content);
        files.sync(descriptor);
        files.close(descriptor);
    }

    FileSystem& files = FileSystem::local();

private:
    QTemporaryDir m_root;
};

TEST_F(LocalFiles, TellWhetherSomethingIsThere)
{
    writeFile(path("file"), "x");
    EXPECT_TRUE(files.exists(path("file")));
    EXPECT_TRUE(files.exists(path(".")));
    EXPECT_FALSE(files.exists(path("other")));
    EXPECT_FALSE(files.exists(path("other/file")));
    EXPECT_FALSE(files.exists(path("file/below")));
}

TEST_F(LocalFiles, SayWhenItCannotBeFoundOutWhatIsThere)
{
    ASSERT_TRUE(QFile::link(QStringLiteral("loop"), path("loop")));
    EXPECT_EQ(errorOf([&] { (void)files.exists(path("loop")); }), ELOOP);
    EXPECT_EQ(errorOf([&] { (void)files.exists(path(QByteArray(300, 'a').constData())); }), ENAMETOOLONG);
}

TEST_F(LocalFiles, ReadTheWholeFile)
{
    for (const qsizetype size : {0, 1, 65535, 65536, 65537, 200000}) {
        const QByteArray content(size, 'x');
        writeFile(path("file"), content);
        EXPECT_EQ(files.read(path("file")), content) << size;
    }
}

TEST_F(LocalFiles, ReadNoMoreThanTheLimit)
{
    writeFile(path("file"), "");
    ASSERT_EQ(::truncate(QFile::encodeName(path("file")).constData(), FileSystem::maximumFileBytes), 0);
    EXPECT_EQ(files.read(path("file")).size(), FileSystem::maximumFileBytes);
    ASSERT_EQ(::truncate(QFile::encodeName(path("file")).constData(), FileSystem::maximumFileBytes + 1), 0);
    EXPECT_EQ(errorOf([&] { (void)files.read(path("file")); }), EFBIG);
}

TEST_F(LocalFiles, SayWhyTheyCannotRead)
{
    EXPECT_EQ(errorOf([&] { (void)files.read(path("other")); }), ENOENT);
    EXPECT_EQ(errorOf([&] { (void)files.read(path(".")); }), EISDIR);
}

TEST_F(LocalFiles, DoNotWaitForTheWriterOfAPipe)
{
    ASSERT_EQ(::mkfifo(QFile::encodeName(path("pipe")).constData(), 0600), 0);
    EXPECT_EQ(files.read(path("pipe")), QByteArray());
}

TEST_F(LocalFiles, CreateADirectoryForTheUserAlone)
{
    const mode_t before = ::umask(0);
    EXPECT_TRUE(files.createDirectory(path("new")));
    ::umask(before);
    EXPECT_EQ(modeOf(path("new")), 0700U);
}

TEST_F(LocalFiles, KeepADirectoryThatIsThere)
{
    ASSERT_EQ(::mkdir(QFile::encodeName(path("old")).constData(), 0750), 0);
    EXPECT_FALSE(files.createDirectory(path("old")));
    EXPECT_EQ(modeOf(path("old")), 0750U);
    ASSERT_TRUE(QFile::link(QStringLiteral("old"), path("link")));
    EXPECT_FALSE(files.createDirectory(path("link")));
}

TEST_F(LocalFiles, CreateNoDirectoryWhereAnythingElseIs)
{
    writeFile(path("file"), "x");
    EXPECT_EQ(errorOf([&] { files.createDirectory(path("file")); }), EEXIST);
    EXPECT_EQ(errorOf([&] { files.createDirectory(path("file/below")); }), ENOTDIR);
    EXPECT_EQ(errorOf([&] { files.createDirectory(path("none/below")); }), ENOENT);
    ASSERT_TRUE(QFile::link(QStringLiteral("nowhere"), path("dangling")));
    EXPECT_EQ(errorOf([&] { files.createDirectory(path("dangling")); }), EEXIST);
}

TEST_F(LocalFiles, CreateAllMissingDirectories)
{
    files.createDirectories(path("a/b c/ü"));
    EXPECT_EQ(modeOf(path("a")), 0700U);
    EXPECT_EQ(modeOf(path("a/b c/ü")), 0700U);
    files.createDirectories(path("a/b c/ü"));
    files.createDirectories(path("a/d/"));
    EXPECT_TRUE(QFileInfo(path("a/d")).isDir());
    files.createDirectories(QStringLiteral("/"));
    writeFile(path("file"), "x");
    EXPECT_EQ(errorOf([&] { files.createDirectories(path("file/below/deeper")); }), ENOTDIR);
    EXPECT_EQ(errorOf([&] { files.createDirectories(QString()); }), ENOENT);
}

TEST_F(LocalFiles, CreateAFileForTheUserAloneWhateverTheProcessMasks)
{
    for (const mode_t mask : {0000U, 0022U, 0077U, 0277U}) {
        const mode_t before = ::umask(mask);
        write(path("file"), "x");
        ::umask(before);
        EXPECT_EQ(modeOf(path("file")), 0600U) << mask;
    }
}

TEST_F(LocalFiles, CreateAFileInPlaceOfAnotherAndNeverIntoIt)
{
    writeFile(path("target"), "old");
    ASSERT_TRUE(QFile::link(path("target"), path("link")));
    ASSERT_EQ(::link(QFile::encodeName(path("target")).constData(), QFile::encodeName(path("hard")).constData()), 0);
    write(path("link"), "new");
    write(path("hard"), "new");
    EXPECT_EQ(bytes(path("target")), "old");
    EXPECT_EQ(bytes(path("link")), "new");
    EXPECT_EQ(bytes(path("hard")), "new");
    EXPECT_FALSE(QFileInfo(path("link")).isSymLink());
}

TEST_F(LocalFiles, CreateNoFileInPlaceOfADirectory)
{
    files.createDirectories(path("a"));
    EXPECT_NE(errorOf([&] { files.close(files.create(path("a"))); }), 0);
    EXPECT_TRUE(QFileInfo(path("a")).isDir());
    EXPECT_EQ(errorOf([&] { files.close(files.create(path("none/file"))); }), ENOENT);
}

TEST_F(LocalFiles, GiveDescriptorsThatNoChildInherits)
{
    const int descriptor = files.create(path("file"));
    EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    files.close(descriptor);
}

TEST_F(LocalFiles, WriteAllBytes)
{
    const QByteArray content = QByteArray("0123456789abcdef").repeated(100'000);
    const int descriptor = files.create(path("file"));
    files.write(descriptor, content);
    files.write(descriptor, QByteArray());
    files.write(descriptor, "end");
    files.close(descriptor);
    EXPECT_EQ(bytes(path("file")), content + "end");
}

TEST_F(LocalFiles, SayThatTheDiskIsFull)
{
    const int descriptor = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (descriptor < 0)
        GTEST_SKIP() << "no device that is always full here";
    EXPECT_EQ(errorOf([&] { files.write(descriptor, "x"); }), ENOSPC);
    files.close(descriptor);
}

TEST_F(LocalFiles, SayThatADescriptorIsNone)
{
    EXPECT_EQ(errorOf([&] { files.write(-1, "x"); }), EBADF);
    EXPECT_EQ(errorOf([&] { files.sync(-1); }), EBADF);
    EXPECT_EQ(errorOf([&] { files.close(-1); }), EBADF);
}

TEST_F(LocalFiles, ReplaceAFileInOneStep)
{
    writeFile(path("from"), "new");
    writeFile(path("to"), "old");
    files.rename(path("from"), path("to"));
    EXPECT_EQ(bytes(path("to")), "new");
    EXPECT_FALSE(files.exists(path("from")));
    EXPECT_EQ(errorOf([&] { files.rename(path("from"), path("to")); }), ENOENT);
    EXPECT_EQ(bytes(path("to")), "new");
}

TEST_F(LocalFiles, SyncADirectory)
{
    files.syncDirectory(path("."));
    EXPECT_EQ(errorOf([&] { files.syncDirectory(path("none")); }), ENOENT);
    writeFile(path("file"), "x");
    EXPECT_EQ(errorOf([&] { files.syncDirectory(path("file")); }), ENOTDIR);
}

TEST_F(LocalFiles, RemoveAFile)
{
    writeFile(path("file"), "x");
    files.remove(path("file"));
    EXPECT_FALSE(files.exists(path("file")));
    EXPECT_EQ(errorOf([&] { files.remove(path("file")); }), ENOENT);
}

TEST_F(LocalFiles, NameThePathThatFailed)
{
    try {
        (void)files.read(path("missing ü"));
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_NE(QString::fromUtf8(error.what()).indexOf(path("missing ü")), -1) << error.what();
    }
}

} // namespace
