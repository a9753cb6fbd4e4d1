#include "simulator/PaperFolder.h"

#include "base/PrinterError.h"

#include <QDir>
#include <QFile>
#include <QTemporaryFile>
#include <QUrl>
#include <QUrlQuery>
#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace harrowmint {

namespace {

constexpr int maximumPapers = 100'000;

[[noreturn]] void failWithErrno(const QString& path)
{
    throw PrinterError(QStringLiteral("Cannot write the paper to %1: %2.")
                           .arg(path, QString::fromStdString(std::generic_category().message(errno))));
}

QString printerAddress()
{
    return QStringLiteral("usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1");
}

/// Links `file`, complete as it is, to the first name that nobody has.
QString linkToFreeName(const QString& file, const QDir& folder, const QString& kind)
{
    for (int number = 1; number <= maximumPapers; ++number) {
        QString path = folder.filePath(QStringLiteral("%1-%2.png").arg(kind).arg(number));
        if (::link(QFile::encodeName(file).constData(), QFile::encodeName(path).constData()) == 0)
            return path;
        if (errno != EEXIST)
            failWithErrno(path);
    }
    throw PrinterError(QStringLiteral("There are too many papers in %1.").arg(folder.path()));
}

} // namespace

QString savePaper(const QImage& image, const QString& folder, const QString& kind)
{
    const QDir directory(folder);
    if (!directory.mkpath(QStringLiteral(".")))
        failWithErrno(folder);
    QTemporaryFile file(directory.filePath(QStringLiteral(".paper-XXXXXX")));
    if (!file.open() || !image.save(&file, "PNG") || !file.flush())
        throw PrinterError(QStringLiteral("Cannot write the paper to %1: %2.").arg(folder, file.errorString()));
    return linkToFreeName(file.fileName(), directory, kind);
}

QString virtualPrinterURI(const QString& folder)
{
    if (folder.isEmpty())
        return printerAddress();
    return printerAddress() + QStringLiteral("&papers=") + QString::fromLatin1(QUrl::toPercentEncoding(folder));
}

QString papersFolder(const QString& printerURI)
{
    const QString query = printerURI.section(u'?', 1);
    QString folder = QUrlQuery(query).queryItemValue(QStringLiteral("papers"), QUrl::FullyDecoded);
    if (virtualPrinterURI(folder) != printerURI || (!folder.isEmpty() && QDir::isRelativePath(folder)))
        throw PrinterError(QStringLiteral("Not the address of a virtual printer: %1").arg(printerURI));
    return folder;
}

} // namespace harrowmint
