#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace harrowmint {

/// A pending call of a SerialQueue. Destroying or cancelling it on the queue it belongs to guarantees that its task
/// does not run any more. Move-only; an empty one does nothing.
class Timer {
public:
    /// What a queue keeps behind the handle; its destructor cancels.
    class Handle {
    public:
        Handle() = default;
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;
        virtual ~Handle() = default;
    };

    Timer() = default;
    explicit Timer(std::unique_ptr<Handle> handle)
        : m_handle(std::move(handle))
    {
    }

    /// Makes sure that the task does not run (any more). On the timer's home queue only.
    void cancel() { m_handle.reset(); }

private:
    std::unique_ptr<Handle> m_handle;
};

/// A queue that runs its tasks one at a time, in the order in which they were given, with a clock.
/// All state machines run on one of these, so that they also run on virtual time in a test.
class SerialQueue {
public:
    using Task = std::function<void()>;
    using Duration = std::chrono::nanoseconds;

    SerialQueue() = default;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    virtual ~SerialQueue() = default;

    /// Runs `task` later, never within this call. Any thread. Tasks still waiting when the queue dies are dropped
    /// unrun.
    virtual void async(Task task) = 0;
    /// Runs `task` once, not before `delay` has passed (negative: at once, but never within this call), unless the
    /// returned handle dies first. Home queue only.
    [[nodiscard]] virtual Timer after(Duration delay, Task task) = 0;
    /// Time that only moves forward, for intervals. Any thread.
    [[nodiscard]] virtual std::chrono::steady_clock::time_point now() const = 0;
    /// The wall clock, which the user may set. Any thread.
    [[nodiscard]] virtual std::chrono::system_clock::time_point date() const = 0;
    /// Whether the caller runs on this queue.
    [[nodiscard]] virtual bool isCurrent() const = 0;
};

} // namespace harrowmint
