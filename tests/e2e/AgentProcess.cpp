#include "e2e/AgentProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcessEnvironment>
#include <QThread>
#include <chrono>
#include <stdexcept>

namespace harrowmint::test {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr unsigned long pauseMilliseconds = 10;

bool answersHealth()
{
    return exchange(AgentProcess::port, pageRequest(AgentProcess::port, "GET", "/health", {})).status == 200;
}

} // namespace

AgentProcess::AgentProcess(const QString& program, const QString& home)
{
    if (answersHealth())
        throw std::runtime_error("another agent listens on port 9100; close it to run this test");
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    m_process.setProcessEnvironment(environment);
    m_process.start(QStringLiteral(HARROWMINT_BIN_DIR "/") + program, QStringList());
    const QDeadlineTimer deadline(patience);
    while (!answersHealth()) {
        m_process.waitForReadyRead(0);
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning)
            throw std::runtime_error("the agent does not listen: " + log().toStdString());
        QThread::msleep(pauseMilliseconds);
    }
}

AgentProcess::~AgentProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished())
        kill();
}

void AgentProcess::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}

QByteArray AgentProcess::log()
{
    m_process.waitForReadyRead(0);
    return m_log += m_process.readAllStandardError();
}

void AgentProcess::waitForLog(const QByteArray& text, int count)
{
    const QDeadlineTimer deadline(patience);
    while (log().count(text) < count) {
        if (deadline.hasExpired())
            throw std::runtime_error("not in the log: " + text.toStdString() + "\n" + m_log.toStdString());
        QThread::msleep(pauseMilliseconds);
    }
}

QByteArray sample(const QString& name)
{
    QFile file(QStringLiteral(HARROWMINT_SOURCE_DIR "/tests/samples/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

HttpResponse post(const QByteArray& origin, const QByteArray& body)
{
    return exchange(AgentProcess::port, pageRequest(AgentProcess::port, "POST", "/print", origin, body));
}

} // namespace harrowmint::test
