#include "ScriptedProgram.h"

#include <QDir>
#include <QFile>
#include <cerrno>
#include <sys/wait.h>
#include <thread>

namespace harrowmint::test {

void ScriptedPrograms::SetUp()
{
    ASSERT_TRUE(m_folder.isValid());
    m_descriptorsBefore = openDescriptors();
}

void ScriptedPrograms::TearDown()
{
    EXPECT_FALSE(hasChild()) << "a child process was left behind";
    EXPECT_EQ(openDescriptors(), m_descriptorsBefore);

    struct sigaction action = {};
    sigset_t blocked;
    sigset_t pending;
    ::sigaction(SIGPIPE, nullptr, &action);
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    ::sigpending(&pending);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    EXPECT_EQ(::sigismember(&blocked, SIGPIPE), 0);
    EXPECT_EQ(::sigismember(&pending, SIGPIPE), 0);
}

QString ScriptedPrograms::script(const QByteArray& body, const QString& name) const
{
    writeFile(path(name), "#!/bin/sh\n" + body + '\n');
    QFile::setPermissions(path(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path(name);
}

QString ScriptedPrograms::observer(const QString& name) const
{
    EXPECT_TRUE(QFile::link(QStringLiteral(HARROWMINT_BIN_DIR "/observing_backend"), path(name)));
    return path(name);
}

bool ScriptedPrograms::hasChild()
{
    siginfo_t info = {};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

void ScriptedPrograms::waitUntilReaped()
{
    for (int i = 0; i < 6000 && hasChild(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(hasChild());
}

QStringList ScriptedPrograms::openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::AllEntries | QDir::NoDotAndDotDot);
}

} // namespace harrowmint::test
