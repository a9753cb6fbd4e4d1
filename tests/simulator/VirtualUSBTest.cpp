#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/PaperFolder.h"
#include "transports/USBBackend.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

namespace harrowmint {
namespace {

const QString program = QStringLiteral(HARROWMINT_BIN_DIR "/harrowmint-virtual-usb");
constexpr USBBackend::Limits patient{std::chrono::minutes(2), std::chrono::minutes(2), std::chrono::milliseconds(250)};
const QByteArray receipt = QByteArray::fromHex("1b40 1b6100 1d763000 0100 0200 f00f 1b6404");

class VirtualUSB : public ::testing::Test {
protected:
    /// Prints to the folder; returns the sentence of the failure, "" for success.
    QString print(const QByteArray& stream, const QString& uri)
    {
        try {
            USBBackend::print(
                stream, uri, [this] { ++m_transferred; }, program, patient);
        } catch (const PrinterError& error) {
            return error.message();
        }
        return {};
    }

    /// Everything on the error stream of the program, run by hand.
    static QByteArray complaint(const QStringList& arguments, const QByteArray& job, const QString& uri, int status = 1)
    {
        QProcess process;
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        environment.insert(QStringLiteral("DEVICE_URI"), uri);
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        process.write(job);
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(120'000));
        EXPECT_EQ(process.exitCode(), status);
        return process.readAllStandardError();
    }

    [[nodiscard]] QString folder() const { return m_folder.filePath(QStringLiteral("my papers")); }
    [[nodiscard]] QString printer() const { return virtualPrinterURI(folder()); }
    [[nodiscard]] QStringList papers() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
    [[nodiscard]] int transferred() const { return m_transferred; }

private:
    QTemporaryDir m_folder;
    int m_transferred = 0;
};

const QStringList five{
    QStringLiteral("1"), QStringLiteral("me"), QStringLiteral("title"), QStringLiteral("1"), QString()};

TEST_F(VirtualUSB, ListsItsPrinter)
{
    const std::vector<USBPrinter> expected{{virtualPrinterURI(), QStringLiteral("Harrowmint Virtual Receipt Printer")}};
    EXPECT_EQ(USBBackend::discover(program, patient), expected);
}

TEST_F(VirtualUSB, PrintsEveryJobOnAPaperOfItsOwn)
{
    for (int number = 1; number <= 3; ++number) {
        EXPECT_EQ(print(receipt, printer()), QString());
        EXPECT_EQ(transferred(), number);
        const QImage saved(QDir(folder()).filePath(QStringLiteral("receipt-%1.png").arg(number)));
        EXPECT_EQ(saved, paper(receipt));
    }
    EXPECT_EQ(papers().size(), 3);
}

TEST_F(VirtualUSB, PrintsTheLargestJob)
{
    // 48 bands of 256 rows and one of 202, 72 bytes each, and two lines fed: as near to 900000 bytes as it comes.
    QByteArray stream = QByteArray::fromHex("1b40");
    for (int band = 0; band < 48; ++band)
        stream += QByteArray::fromHex("1d763000 4800 0001") + QByteArray(256 * 72, '\x55');
    stream += QByteArray::fromHex("1d763000 4800 ca00") + QByteArray(202 * 72, '\x55') + QByteArray::fromHex("1b6402");
    ASSERT_LE(stream.size(), 900000);
    ASSERT_GT(stream.size(), 899000);
    EXPECT_EQ(print(stream, printer()), QString());
    EXPECT_EQ(transferred(), 1);
    EXPECT_EQ(QImage(QDir(folder()).filePath(QStringLiteral("receipt-1.png"))).size(), QSize(576, 48 * 256 + 202 + 60));
}

TEST_F(VirtualUSB, RefusesWhatItDoesNotKnowAndWritesNothing)
{
    EXPECT_EQ(print("hello", printer()),
        QStringLiteral("USB transfer failed. Check the cable, power and paper before retrying."));
    EXPECT_EQ(transferred(), 0);
    EXPECT_FALSE(QFile::exists(folder()));
}

TEST_F(VirtualUSB, SaysWhyItRefuses)
{
    EXPECT_EQ(complaint(five, "hello", printer()), "ERROR: The stream does not begin by initialising the printer.\n");
    EXPECT_EQ(complaint(five, QByteArray(900001, 'x'), printer()), "ERROR: The job is longer than 900000 bytes.\n");
    EXPECT_EQ(complaint(five, receipt, QStringLiteral("usb://Star/1")),
        "ERROR: Not the address of a virtual printer: usb://Star/1\n");
    for (const QStringList& arguments : {five.first(4), five + QStringList{QStringLiteral("file")}})
        EXPECT_EQ(complaint(arguments, receipt, printer()),
            "ERROR: Usage: harrowmint-virtual-usb [job user title copies options]\n");
    EXPECT_FALSE(QFile::exists(folder()));
}

TEST_F(VirtualUSB, TellsItsProgress)
{
    EXPECT_EQ(complaint(five, receipt, printer(), 0),
        "INFO: Printed on " + QDir(folder()).filePath(QStringLiteral("receipt-1.png")).toUtf8()
            + "\nDEBUG: Sent 18 bytes...\nSTATE: +cups-waiting-for-job-completed\n");
}

TEST_F(VirtualUSB, PrintsBesideItselfWhenItsAddressNamesNoFolder)
{
    QTemporaryDir place;
    const QString copy = place.filePath(QStringLiteral("usb"));
    ASSERT_TRUE(QFile::copy(program, copy));
    USBBackend::print(receipt, virtualPrinterURI(), {}, copy, patient);
    EXPECT_EQ(QImage(place.filePath(QStringLiteral("papers/receipt-1.png"))), paper(receipt));
}

} // namespace
} // namespace harrowmint
