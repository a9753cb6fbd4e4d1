#pragma once

#include <QByteArray>
#include <QString>
#include <system_error>

namespace harrowmint {

/// The file operations that the agent needs, one method for one step, so that tests can make each of them fail.
/// Every operation throws std::system_error with the platform's code. Any thread.
class FileSystem {
public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    virtual ~FileSystem() = default;

    /// Whether something exists at `path`; throws when that cannot be found out.
    [[nodiscard]] virtual bool exists(const QString& path) = 0;
    /// The whole file; one of more than `maximumFileBytes` is refused (EFBIG).
    [[nodiscard]] virtual QByteArray read(const QString& path) = 0;
    /// Creates the directory `path`, mode 0700. False when it is there already; it is then kept as it is.
    virtual bool createDirectory(const QString& path) = 0;
    /// Creates an empty file for writing, mode 0600 from its creation, in place of one of that name if there is one;
    /// returns its descriptor.
    [[nodiscard]] virtual int create(const QString& path) = 0;
    /// Writes all of `bytes`.
    virtual void write(int descriptor, const QByteArray& bytes) = 0;
    /// Makes what was written durable (fsync; F_FULLFSYNC where the platform has it).
    virtual void sync(int descriptor) = 0;
    /// Closes; the descriptor is gone even when this throws.
    virtual void close(int descriptor) = 0;
    /// Replaces `to` by `from` in one step.
    virtual void rename(const QString& from, const QString& to) = 0;
    /// Makes the directory's entries durable.
    virtual void syncDirectory(const QString& path) = 0;
    /// Removes a file.
    virtual void remove(const QString& path) = 0;

    /// Creates what is missing of `path`. That outlasts a loss of power once the directories above are synced.
    void createDirectories(const QString& path);

    /// Far more than any file of the agent holds.
    static constexpr qsizetype maximumFileBytes = qsizetype{16} * 1024 * 1024;

    /// The real one, shared by the whole process; it has no state.
    [[nodiscard]] static FileSystem& local();
};

/// Writes `bytes` to `directory`/`name` so that a crash at any moment leaves the old file or the whole new one: a
/// temporary file of fixed name, mode 0600 from its creation, sync, rename, sync of the directory (created 0700). The
/// first time the names that lead to the directory are made durable as well. A failure before the rename leaves the old
/// file, a later one the whole new file; either way it is thrown.
void writeFileAtomically(FileSystem& files, const QString& directory, const QString& name, const QByteArray& bytes);

} // namespace harrowmint
