#pragma once

#include "base/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

namespace harrowmint::test {

/// A SerialQueue on a plain thread that a sanitizer sees through. Tasks can be held back, and so can those who give
/// them; what a test runs itself comes first and is never held. No timers.
class ThreadQueue final : public SerialQueue {
public:
    ThreadQueue()
        : m_thread([this] { loop(); })
    {
    }
    ~ThreadQueue() override
    {
        {
            const std::lock_guard guard(m_lock);
            m_ending = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    void async(Task task) override
    {
        add(m_tasks, std::move(task));
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] { return !m_giversHeld; });
    }
    [[nodiscard]] Timer after(Duration, Task) override { std::abort(); }
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override
    {
        return std::chrono::steady_clock::now();
    }
    [[nodiscard]] std::chrono::system_clock::time_point date() const override
    {
        return std::chrono::system_clock::now();
    }
    [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == m_thread.get_id(); }

    /// Runs `call` on the queue's thread before all waiting tasks, and waits for its end; passes its exception on.
    template <class Call>
    void run(Call call)
    {
        const auto task = std::make_shared<std::packaged_task<void()>>(std::move(call));
        std::future<void> end = task->get_future();
        add(m_first, [task] { (*task)(); });
        end.get();
    }
    /// From now on tasks wait.
    void hold() { set(m_held, true); }
    void release() { set(m_held, false); }
    /// From now on whoever gives a task waits once it is in the queue.
    void holdGivers() { set(m_giversHeld, true); }
    void releaseGivers() { set(m_giversHeld, false); }
    /// Runs the first of the held tasks, of which there must be one; passes its exception on.
    void runHeld()
    {
        run([this] {
            std::unique_lock guard(m_lock);
            const Task task = std::move(m_tasks.front());
            m_tasks.pop_front();
            guard.unlock();
            task();
        });
    }
    [[nodiscard]] std::size_t held()
    {
        const std::lock_guard guard(m_lock);
        return m_tasks.size();
    }
    /// Waits until `count` tasks are held.
    void waitForHeld(std::size_t count)
    {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [&] { return m_tasks.size() >= count; });
    }

private:
    void add(std::deque<Task>& list, Task task)
    {
        {
            const std::lock_guard guard(m_lock);
            list.push_back(std::move(task));
        }
        m_changed.notify_all();
    }
    void set(bool& flag, bool value)
    {
        {
            const std::lock_guard guard(m_lock);
            flag = value;
        }
        m_changed.notify_all();
    }
    /// The list whose first task may run; none when there is nothing to do.
    std::deque<Task>* ready()
    {
        if (!m_first.empty())
            return &m_first;
        return m_held || m_tasks.empty() ? nullptr : &m_tasks;
    }
    void loop()
    {
        std::unique_lock guard(m_lock);
        while (!m_ending) {
            if (std::deque<Task>* list = ready()) {
                Task task = std::move(list->front());
                list->pop_front();
                guard.unlock();
                task();
                task = {};
                guard.lock();
            } else {
                m_changed.wait(guard);
            }
        }
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<Task> m_first;
    std::deque<Task> m_tasks;
    bool m_held = false;
    bool m_giversHeld = false;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace harrowmint::test
