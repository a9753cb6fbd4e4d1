#include "transports/ChildProcess.h"

#include "transports/ChildPlatform.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <system_error>
#include <thread>

namespace harrowmint {

namespace {

void check(int error)
{
    if (error != 0)
        throw std::system_error(error, std::generic_category());
}

class FileActions {
public:
    FileActions() { check(::posix_spawn_file_actions_init(&m_actions)); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&m_actions); }

    void duplicate(int from, int to) { check(::posix_spawn_file_actions_adddup2(&m_actions, from, to)); }
    [[nodiscard]] posix_spawn_file_actions_t& get() { return m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

class Attributes {
public:
    Attributes() { check(::posix_spawnattr_init(&m_attributes)); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { ::posix_spawnattr_destroy(&m_attributes); }

    /// An empty signal mask, default dispositions, and the platform's `flags`.
    void set(short flags)
    {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        // Not sigfillset: glibc leaves its two internal signals out, and they would then be ignored in the child.
        std::memset(&all, 0xff, sizeof all);
        check(::posix_spawnattr_setsigmask(&m_attributes, &none));
        check(::posix_spawnattr_setsigdefault(&m_attributes, &all));
        check(::posix_spawnattr_setflags(
            &m_attributes, static_cast<short>(flags | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF)));
    }
    [[nodiscard]] const posix_spawnattr_t& get() const { return m_attributes; }

private:
    posix_spawnattr_t m_attributes{};
};

/// The texts as `posix_spawn` takes them, which changes none of them.
std::vector<char*> pointers(const std::vector<QByteArray>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const QByteArray& text : texts)
        result.push_back(const_cast<char*>(text.constData()));
    result.push_back(nullptr);
    return result;
}

pid_t start(const ChildCommand& command)
{
    FileActions actions;
    actions.duplicate(command.input, STDIN_FILENO);
    actions.duplicate(command.output, STDOUT_FILENO);
    actions.duplicate(command.error, STDERR_FILENO);
    short flags = 0;
    platform::keepOnlyStreams(actions.get(), flags);
    Attributes attributes;
    attributes.set(flags);

    std::vector<QByteArray> words{command.program};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    const std::vector<char*> arguments = pointers(words);
    const std::vector<char*> environment = pointers(command.environment);
    pid_t process = -1;
    check(::posix_spawn(&process, command.program.constData(), &actions.get(), &attributes.get(), arguments.data(),
        environment.data()));
    return process;
}

/// Waits for the end of `process`, however long that takes, without holding anybody up.
void reapLater(pid_t process) noexcept
{
    try {
        std::thread([process] {
            while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) { }
        }).detach();
    } catch (const std::system_error&) {
        // No thread to be had: the entry stays until this process ends. Waiting here could take for ever.
    }
}

} // namespace

ChildProcess::ChildProcess(const ChildCommand& command)
    : ChildProcess(start(command))
{
    m_exit = platform::exitDescriptor(m_process); // from here on the destructor cleans up
}

ChildProcess::~ChildProcess()
{
    if (succeeded())
        return;
    signal(SIGKILL);
    if (!succeeded())
        reapLater(m_process);
}

std::optional<bool> ChildProcess::succeeded()
{
    if (m_succeeded)
        return m_succeeded;
    int status = 0;
    const pid_t reaped = ::waitpid(m_process, &status, WNOHANG);
    if (reaped == m_process)
        m_succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    else if (reaped < 0 && errno == ECHILD)
        m_succeeded = false;
    return m_succeeded;
}

void ChildProcess::signal(int number) const
{
    // Until it is reaped the process identifier cannot belong to anybody else.
    if (!m_succeeded)
        ::kill(m_process, number);
}

} // namespace harrowmint
