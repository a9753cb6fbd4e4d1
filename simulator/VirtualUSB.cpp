// A backend program with a virtual printer (CUPS backend conventions, backend(7)). Without arguments it lists the
// printer. With five it reads a job from standard input and writes the paper to the folder that DEVICE_URI names, else
// to "papers" beside the program; the job counts as arrived when its paper is there.
#include "base/EscPos.h"
#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/PaperFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cstdio>

namespace {

using namespace harrowmint;

constexpr int printArguments = 5;
constexpr qint64 readBytes = 65536;

QByteArray readJob()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        throw PrinterError(QStringLiteral("Cannot read the job: %1.").arg(input.errorString()));
    QByteArray job;
    // A pipe gives what it holds; only nothing at all is its end.
    for (QByteArray piece; !(piece = input.read(readBytes)).isEmpty() && job.size() <= escpos::maximumJobBytes;)
        job += piece;
    if (input.error() != QFile::NoError)
        throw PrinterError(QStringLiteral("Cannot read the job: %1.").arg(input.errorString()));
    if (job.size() > escpos::maximumJobBytes)
        throw PrinterError(QStringLiteral("The job is longer than %1 bytes.").arg(escpos::maximumJobBytes));
    return job;
}

void list()
{
    std::printf("direct %s \"Harrowmint Virtual Receipt Printer\" \"Harrowmint Virtual Receipt Printer\" "
                "\"MFG:Harrowmint;MDL:Virtual Receipt Printer;CMD:ESC/POS;\" \"\"\n",
        virtualPrinterURI().toUtf8().constData());
}

void print()
{
    const QString named = papersFolder(qEnvironmentVariable("DEVICE_URI"));
    const QString own = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("papers"));
    const QByteArray job = readJob();
    const QString path = savePaper(paper(job), named.isEmpty() ? own : named);
    std::fprintf(stderr, "INFO: Printed on %s\n", path.toUtf8().constData());
    std::fprintf(stderr, "DEBUG: Sent %lld bytes...\n", static_cast<long long>(job.size()));
    std::fprintf(stderr, "STATE: +cups-waiting-for-job-completed\n");
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    try {
        if (argc == 1)
            list();
        else if (argc == 1 + printArguments)
            print();
        else
            throw PrinterError(QStringLiteral("Usage: harrowmint-virtual-usb [job user title copies options]"));
    } catch (const PrinterError& error) {
        std::fprintf(stderr, "ERROR: %s\n", error.message().toUtf8().constData());
        return 1;
    }
    return 0;
}
