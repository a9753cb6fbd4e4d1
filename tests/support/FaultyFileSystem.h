#pragma once

#include "base/FileSystem.h"

#include <QByteArray>
#include <QString>
#include <limits>
#include <map>
#include <vector>

namespace harrowmint::test {

/// What is on a disk: what programs see, and beside it what is certain to outlast a loss of power, which are the bytes
/// that were synced and the names whose directory was synced.
struct Disk {
    struct File {
        QByteArray written;
        QByteArray synced;
    };
    /// A name stands for a number in `files`, or for a directory.
    static constexpr int directory = 0;
    using Names = std::map<QString, int>;

    std::map<int, File> files;
    Names names{{QStringLiteral("/"), directory}};
    Names syncedNames = names;

    /// Adds a file and returns its number.
    int add(const File& file);
    /// The bytes of a file; null when there is no such file.
    [[nodiscard]] QByteArray bytes(const QString& path) const;
    /// Puts a file and the directories above it on the disk, durably.
    void put(const QString& path, const QByteArray& bytes);
};

/// What a loss of power does to what was not synced.
struct Loss {
    enum class Names { Lost, Kept };
    enum class Bytes { Lost, Torn, Kept };
    Names names;
    Bytes bytes;

    static constexpr int count = 6;
    /// Every combination, by number from 0 to `count` - 1.
    [[nodiscard]] static Loss number(int index);
};

/// A file system in memory that can fail any operation, and that remembers what the disk was like after each, so that
/// one run shows what a crash at every moment leaves. Operations are counted from 1. One thread.
class FaultyFileSystem final : public FileSystem {
public:
    explicit FaultyFileSystem(Disk disk = {})
        : m_history{std::move(disk)}
    {
    }

    /// Makes the operation of that number, and with `andAllLater` each one after it, throw EIO. A failing write has
    /// written half of its bytes, a failing close has closed, every other failing operation has done nothing.
    void failOperation(int number, bool andAllLater = false)
    {
        m_firstFailing = number;
        m_lastFailing = andAllLater ? std::numeric_limits<int>::max() : number;
    }
    /// The number of operations so far, failed ones included.
    [[nodiscard]] int operations() const { return static_cast<int>(m_history.size()) - 1; }
    /// The disk as it is.
    [[nodiscard]] const Disk& disk() const { return m_history.back(); }
    /// The disk as the next start finds it when the power goes after that operation (0: before the first).
    [[nodiscard]] Disk diskAfterCrash(int operation, Loss loss) const;
    /// Descriptors that nobody has closed.
    [[nodiscard]] std::size_t openDescriptors() const { return m_descriptors.size(); }

    [[nodiscard]] bool exists(const QString& path) override;
    [[nodiscard]] QByteArray read(const QString& path) override;
    bool createDirectory(const QString& path) override;
    [[nodiscard]] int create(const QString& path) override;
    void write(int descriptor, const QByteArray& bytes) override;
    void sync(int descriptor) override;
    void close(int descriptor) override;
    void rename(const QString& from, const QString& to) override;
    void syncDirectory(const QString& path) override;
    void remove(const QString& path) override;

private:
    /// Begins the next operation on a copy of the disk; throws when it is one that fails.
    Disk& begin();
    [[nodiscard]] bool nextFails() const;
    int file(const Disk& disk, const QString& path) const;

    std::vector<Disk> m_history;
    std::map<int, int> m_descriptors;
    int m_firstFailing = 0;
    int m_lastFailing = 0;
};

} // namespace harrowmint::test
