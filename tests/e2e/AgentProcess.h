#pragma once

#include "support/HttpClient.h"
#include "support/TemporaryDirectory.h"

#include <QByteArray>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace harrowmint::test {

/// Where an agent runs, if not where a user's would.
struct AgentPlace {
    std::uint16_t port = 9100; ///< where it listens; only the scripted agent can be told another one
    QString systemBus = {}; ///< the address of the system bus; empty: as it is for the test
    QStringList arguments = {};
    QMap<QString, QString> environment = {}; ///< what else, or else, stands in its environment
    QString log = {}; ///< the file that its standard error is; empty: what `AgentProcess::log` reads
};

/// A port on which nobody listens now.
[[nodiscard]] std::uint16_t freePort();

/// One agent program as a user starts it, with a home directory of the test's.
class AgentProcess {
public:
    static constexpr std::uint16_t port = 9100;

    /// Starts `program` of the build's bin directory and waits until it listens. Throws std::runtime_error otherwise.
    AgentProcess(const QString& program, const QString& home, const AgentPlace& place = {});
    /// Ends it if it still runs.
    ~AgentProcess();
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    /// What such an agent is started with.
    [[nodiscard]] static QProcessEnvironment environment(const QString& home, const AgentPlace& place);

    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    /// Ends it without any warning (SIGKILL).
    void kill();
    /// Closes the reading end of its standard error.
    void closeLog() { m_process.closeReadChannel(QProcess::StandardError); }
    /// Waits until it has ended by itself; its exit status. Throws std::runtime_error after a minute.
    [[nodiscard]] int waitForEnd();
    /// Writes a line to its standard input and returns the next one of its standard output.
    [[nodiscard]] QByteArray ask(const QByteArray& line);
    /// Everything it has written to its standard error so far.
    [[nodiscard]] QByteArray log();
    /// Waits until `text` stands in the log at least `count` times. Throws std::runtime_error after a minute.
    void waitForLog(const QByteArray& text, int count = 1);

private:
    QProcess m_process;
    QByteArray m_log;
};

/// A POST of `body` to /print as a page of `origin` sends it.
[[nodiscard]] HttpResponse post(
    const QByteArray& origin, const QByteArray& body, std::uint16_t port = AgentProcess::port);

} // namespace harrowmint::test
