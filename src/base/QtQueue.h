#pragma once

#include "base/SerialQueue.h"

#include <QString>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class QEventLoop;
class QSocketNotifier;

namespace harrowmint {

/// A SerialQueue on a thread that runs a Qt event loop: the thread that creates it is its home, and must destroy it.
/// Tasks are handed over through a locked list and a pipe that the event loop watches.
class QtQueue final : public SerialQueue {
public:
    /// On the home thread, with its event dispatcher in place. Throws std::system_error when no pipe can be made.
    QtQueue();
    ~QtQueue() override;

    void async(Task task) override;
    [[nodiscard]] Timer after(Duration delay, Task task) override;
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override;
    [[nodiscard]] std::chrono::system_clock::time_point date() const override;
    [[nodiscard]] bool isCurrent() const override;

    /// Runs no further task but `last`, if there is one: those waiting, and those given from now on, are dropped. Any
    /// thread.
    void close(Task last = {});

private:
    /// What wakes the home thread; who is about to write to it keeps it open.
    class WakePipe;

    Task takeTask();
    void runWaitingTasks();

    const std::thread::id m_thread = std::this_thread::get_id();
    std::mutex m_lock;
    std::deque<Task> m_waiting;
    std::vector<Task> m_dropped;
    bool m_closed = false;
    const std::shared_ptr<WakePipe> m_pipe;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

/// A thread of its own with a QtQueue on it; the thread's name is the queue's label, shortened where the system must.
/// Created and destroyed on another thread than its own, while the application object lives; destruction waits for the
/// running task and drops the others.
class WorkerQueue final : public SerialQueue {
public:
    /// Throws std::system_error when there can be no thread or no pipe.
    explicit WorkerQueue(const QString& label);
    ~WorkerQueue() override;

    void async(Task task) override { m_queue->async(std::move(task)); }
    [[nodiscard]] Timer after(Duration delay, Task task) override { return m_queue->after(delay, std::move(task)); }
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override { return m_queue->now(); }
    [[nodiscard]] std::chrono::system_clock::time_point date() const override { return m_queue->date(); }
    [[nodiscard]] bool isCurrent() const override { return m_queue->isCurrent(); }

private:
    void run(std::promise<QtQueue*>& ready);

    // A standard thread, because the thread sanitizer cannot see how the toolkit's own joins.
    std::thread m_thread;
    QtQueue* m_queue = nullptr;
    QEventLoop* m_loop = nullptr;
};

} // namespace harrowmint
