#pragma once

#include "base/SerialQueue.h"

#include <chrono>

namespace harrowmint {

/// What a Shutdown does with the agent. Called on the main queue.
class ShutdownEvents {
public:
    ShutdownEvents() = default;
    ShutdownEvents(const ShutdownEvents&) = delete;
    ShutdownEvents& operator=(const ShutdownEvents&) = delete;
    virtual ~ShutdownEvents() = default;

    /// From now on no job begins.
    virtual void refuseJobs() = 0;
    /// Answers the page of an open approval sheet as if it had been cancelled. Returns whether there was one.
    virtual bool cancelPairing() = 0;
    /// Whether a job is running.
    [[nodiscard]] virtual bool isBusy() const = 0;
    /// Ends the process with status 0. Called once; the last of all.
    virtual void end() = 0;
};

/// How the agent ends when it is not the user's own Quit: by a signal or with the session. A running job is finished
/// first, since half a receipt on paper is worth less than a moment's wait; nothing else is waited for but the answers
/// on their way to pages. Lives on the main queue; owned by the delegate.
class Shutdown {
public:
    /// For the answers to pages to leave: a job's, or a cancelled pairing's.
    static constexpr std::chrono::milliseconds replyTime{200};
    /// Beyond the longest that a job can run by its transport's own limits; a job that is not over then never will be.
    static constexpr std::chrono::seconds jobTime{75};

    /// Both outlive the shutdown.
    Shutdown(SerialQueue& main, ShutdownEvents& events);
    Shutdown(const Shutdown&) = delete;
    Shutdown& operator=(const Shutdown&) = delete;
    ~Shutdown() = default;

    /// The agent is asked to end. Further requests change nothing. `end` never comes within this call.
    void request();
    /// A job has ended, and its answer is given.
    void jobEnded();

    /// Whether the agent has been asked to end.
    [[nodiscard]] bool isRequested() const { return m_phase != Phase::Running; }

private:
    enum class Phase {
        Running,
        FinishingJob, ///< asked to end, but a job is running
        Ending, ///< only the answers' time is left
    };

    void endAfter(SerialQueue::Duration pause);

    SerialQueue& m_main;
    ShutdownEvents& m_events;
    Phase m_phase = Phase::Running;
    Timer m_timer;
};

} // namespace harrowmint
