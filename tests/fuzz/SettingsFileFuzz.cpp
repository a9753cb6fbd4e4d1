#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"
#include "support/FaultyFileSystem.h"

#include <cstdint>
#include <cstdlib>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString directory = QStringLiteral("/data");
const QString path = QStringLiteral("/data/settings.json");

void check(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    Disk disk;
    disk.put(path, bytes);
    FaultyFileSystem files(disk);
    try {
        const PrinterSettings settings = PrinterSettings::load(directory, files);
        check(settings == settings.validated());
        settings.save(directory, files);
        check(PrinterSettings::load(directory, files) == settings);
    } catch (const PrinterError&) {
        check(files.disk().bytes(path) == bytes);
        PrinterSettings().save(directory, files);
        check(files.disk().bytes(path + QStringLiteral(".unreadable")) == bytes);
        check(PrinterSettings::load(directory, files) == PrinterSettings());
    }
    return 0;
}
