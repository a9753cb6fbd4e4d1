#include "support/FaultyFileSystem.h"

#include <algorithm>
#include <cerrno>

namespace harrowmint::test {

namespace {

[[noreturn]] void fail(int error)
{
    throw std::system_error(error, std::generic_category());
}

QString parentOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash > 0 ? path.left(slash) : QStringLiteral("/");
}

void requireDirectory(const Disk& disk, const QString& path)
{
    const auto found = disk.names.find(path);
    if (found == disk.names.end())
        fail(ENOENT);
    if (found->second != Disk::directory)
        fail(ENOTDIR);
}

/// Names whose directory is gone are gone. Ascending order puts a directory before what is in it.
void dropUnreachable(Disk::Names& names)
{
    for (auto name = names.begin(); name != names.end();)
        name = names.contains(parentOf(name->first)) ? std::next(name) : names.erase(name);
}

void dropNameless(Disk& disk)
{
    std::erase_if(disk.files, [&disk](const auto& file) {
        return std::none_of(
            disk.names.begin(), disk.names.end(), [&file](const auto& name) { return name.second == file.first; });
    });
}

QByteArray remainder(const Disk::File& file, Loss::Bytes bytes)
{
    switch (bytes) {
    case Loss::Bytes::Lost:
        return file.synced;
    case Loss::Bytes::Torn:
        return file.written == file.synced ? file.written : file.written.left(file.written.size() / 2);
    case Loss::Bytes::Kept:
        break;
    }
    return file.written;
}

} // namespace

int Disk::add(const File& file)
{
    const int number = files.empty() ? directory + 1 : files.rbegin()->first + 1;
    files.emplace(number, file);
    return number;
}

QByteArray Disk::bytes(const QString& path) const
{
    const auto found = names.find(path);
    return found == names.end() || found->second == directory ? QByteArray() : files.at(found->second).written;
}

void Disk::put(const QString& path, const QByteArray& bytes)
{
    for (QString above = parentOf(path); above != QStringLiteral("/"); above = parentOf(above))
        names[above] = syncedNames[above] = directory;
    names[path] = syncedNames[path] = add({bytes, bytes});
}

Loss Loss::number(int index)
{
    constexpr int bytesCases = 3;
    return {static_cast<Names>(index / bytesCases), static_cast<Bytes>(index % bytesCases)};
}

Disk FaultyFileSystem::diskAfterCrash(int operation, Loss loss) const
{
    Disk disk = m_history.at(static_cast<std::size_t>(operation));
    if (loss.names == Loss::Names::Lost)
        disk.names = disk.syncedNames;
    dropUnreachable(disk.names);
    disk.syncedNames = disk.names;
    dropNameless(disk);
    for (auto& [number, file] : disk.files)
        file.written = file.synced = remainder(file, loss.bytes);
    return disk;
}

bool FaultyFileSystem::exists(const QString& path)
{
    return begin().names.contains(path);
}

QByteArray FaultyFileSystem::read(const QString& path)
{
    const Disk& disk = begin();
    return disk.files.at(file(disk, path)).written;
}

bool FaultyFileSystem::createDirectory(const QString& path)
{
    Disk& disk = begin();
    requireDirectory(disk, parentOf(path));
    const bool isNew = disk.names.emplace(path, Disk::directory).second;
    requireDirectory(disk, path);
    return isNew;
}

int FaultyFileSystem::create(const QString& path)
{
    Disk& disk = begin();
    requireDirectory(disk, parentOf(path));
    const int number = disk.add({});
    disk.names[path] = number;
    m_descriptors[number] = number;
    return number;
}

void FaultyFileSystem::write(int descriptor, const QByteArray& bytes)
{
    const bool fails = nextFails();
    m_history.push_back(disk());
    QByteArray& written = m_history.back().files.at(m_descriptors.at(descriptor)).written;
    written += fails ? bytes.left(bytes.size() / 2) : bytes;
    if (fails)
        fail(EIO);
}

void FaultyFileSystem::sync(int descriptor)
{
    Disk::File& file = begin().files.at(m_descriptors.at(descriptor));
    file.synced = file.written;
}

void FaultyFileSystem::close(int descriptor)
{
    m_descriptors.erase(descriptor);
    begin();
}

void FaultyFileSystem::rename(const QString& from, const QString& to)
{
    Disk& disk = begin();
    requireDirectory(disk, parentOf(to));
    const int moved = file(disk, from);
    disk.names.erase(from);
    disk.names[to] = moved;
}

void FaultyFileSystem::syncDirectory(const QString& path)
{
    Disk& disk = begin();
    requireDirectory(disk, path);
    const auto isIn = [&path](const auto& name) { return parentOf(name.first) == path; };
    std::erase_if(disk.syncedNames, [&](const auto& name) { return isIn(name) && name.first != QStringLiteral("/"); });
    for (const auto& name : disk.names) {
        if (isIn(name))
            disk.syncedNames.insert(name);
    }
}

void FaultyFileSystem::remove(const QString& path)
{
    Disk& disk = begin();
    file(disk, path);
    disk.names.erase(path);
}

Disk& FaultyFileSystem::begin()
{
    const bool fails = nextFails();
    m_history.push_back(disk());
    if (fails)
        fail(EIO);
    return m_history.back();
}

bool FaultyFileSystem::nextFails() const
{
    const int next = operations() + 1;
    return next >= m_firstFailing && next <= m_lastFailing;
}

int FaultyFileSystem::file(const Disk& disk, const QString& path) const
{
    const auto found = disk.names.find(path);
    if (found == disk.names.end())
        fail(ENOENT);
    if (found->second == Disk::directory)
        fail(EISDIR);
    return found->second;
}

} // namespace harrowmint::test
