#include "base/PrinterError.h"
#include "guard/PrintGuard.h"
#include "support/FaultyFileSystem.h"

#include <cstdint>
#include <cstdlib>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString directory = QStringLiteral("/data");
const QString path = QStringLiteral("/data/recent-jobs.json");
constexpr PrintGuard::Date now{std::chrono::seconds(1'700'000'000)};

void check(bool holds)
{
    if (!holds)
        std::abort();
}

/// Once something was written, a guard that starts anew remembers the same.
void checkFile(const PrintGuard& guard, FaultyFileSystem& files, const QByteArray& before)
{
    if (files.disk().bytes(path) != before)
        check(PrintGuard(false, directory, files).recent() == guard.recent());
}

void use(PrintGuard& guard, const QString& key, FaultyFileSystem& files)
{
    const QByteArray first = files.disk().bytes(path);
    guard.transferred(key, now);
    checkFile(guard, files, first);
    const QByteArray second = files.disk().bytes(path);
    try {
        guard.reserve(key, now, false);
        check(guard.recent().back().key == key && guard.recent().back().date == now);
    } catch (const PrinterError&) { // a refusal
    }
    checkFile(guard, files, second);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    Disk disk;
    disk.put(path, bytes);
    FaultyFileSystem files(disk);
    std::unique_ptr<PrintGuard> guard;
    try {
        guard = std::make_unique<PrintGuard>(false, directory, files);
    } catch (const PrinterError&) {
        check(files.disk().bytes(path) == bytes);
        return 0;
    }
    use(*guard, guard->recent().empty() ? QString() : QString(guard->recent().front().key), files);
    use(*guard, QStringLiteral("k"), files);
    return 0;
}
