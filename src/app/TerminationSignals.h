#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace harrowmint {

/// Turns the system's wishes that the process end (SIGTERM, SIGINT, SIGHUP) into calls on the thread that makes this,
/// which runs an event loop. A signal that is ignored stays ignored. One at a time in a process; its end restores what
/// the signals did before.
class TerminationSignals {
public:
    /// `asked` is called once for each signal, or for several that come together. Throws std::system_error when no pipe
    /// can be made.
    explicit TerminationSignals(std::function<void()> asked);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    void readAll() const;

    std::function<void()> m_asked;
    int m_readEnd = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace harrowmint
