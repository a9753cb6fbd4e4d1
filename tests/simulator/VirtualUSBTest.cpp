#include "simulator/Paper.h"
#include "simulator/PaperFolder.h"
#include "transports/ScriptedProgram.h"

#include <QDir>
#include <QFile>

namespace harrowmint {
namespace {

const QString program = QStringLiteral(HARROWMINT_BIN_DIR "/harrowmint-virtual-usb");
using test::patient;
const QByteArray receipt = QByteArray::fromHex("1b40 1b6100 1d763000 0100 0200 f00f 1b6404");

class VirtualUSB : public test::ScriptedPrograms {
protected:
    /// Prints to the folder; returns the sentence of the failure, "" for success.
    QString print(const QByteArray& stream, const QString& uri)
    {
        return test::failure([&] {
            USBBackend::print(
                stream, uri, [this] { ++m_transferred; }, program, patient);
        });
    }

    /// Everything on the error stream of the program that `command`, a piece of script, starts as "$usb".
    [[nodiscard]] QByteArray complaint(const QByteArray& command, const QString& uri, const QByteArray& job = receipt)
    {
        const QString wrapper =
            script("usb='" + program.toUtf8() + "'; export LC_ALL=C.UTF-8; " + command + " 2> \"$0.complaint\"");
        m_failure = test::failure([&] { USBBackend::print(job, uri, {}, wrapper, patient); });
        return test::readFile(wrapper + QStringLiteral(".complaint"));
    }
    /// With what sentence the latest complaint ended for the agent.
    [[nodiscard]] QString outcome() const { return m_failure; }

    [[nodiscard]] QString folder() const { return path(QStringLiteral("my papers")); }
    [[nodiscard]] QString printer() const { return virtualPrinterURI(folder()); }
    [[nodiscard]] QStringList papers() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
    [[nodiscard]] int transferred() const { return m_transferred; }

private:
    int m_transferred = 0;
    QString m_failure;
};

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
        stream += QByteArray::fromHex("1d763000 4800 0001") + QByteArray(qsizetype(256) * 72, '\x55');
    stream += QByteArray::fromHex("1d763000 4800 ca00") + QByteArray(qsizetype(202) * 72, '\x55')
        + QByteArray::fromHex("1b6402");
    ASSERT_LE(stream.size(), 900000);
    ASSERT_GT(stream.size(), 899000);
    EXPECT_EQ(print(stream, printer()), QString());
    EXPECT_EQ(transferred(), 1);
    EXPECT_EQ(QImage(QDir(folder()).filePath(QStringLiteral("receipt-1.png"))).size(), QSize(576, 48 * 256 + 202 + 60));
}

TEST_F(VirtualUSB, RefusesWhatItDoesNotKnowAndWritesNothing)
{
    EXPECT_EQ(print("hello", printer()), QString::fromLatin1(test::transferFailed));
    EXPECT_EQ(transferred(), 0);
    EXPECT_FALSE(QFile::exists(folder()));
}

TEST_F(VirtualUSB, SaysWhyItRefuses)
{
    const QByteArray usage = "ERROR: Usage: harrowmint-virtual-usb [job user title copies options]\n";
    const struct {
        QByteArray command;
        QString uri;
        QByteArray job;
        QByteArray complaint;
    } rows[] = {
        {"\"$usb\" \"$@\"", printer(), "hello", "ERROR: The stream does not begin by initialising the printer.\n"},
        {"head -c 900001 /dev/zero | \"$usb\" \"$@\"", printer(), "", "ERROR: The job is longer than 900000 bytes.\n"},
        {"\"$usb\" \"$@\"", QStringLiteral("usb://Star/1"), receipt,
            "ERROR: Not the address of a virtual printer: usb://Star/1\n"},
        {"\"$usb\" 1 me title 1", printer(), receipt, usage},
        {"\"$usb\" \"$@\" file", printer(), receipt, usage},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(complaint(row.command, row.uri, row.job), row.complaint);
        EXPECT_EQ(outcome(), QString::fromLatin1(test::transferFailed));
    }
    EXPECT_FALSE(QFile::exists(folder()));
}

TEST_F(VirtualUSB, TellsItsProgress)
{
    EXPECT_EQ(complaint("\"$usb\" \"$@\"", printer()),
        "INFO: Printed on " + QDir(folder()).filePath(QStringLiteral("receipt-1.png")).toUtf8()
            + "\nDEBUG: Sent 18 bytes...\nSTATE: +cups-waiting-for-job-completed\n");
    EXPECT_EQ(outcome(), QString());
}

TEST_F(VirtualUSB, ReadsAJobThatComesInPieces)
{
    static_cast<void>(complaint("{ head -c 5; sleep 0.05; cat; } | \"$usb\" \"$@\"", printer()));
    EXPECT_EQ(outcome(), QString());
    EXPECT_EQ(QImage(QDir(folder()).filePath(QStringLiteral("receipt-1.png"))), paper(receipt));
}

TEST_F(VirtualUSB, PrintsBesideItselfWhenItsAddressNamesNoFolder)
{
    const QString copy = path(QStringLiteral("usb"));
    ASSERT_TRUE(QFile::copy(program, copy));
    USBBackend::print(receipt, virtualPrinterURI(), {}, copy, patient);
    EXPECT_EQ(QImage(path(QStringLiteral("papers/receipt-1.png"))), paper(receipt));
}

} // namespace
} // namespace harrowmint
