#include "ScriptedProgram.h"

#include <algorithm>
#include <system_error>
#include <thread>

namespace harrowmint::test {
namespace {

const QByteArray job = "twelve bytes";
const QByteArray acknowledge = "printf 'DEBUG: Sent 12 bytes...\\nSTATE: +cups-waiting-for-job-completed\\n' >&2\n";

class USBPrint : public ScriptedPrograms {
protected:
    /// Prints with all the time in the world; returns the sentence of the failure, "" for success.
    QString print(const QString& program, const QByteArray& data = job)
    {
        return failure([&] {
            USBBackend::print(
                data, printerURI, [this] { ++m_transferred; }, program, patient);
        });
    }
    [[nodiscard]] int transferred() const { return m_transferred; }

private:
    int m_transferred = 0;
};

TEST_F(USBPrint, HandsOverTheJobAndTellsThatThePrinterHasIt)
{
    EXPECT_EQ(print(script("cat > \"$0.input\"\n" + acknowledge)), QString());
    EXPECT_EQ(transferred(), 1);
    EXPECT_EQ(readFile(path(QStringLiteral("backend.input"))), job);
}

TEST_F(USBPrint, TellsThatThePrinterHasTheJobWhileTheProgramStillRuns)
{
    const QString program = script("cat > /dev/null\n" + acknowledge + waitForGo);
    const auto caller = std::this_thread::get_id();
    USBBackend::print(
        job, printerURI,
        [&] {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            writeFile(program + QStringLiteral(".go"), "");
        },
        program, patient);
    EXPECT_TRUE(QFile::exists(program + QStringLiteral(".go")));
}

TEST_F(USBPrint, SucceedsWithoutAnybodyToTell)
{
    USBBackend::print(job, printerURI, {}, script("cat > /dev/null\n" + acknowledge), patient);
}

TEST_F(USBPrint, HearsTheProgramByteByByte)
{
    EXPECT_EQ(print(script("cat > /dev/null\n"
                           "text='DEBUG: Sent 12 bytes...\nSTATE: +cups-waiting-for-job-completed\n'\n"
                           "while [ -n \"$text\" ]; do rest=${text#?}; printf %s \"${text%\"$rest\"}\" >&2; "
                           "text=$rest; done\n"
                           "echo >&2")),
        QString());
    EXPECT_EQ(transferred(), 1);
}

TEST_F(USBPrint, SucceedsByExitStatusThoughOnlyAPartWasCounted)
{
    EXPECT_EQ(print(script("cat > /dev/null\n"
                           "printf 'DEBUG: Sent 10 bytes...\\nSTATE: +cups-waiting-for-job-completed\\n' >&2")),
        QString());
    EXPECT_EQ(transferred(), 0);
}

TEST_F(USBPrint, TellsNothingAfterAnErrorLine)
{
    EXPECT_EQ(print(script("cat > /dev/null\necho 'ERROR: Out of paper' >&2\n" + acknowledge)), QString());
    EXPECT_EQ(transferred(), 0);
}

TEST_F(USBPrint, SucceedsWithASilentProgram)
{
    EXPECT_EQ(print(script("cat > /dev/null")), QString());
    EXPECT_EQ(transferred(), 0);
}

TEST_F(USBPrint, FailsWithEveryOtherStatusThanZero)
{
    for (const int status : {1, 2, 4, 127, 255})
        EXPECT_EQ(
            print(script("cat > /dev/null; exit " + QByteArray::number(status))), QString::fromLatin1(transferFailed))
            << status;
}

TEST_F(USBPrint, FailsWhenASignalEndsTheProgram)
{
    for (const char* name : {"TERM", "KILL", "PIPE", "SEGV"})
        EXPECT_EQ(print(script(QByteArray("kill -") + name + " $$")), QString::fromLatin1(transferFailed)) << name;
}

TEST_F(USBPrint, FailsAfterAnAcknowledgementThatCameJustBeforeTheEnd)
{
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(print(script(acknowledge + "exit 1")), QString::fromLatin1(transferFailed));
    EXPECT_EQ(transferred(), 20);
}

TEST_F(USBPrint, OutlivesAProgramThatEndsWithoutReading)
{
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(print(script("exit 0"), QByteArray(900000, 'x')), QString());
    EXPECT_EQ(print(script("exit 3"), QByteArray(900000, 'x')), QString::fromLatin1(transferFailed));
}

TEST_F(USBPrint, OutlivesAProgramThatClosesItsStreamsAndGoesOn)
{
    const QByteArray close = "exec 0<&- 1>&- 2>&-\nsleep 0.1\n";
    EXPECT_EQ(print(script(close + "exit 0"), QByteArray(900000, 'x')), QString());
    EXPECT_EQ(print(script(close + "exit 1"), QByteArray(900000, 'x')), QString::fromLatin1(transferFailed));
    EXPECT_EQ(transferred(), 0);
}

TEST_F(USBPrint, OutlivesAFloodOfOneLine)
{
    EXPECT_EQ(print(script("head -c 5000000 /dev/zero >&2; cat > \"$0.input\"\necho >&2\n" + acknowledge)), QString());
    EXPECT_EQ(transferred(), 0);
    EXPECT_EQ(readFile(path(QStringLiteral("backend.input"))), job);
}

TEST_F(USBPrint, HearsTheAcknowledgementBehindAFloodOfLines)
{
    EXPECT_EQ(
        print(script("yes 'DEBUG: Still here' | head -n 200000 >&2; cat > /dev/null\n" + acknowledge)), QString());
    EXPECT_EQ(transferred(), 1);
}

TEST_F(USBPrint, DoesNotWaitForThoseWhoKeepThePipesOpen)
{
    const QString program = script("(" + waitForGo + ") &\ncat > /dev/null\n" + acknowledge);
    EXPECT_EQ(print(program), QString());
    EXPECT_EQ(transferred(), 1);
    writeFile(program + QStringLiteral(".go"), ""); // had it waited, it would never have come here
}

TEST_F(USBPrint, IsNotHeldUpByOthersThatGoOnWriting)
{
    // The flood ends when nobody holds the reading end any more.
    EXPECT_EQ(print(script("yes >&2 &\nyes >&2 &\nyes >&2 &\nexit 0")), QString());
}

TEST_F(USBPrint, TakesJobsOf900000BytesAndRefusesLongerOnesUnstarted)
{
    QByteArray largest(900000, '\0');
    for (qsizetype i = 0; i < largest.size(); ++i)
        largest[i] = static_cast<char>(i * 31 % 251);
    EXPECT_EQ(print(observer(), largest), QString());
    EXPECT_TRUE(readFile(path(QStringLiteral("observer.input"))) == largest);

    const QString second = observer(QStringLiteral("second"));
    EXPECT_EQ(print(second, largest + 'x'), QString::fromLatin1(invalidJob));
    EXPECT_FALSE(QFile::exists(second + QStringLiteral(".seen")));
}

TEST_F(USBPrint, TakesAnEmptyJobAndNeverTellsThatItArrived)
{
    const QString program =
        script("cat > \"$0.input\"; printf 'DEBUG: Sent 0 bytes...\\nSTATE: +cups-waiting-for-job-completed\\n' >&2");
    EXPECT_EQ(print(program, {}), QString());
    EXPECT_TRUE(QFile::exists(path(QStringLiteral("backend.input"))));
    EXPECT_EQ(readFile(path(QStringLiteral("backend.input"))), QByteArray());
    EXPECT_EQ(transferred(), 0);
}

TEST_F(USBPrint, RefusesOtherAddressesUnstarted)
{
    for (const char* address : {"", "usb", "usb:/", "USB://Star/1", " usb://Star/1", "ble:1", "http://usb://Star/1"}) {
        const QString program = script("echo > \"$0.started\"");
        EXPECT_EQ(failure([&] { USBBackend::print(job, QString::fromLatin1(address), {}, program, patient); }),
            QString::fromLatin1(invalidJob))
            << address;
        EXPECT_FALSE(QFile::exists(program + QStringLiteral(".started")));
    }
}

TEST_F(USBPrint, PassesOnWhyTheProgramCannotBeStarted)
{
    const auto code = [&](const QString& program) {
        try {
            USBBackend::print(job, printerURI, {}, program, patient);
        } catch (const std::system_error& error) {
            EXPECT_EQ(
                QByteArray(error.what()), QByteArray(std::generic_category().message(error.code().value()).c_str()));
            return error.code().value();
        }
        return 0;
    };
    writeFile(path(QStringLiteral("plain")), "#!/bin/sh\n");
    EXPECT_EQ(code(path(QStringLiteral("missing"))), ENOENT);
    EXPECT_EQ(code(path(QStringLiteral("plain"))), EACCES);
    EXPECT_EQ(code(path(QString())), EACCES);
    EXPECT_EQ(code(path(QStringLiteral("plain/below"))), ENOTDIR);
    EXPECT_THROW(static_cast<void>(USBBackend::discover(path(QStringLiteral("missing")), patient)), std::system_error);
}

} // namespace
} // namespace harrowmint::test
