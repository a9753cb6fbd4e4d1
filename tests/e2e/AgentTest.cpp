#include "e2e/AgentProcess.h"
#include "support/Files.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QThread>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace harrowmint::test;

namespace {

const QByteArray store = "https://shop.example.com";
const auto dataDirectory = QStringLiteral("Library/Application Support/Harrowmint Printer");
const auto backendDirectory = QStringLiteral(SCRIPTED_BACKEND_DIRECTORY);
const auto backend = backendDirectory + QStringLiteral("/usb");
const QByteArray sentText = "Sent to USB printer. Please check the paper.";

/// A backend that takes the job into `job` beside itself and tells its progress truly.
const QByteArray goodBackend = R"(#!/bin/sh
folder=${0%/*}
cat >"$folder/job"
size=$(wc -c <"$folder/job")
echo "DEBUG: Sent $size bytes..." >&2
echo "STATE: +cups-waiting-for-job-completed" >&2
)";

QByteArray reply(bool success, const QByteArray& message)
{
    return QByteArray("{\"success\":") + (success ? "true" : "false") + ",\"message\":\"" + message + "\"}";
}

/// A page's answer about a job that printed: on a machine that is slow enough the six seconds pass first.
bool wasSent(const HttpResponse& response)
{
    return response.status == 200
        || response.body.contains("Transfer is taking longer than expected. Check the printer app and paper");
}

/// A named pipe that is full, and that nobody reads.
class FullPipe {
public:
    explicit FullPipe(const QString& path)
    {
        const QByteArray name = QFile::encodeName(path);
        EXPECT_EQ(::mkfifo(name.constData(), 0600), 0);
        m_readEnd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        m_writeEnd = ::open(name.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        const QByteArray many(PIPE_BUF, 'x');
        while (::write(m_writeEnd, many.constData(), many.size()) > 0) { }
        while (::write(m_writeEnd, "x", 1) > 0) { }
    }
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;
    ~FullPipe()
    {
        ::close(m_readEnd);
        ::close(m_writeEnd);
    }

    [[nodiscard]] bool isFull() const { return ::write(m_writeEnd, "x", 1) < 0 && errno == EAGAIN; }

private:
    int m_readEnd = -1;
    int m_writeEnd = -1;
};

class AgentTest : public ::testing::Test {
protected:
    AgentTest()
    {
        QDir(backendDirectory).removeRecursively();
        QDir().mkpath(backendDirectory);
        QDir().mkpath(home.filePath(dataDirectory));
        writeFile(home.filePath(dataDirectory + QStringLiteral("/settings.json")),
            R"({"printerURI":"usb://Acme/TM?serial=1","printerName":"Acme","paperWidth":80,"currency":"USD",)"
            R"("origins":["https://shop.example.com"],"paused":false})");
    }

    /// `script` prints; asked for printers, it has none.
    static void installBackend(QByteArray script)
    {
        script.replace("#!/bin/sh\n", "#!/bin/sh\n[ $# -gt 0 ] || exit 0\n");
        QFile::remove(backend); // a shell that runs the one before goes on with its own file
        writeFile(backend, script);
        ASSERT_EQ(::chmod(QFile::encodeName(backend).constData(), 0755), 0);
    }

    /// Without a directory for sockets the toolkit has something to say.
    [[nodiscard]] QMap<QString, QString> withoutSockets() const
    {
        return {{QStringLiteral("XDG_RUNTIME_DIR"), {}}, {QStringLiteral("TMPDIR"), home.path()}};
    }

    static void waitForFile(const QString& path)
    {
        const QDeadlineTimer deadline(std::chrono::minutes(1));
        while (!QFile::exists(path)) {
            ASSERT_FALSE(deadline.hasExpired()) << path.toStdString();
            QThread::msleep(10);
        }
    }

    TemporaryDirectory home;
};

} // namespace

TEST_F(AgentTest, PrintsThroughTheBackendProgram)
{
    installBackend(goodBackend);
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    const auto response = post(store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_TRUE(wasSent(response)) << response.body.constData();
    agent.waitForLog(sentText);
    const QByteArray job = readFile(backendDirectory + QStringLiteral("/job"));
    EXPECT_TRUE(job.startsWith(QByteArray::fromHex("1b401b61001d763000480000")));
    EXPECT_TRUE(job.endsWith(QByteArray::fromHex("1b6404")));
}

TEST_F(AgentTest, SaysSoWhenNoBackendIsInstalled)
{
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    const auto response = post(store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(response.status, 409);
    EXPECT_TRUE(response.body.contains("No such file or directory")) << response.body.constData();
    EXPECT_EQ(exchange(AgentProcess::port, pageRequest(AgentProcess::port, "GET", "/health", {})).status, 200);
}

TEST_F(AgentTest, AnswersASecondPageAtOnceWhileAJobPrints)
{
    installBackend("#!/bin/sh\nwhile [ ! -e \"${0%/*}/go\" ]; do sleep 0.05; done\ncat >/dev/null\n");
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    auto first = std::async(std::launch::async, [] { return post(store, sample(QStringLiteral("invoice-10.json"))); });
    agent.waitForLog("Sending receipt to USB printer");
    const auto second = post(store, sample(QStringLiteral("receipt-document.json")));
    EXPECT_EQ(second.status, 409);
    EXPECT_EQ(second.body, reply(false, "Printer is busy. Wait for the current receipt to finish."));
    writeFile(backendDirectory + QStringLiteral("/go"), "now");
    agent.waitForLog(sentText);
    first.get(); // success, or the sentence of the six seconds on a slow machine
}

TEST_F(AgentTest, AKilledAgentRemembersThatATransferWasUncertain)
{
    installBackend("#!/bin/sh\n: >\"${0%/*}/began\"\ncat >/dev/null\nexec sleep 5\n");
    {
        AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
        auto lost =
            std::async(std::launch::async, [] { return post(store, sample(QStringLiteral("invoice-10.json"))); });
        waitForFile(backendDirectory + QStringLiteral("/began"));
        agent.kill();
        EXPECT_EQ(lost.get().status, 0);
    }
    installBackend(goodBackend);
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    const auto response = post(store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_EQ(response.body,
        reply(false,
            "This print request has an uncertain outcome. Check the paper, then click Receipt again to start a new "
            "attempt."));
    EXPECT_FALSE(QFile::exists(backendDirectory + QStringLiteral("/job")));
}

TEST_F(AgentTest, AStartDuringTheLastJobOfAnEndingAgentTakesItsPlace)
{
    const auto program = QStringLiteral("harrowmint-printer-scripted");
    installBackend("#!/bin/sh\nwhile [ ! -e \"${0%/*}/go\" ]; do sleep 0.05; done\ncat >/dev/null\n");
    AgentPlace place; // the font libraries leak, which a sanitizer would tell by the exit status
    place.environment = {{QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0")}};
    AgentProcess ending(program, home.path(), place);
    auto last = std::async(std::launch::async, [] { return post(store, sample(QStringLiteral("invoice-10.json"))); });
    ending.waitForLog("Sending receipt to USB printer");
    ASSERT_EQ(::kill(static_cast<pid_t>(ending.processId()), SIGTERM), 0);
    QProcess next;
    next.setProcessEnvironment(AgentProcess::environment(home.path(), {}));
    next.start(QStringLiteral(HARROWMINT_BIN_DIR "/") + program, {QStringLiteral("--background")});
    EXPECT_FALSE(next.waitForFinished(2000)) << "soon nobody would listen";
    writeFile(backendDirectory + QStringLiteral("/go"), "now");
    EXPECT_EQ(ending.waitForEnd(), 0);
    last.get(); // success, or the sentence of the six seconds on a slow machine
    const QDeadlineTimer deadline(std::chrono::minutes(1));
    while (exchange(AgentProcess::port, pageRequest(AgentProcess::port, "GET", "/health", {})).status != 200)
        ASSERT_FALSE(deadline.hasExpired());
    next.terminate();
    EXPECT_TRUE(next.waitForFinished());
}

TEST_F(AgentTest, LeavesNothingOfAReceiptOnDiskOrInItsLog)
{
    installBackend("#!/bin/sh\nexec cat >/dev/null\n");
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    ASSERT_TRUE(wasSent(post(store, sample(QStringLiteral("invoice-10.json")))));
    agent.waitForLog(sentText);
    QByteArray everything = agent.log();
    QDirIterator files(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext())
        everything += readFile(files.next());
    EXPECT_TRUE(everything.contains("transferred")) << "the guard's file should have been read";
    for (const QByteArray content : {"Karak", "Corner Caf", "129.25", "A-000123", "Al Farsi"})
        EXPECT_FALSE(everything.contains(content)) << content.constData();
}

TEST_F(AgentTest, KeepsItsFilesToItsUser)
{
    installBackend(goodBackend);
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    ASSERT_TRUE(wasSent(post(store, sample(QStringLiteral("invoice-10.json")))));
    EXPECT_EQ(modeOf(home.filePath(dataDirectory + QStringLiteral("/recent-jobs.json"))), 0600U);
}

TEST_F(AgentTest, PrintsWhenItsParentIgnoredTheEndsOfChildren)
{
    installBackend(goodBackend);
    const auto before = std::signal(SIGCHLD, SIG_IGN); // inherited by the agent
    auto agent = std::make_unique<AgentProcess>(QStringLiteral("harrowmint-printer-scripted"), home.path());
    std::signal(SIGCHLD, before);
    EXPECT_TRUE(wasSent(post(store, sample(QStringLiteral("invoice-10.json")))));
    agent->waitForLog(sentText);
}

TEST_F(AgentTest, SurvivesAReaderOfItsLogThatGoesAway)
{
    installBackend(goodBackend);
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path());
    agent.closeLog();
    EXPECT_TRUE(wasSent(post(store, sample(QStringLiteral("invoice-10.json")))));
    EXPECT_EQ(exchange(AgentProcess::port, pageRequest(AgentProcess::port, "GET", "/health", {})).status, 200);
}

TEST_F(AgentTest, WritesTheToolkitsMessagesToItsLog)
{
    AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path(), {.environment = withoutSockets()});
    agent.waitForLog("harrowmint-printer: QStandardPaths: ");
}

TEST_F(AgentTest, WorksOnWhileNobodyReadsItsLog)
{
    installBackend(goodBackend);
    const QString path = home.filePath(QStringLiteral("log"));
    const FullPipe log(path);
    const AgentPlace place{.environment = withoutSockets(), .log = path};
    const AgentProcess agent(QStringLiteral("harrowmint-printer-scripted"), home.path(), place);
    const auto response = post(store, sample(QStringLiteral("invoice-10.json")));
    EXPECT_TRUE(wasSent(response)) << response.body.constData();
    EXPECT_EQ(exchange(AgentProcess::port, pageRequest(AgentProcess::port, "GET", "/health", {})).status, 200);
    EXPECT_TRUE(log.isFull());
}
