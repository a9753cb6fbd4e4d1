#pragma once

#include "support/HttpClient.h"
#include "support/TemporaryDirectory.h"

#include <QByteArray>
#include <QProcess>
#include <QString>

namespace harrowmint::test {

/// One agent program as a user starts it, with a home directory of the test's.
class AgentProcess {
public:
    static constexpr std::uint16_t port = 9100;

    /// Starts `program` of the build's bin directory and waits until it listens. Throws std::runtime_error otherwise.
    AgentProcess(const QString& program, const QString& home);
    /// Ends it if it still runs.
    ~AgentProcess();
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    /// Ends it without any warning (SIGKILL).
    void kill();
    /// Closes the reading end of its standard error.
    void closeLog() { m_process.closeReadChannel(QProcess::StandardError); }
    /// Everything it has written to its standard error so far.
    [[nodiscard]] QByteArray log();
    /// Waits until `text` stands in the log at least `count` times. Throws std::runtime_error after a minute.
    void waitForLog(const QByteArray& text, int count = 1);

private:
    QProcess m_process;
    QByteArray m_log;
};

/// A file of tests/samples.
[[nodiscard]] QByteArray sample(const QString& name);
/// A POST of `body` to /print as a page of `origin` sends it.
[[nodiscard]] HttpResponse post(const QByteArray& origin, const QByteArray& body);

} // namespace harrowmint::test
