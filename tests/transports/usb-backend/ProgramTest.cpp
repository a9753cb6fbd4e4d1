#include <QProcess>
#include <QProcessEnvironment>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

const auto program = QStringLiteral(HARROWMINT_BIN_DIR "/harrowmint-usb-backend");
const QStringList printArguments{
    QStringLiteral("1"), QStringLiteral("user"), QStringLiteral("title"), QStringLiteral("1"), QString()};
/// No printer has this name.
const auto absentURI = QStringLiteral("usb://Harrowmint/No%20such%20printer?serial=0");

/// The program itself, on whatever USB this machine has.
class BackendProgram : public ::testing::Test {
protected:
    void start(const QStringList& arguments, const QString& uri = {})
    {
        QProcessEnvironment environment;
        if (!uri.isEmpty())
            environment.insert(QStringLiteral("DEVICE_URI"), uri);
        m_process.setProcessEnvironment(environment);
        m_process.start(program, arguments);
    }
    int status()
    {
        EXPECT_TRUE(m_process.waitForFinished(60'000));
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    QByteArray error() { return m_process.readAllStandardError(); }

    QProcess m_process;
};

TEST_F(BackendProgram, ListsPrintersAndNothingElse)
{
    start({});
    EXPECT_EQ(status(), 0);
    for (const QByteArray& line : m_process.readAllStandardOutput().split('\n'))
        EXPECT_TRUE(line.isEmpty() || line.startsWith("direct usb://")) << line.constData();
}

TEST_F(BackendProgram, RefusesOtherNumbersOfArguments)
{
    for (const int count : {1, 4, 6}) {
        QStringList arguments;
        for (int i = 0; i < count; ++i)
            arguments.append(QStringLiteral("1"));
        start(arguments, absentURI);
        EXPECT_EQ(status(), 1);
        EXPECT_EQ(error(), QByteArray("ERROR: Usage: harrowmint-usb-backend [job user title copies options]\n"));
    }
}

TEST_F(BackendProgram, RefusesToPrintWithoutAUSBAddress)
{
    for (const QString& uri : {QString(), QStringLiteral("ipp://a/b"), QStringLiteral("usb://a")}) {
        start(printArguments, uri);
        EXPECT_EQ(status(), 1);
        EXPECT_EQ(error(), QByteArray("ERROR: DEVICE_URI is not the address of a USB printer.\n"));
    }
}

TEST_F(BackendProgram, SaysThatAnAbsentPrinterIsAbsent)
{
    start(printArguments, absentURI);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(error(), QByteArray("ERROR: The printer is not connected or switched off.\n"));
}

TEST_F(BackendProgram, CanBeStoppedWhileItLooksForThePrinter)
{
    start(printArguments, absentURI);
    ASSERT_TRUE(m_process.waitForStarted());
    m_process.closeReadChannel(QProcess::StandardError);
    EXPECT_NE(status(), 0);
}

} // namespace
} // namespace harrowmint::test
