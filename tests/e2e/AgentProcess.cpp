#include "e2e/AgentProcess.h"

#include <QDeadlineTimer>
#include <QThread>
#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace harrowmint::test {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr unsigned long pauseMilliseconds = 10;

bool answersHealth(std::uint16_t port)
{
    return exchange(port, pageRequest(port, "GET", "/health", {})).status == 200;
}

} // namespace

std::uint16_t freePort()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const bool found = ::bind(listener, generic, size) == 0 && ::getsockname(listener, generic, &size) == 0;
    ::close(listener);
    if (!found)
        throw std::runtime_error("there is no free port");
    return ntohs(address.sin_port);
}

QProcessEnvironment AgentProcess::environment(const QString& home, const AgentPlace& place)
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    if (!place.systemBus.isEmpty())
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), place.systemBus);
    for (auto entry = place.environment.cbegin(); entry != place.environment.cend(); ++entry)
        environment.insert(entry.key(), entry.value());
    return environment;
}

AgentProcess::AgentProcess(const QString& program, const QString& home, const AgentPlace& place)
{
    if (answersHealth(place.port))
        throw std::runtime_error("another agent listens on the port; close it to run this test");
    m_process.setProcessEnvironment(environment(home, place));
    if (!place.log.isEmpty())
        m_process.setStandardErrorFile(place.log);
    m_process.start(QStringLiteral(HARROWMINT_BIN_DIR "/") + program, place.arguments);
    const QDeadlineTimer deadline(patience);
    while (!answersHealth(place.port)) {
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

int AgentProcess::waitForEnd()
{
    if (m_process.state() != QProcess::NotRunning
        && !m_process.waitForFinished(static_cast<int>(std::chrono::milliseconds(patience).count())))
        throw std::runtime_error("the agent does not end: " + log().toStdString());
    if (m_process.exitStatus() != QProcess::NormalExit)
        throw std::runtime_error("the agent has crashed: " + log().toStdString());
    return m_process.exitCode();
}

QByteArray AgentProcess::ask(const QByteArray& line)
{
    m_process.write(line + '\n');
    const QDeadlineTimer deadline(patience);
    m_process.setReadChannel(QProcess::StandardOutput);
    while (!m_process.canReadLine()) {
        m_process.waitForReadyRead(static_cast<int>(pauseMilliseconds));
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning)
            throw std::runtime_error("the agent does not answer: " + log().toStdString());
    }
    return m_process.readLine();
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

HttpResponse post(const QByteArray& origin, const QByteArray& body, std::uint16_t port)
{
    return exchange(port, pageRequest(port, "POST", "/print", origin, body));
}

} // namespace harrowmint::test
