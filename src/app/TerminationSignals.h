#pragma once

#include "transports/FileDescriptor.h"

#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <vector>

namespace harrowmint {

/// Turns the signals that ask a program to end (SIGTERM, SIGINT, SIGHUP) into calls on the main thread's Qt event loop.
/// Main thread; one at a time in a process. Its destructor gives the signals back to whoever had them.
class TerminationSignals {
public:
    /// `asked` is called once for one or several signals that came together. A signal that the parent had this process
    /// ignore (as `nohup` does with SIGHUP) stays ignored. Needs an event dispatcher. Throws std::system_error when no
    /// pipe can be made, and the signals are then as they were.
    explicit TerminationSignals(std::function<void()> asked);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    class Handler;

    void read();

    Pipe m_pipe;
    std::function<void()> m_asked;
    QSocketNotifier m_notifier;
    std::vector<std::unique_ptr<Handler>> m_handlers;
};

} // namespace harrowmint
