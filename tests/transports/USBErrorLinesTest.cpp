#include "transports/USBErrorLines.h"
#include "ScriptedProgram.h"

namespace harrowmint::test {
namespace {

class USBErrorLinesTest : public ::testing::Test {
protected:
    QStringList m_told;
    USBErrorLines m_lines{[this](const QString& line) { m_told.append(line); }};
};

TEST_F(USBErrorLinesTest, TellsTheTextsOfErrorsAlone)
{
    m_lines.consume("INFO: a\nERROR: No permission.\nDEBUG: ERROR: b\nERROR:c\n");
    EXPECT_EQ(m_told, QStringList({QStringLiteral("No permission."), QStringLiteral("c")}));
}

TEST_F(USBErrorLinesTest, HearsTheStreamByteByByte)
{
    for (const char byte : QByteArray("DEBUG: x\nERROR: Busy.\n"))
        m_lines.consume(QByteArrayView(&byte, 1));
    EXPECT_EQ(m_told, QStringList(QStringLiteral("Busy.")));
}

TEST_F(USBErrorLinesTest, TellsTheBeginningOfALongLineAndFindsTheNext)
{
    m_lines.consume("ERROR:" + QByteArray(100'000, 'x'));
    m_lines.consume(QByteArray(100'000, 'y') + "\nERROR: next\n");
    ASSERT_EQ(m_told.size(), 2);
    EXPECT_EQ(m_told[0], QString(USBErrorLines::maximumLineBytes - 6, QLatin1Char('x')));
    EXPECT_EQ(m_told[1], QStringLiteral("next"));
}

TEST_F(USBErrorLinesTest, TellsNoMoreLinesThanItsBound)
{
    for (int i = 0; i < USBErrorLines::maximumLines + 5; ++i)
        m_lines.consume("ERROR: again\n");
    EXPECT_EQ(m_told.size(), USBErrorLines::maximumLines);
}

TEST_F(USBErrorLinesTest, KeepsControlCharactersOutOfTheLog)
{
    m_lines.consume("ERROR: a\x1b[1m\tb\r\n");
    EXPECT_EQ(m_told, QStringList(QStringLiteral("a[1m b")));
}

TEST_F(USBErrorLinesTest, DoesNotTellALineThatNeverEnds)
{
    m_lines.consume("ERROR: half");
    EXPECT_TRUE(m_told.isEmpty());
}

class USBPrintLog : public ScriptedPrograms { };

TEST_F(USBPrintLog, NamesWhatTheSentenceCannot)
{
    QStringList log;
    const QString sentence = failure([&] {
        USBBackend::print("job", printerURI, {}, script("cat > /dev/null\necho 'ERROR: No permission.' >&2\nexit 1"),
            patient, [&log](const QString& line) { log.append(line); });
    });
    EXPECT_EQ(sentence, QString::fromLatin1(transferFailed));
    EXPECT_EQ(log, QStringList(QStringLiteral("No permission.")));
}

TEST_F(USBPrintLog, StaysEmptyWhenAllIsWell)
{
    QStringList log;
    USBBackend::print("job", printerURI, {}, script("cat > /dev/null\necho 'DEBUG: Sent 3 bytes...' >&2"), patient,
        [&log](const QString& line) { log.append(line); });
    EXPECT_TRUE(log.isEmpty());
}

} // namespace
} // namespace harrowmint::test
