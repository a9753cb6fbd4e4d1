#pragma once

#include "transports/FileDescriptor.h"

#include <QByteArray>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace harrowmint {

/// What a child process is started with: nothing else of this process reaches it.
struct ChildCommand {
    QByteArray program; ///< absolute path; also the child's own name for itself
    std::vector<QByteArray> arguments; ///< without the program
    std::vector<QByteArray> environment; ///< the whole of it, "NAME=value"
    int input; ///< open descriptors that become the child's three streams, none of them below 3
    int output;
    int error;
};

/// One child process with exactly the streams and the environment of its command, an empty signal mask and default
/// signal dispositions. Owned by one thread. It never becomes a zombie: destruction kills what still runs, and a child
/// that cannot die yet (a device holds it) is reaped by a thread of its own whenever that ends.
class ChildProcess {
public:
    /// Starts the child. Throws std::system_error with the platform's code when it cannot be started.
    explicit ChildProcess(const ChildCommand& command);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// Readable once the child has ended.
    [[nodiscard]] int exitDescriptor() const { return m_exit.get(); }
    /// Whether the child ended with status 0, once it has ended and could be reaped; nothing before. A death by signal
    /// is a failure, and so is an end whose status somebody else took.
    [[nodiscard]] std::optional<bool> succeeded();
    /// Sends a signal, unless the child has been reaped.
    void signal(int number) const;

private:
    explicit ChildProcess(pid_t started)
        : m_process(started)
    {
    }

    pid_t m_process;
    FileDescriptor m_exit;
    std::optional<bool> m_succeeded;
};

} // namespace harrowmint
