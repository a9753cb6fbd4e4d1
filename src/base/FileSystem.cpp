#include "base/FileSystem.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace harrowmint {

namespace {

constexpr mode_t directoryMode = 0700;
constexpr mode_t fileMode = 0600;
constexpr qsizetype readChunkBytes = qsizetype{64} * 1024;

[[noreturn]] void fail(int error, const QString& path = {})
{
    throw std::system_error(error, std::generic_category(), path.toStdString());
}

[[noreturn]] void failWithErrno(const QString& path = {})
{
    fail(errno, path);
}

QString parentOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QStringLiteral(".");
    return slash > 0 ? path.left(slash) : QStringLiteral("/");
}

/// Closes a descriptor when a step after its opening throws.
class Descriptor {
public:
    Descriptor(FileSystem& files, int descriptor)
        : m_files(files)
        , m_descriptor(descriptor)
    {
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        try {
            close();
        } catch (const std::system_error&) { // the first failure is the one that is told
        }
    }

    [[nodiscard]] int get() const { return m_descriptor; }
    void close()
    {
        if (m_descriptor >= 0)
            m_files.close(std::exchange(m_descriptor, -1));
    }

private:
    FileSystem& m_files;
    int m_descriptor;
};

class LocalFileSystem final : public FileSystem {
public:
    bool exists(const QString& path) override
    {
        struct stat status { };
        if (::stat(QFile::encodeName(path).constData(), &status) == 0)
            return true;
        if (errno != ENOENT && errno != ENOTDIR)
            failWithErrno(path);
        return false;
    }

    QByteArray read(const QString& path) override
    {
        // A pipe in the file's place must not keep the reader waiting for a writer.
        const Descriptor file(*this, open(path, O_RDONLY | O_NONBLOCK));
        QByteArray bytes;
        while (bytes.size() <= maximumFileBytes) {
            const qsizetype before = bytes.size();
            bytes.resize(before + readChunkBytes);
            const ssize_t count = ::read(file.get(), bytes.data() + before, readChunkBytes);
            if (count < 0 && errno != EINTR)
                failWithErrno(path);
            bytes.resize(before + std::max<ssize_t>(count, 0));
            if (count == 0)
                return bytes;
        }
        fail(EFBIG, path);
    }

    bool createDirectory(const QString& path) override
    {
        if (::mkdir(QFile::encodeName(path).constData(), directoryMode) == 0)
            return true;
        const int error = errno;
        struct stat status { };
        if (error == EEXIST && ::stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode))
            return false;
        fail(error, path);
    }

    int create(const QString& path) override
    {
        // Never into what is there: it may be a link, or have another mode.
        if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
            failWithErrno(path);
        const int descriptor = open(path, O_WRONLY | O_CREAT | O_EXCL);
        if (::fchmod(descriptor, fileMode) == 0) // the process may mask more than group and others
            return descriptor;
        const int error = errno;
        ::close(descriptor);
        fail(error, path);
    }

    void write(int descriptor, const QByteArray& bytes) override
    {
        for (qsizetype done = 0; done < bytes.size();) {
            const ssize_t count =
                ::write(descriptor, bytes.constData() + done, static_cast<std::size_t>(bytes.size() - done));
            if (count < 0 && errno != EINTR)
                failWithErrno();
            done += std::max<ssize_t>(count, 0);
        }
    }

    void sync(int descriptor) override
    {
#ifdef F_FULLFSYNC
        // A plain fsync leaves the bytes in the drive's own cache on this platform.
        if (::fcntl(descriptor, F_FULLFSYNC) == 0)
            return;
#endif
        while (::fsync(descriptor) != 0) {
            if (errno != EINTR)
                failWithErrno();
        }
    }

    void close(int descriptor) override
    {
        if (::close(descriptor) != 0 && errno != EINTR)
            failWithErrno();
    }

    void rename(const QString& from, const QString& to) override
    {
        if (::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
            failWithErrno(to);
    }

    void syncDirectory(const QString& path) override
    {
        Descriptor directory(*this, open(path, O_RDONLY | O_DIRECTORY));
        while (::fsync(directory.get()) != 0) {
            if (errno == EINVAL) // some file systems cannot sync a directory: there is nothing more to be done on them
                break;
            if (errno != EINTR)
                failWithErrno(path);
        }
        directory.close();
    }

    void remove(const QString& path) override
    {
        if (::unlink(QFile::encodeName(path).constData()) != 0)
            failWithErrno(path);
    }

private:
    static int open(const QString& path, int flags)
    {
        const int descriptor = ::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, fileMode);
        if (descriptor < 0)
            failWithErrno(path);
        return descriptor;
    }
};

} // namespace

FileSystem& FileSystem::local()
{
    static LocalFileSystem files;
    return files;
}

void FileSystem::createDirectories(const QString& path)
{
    if (exists(path))
        return;
    const QString parent = parentOf(path);
    if (parent != path)
        createDirectories(parent);
    createDirectory(path);
}

namespace {

/// Makes the names durable that lead to `directory`. Above what this user may read nothing was created by the agent.
void syncAncestors(FileSystem& files, const QString& directory)
{
    for (QString path = directory, parent = parentOf(path); parent != path; path = parent, parent = parentOf(path)) {
        try {
            files.syncDirectory(parent);
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::permission_denied)
                throw;
        }
    }
}

} // namespace

void writeFileAtomically(FileSystem& files, const QString& directory, const QString& name, const QByteArray& bytes)
{
    const QString target = directory + QLatin1Char('/') + name;
    // A file that is there was put there after the names that lead to it had been made durable.
    if (!files.exists(target)) {
        files.createDirectories(directory);
        syncAncestors(files, directory);
    }
    const QString temporary = target + QStringLiteral(".new");
    Descriptor file(files, files.create(temporary));
    files.write(file.get(), bytes);
    files.sync(file.get());
    file.close();
    files.rename(temporary, target);
    files.syncDirectory(directory);
}

} // namespace harrowmint
