#pragma once

#include "base/SerialQueue.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace harrowmint::test {

/// Virtual time shared by any number of VirtualQueues: nothing runs until the test says so, and no time passes but by
/// `advance`. Events of one instant run in the order in which they were given. One thread.
class VirtualClock {
public:
    using Duration = SerialQueue::Duration;

    /// Runs everything that is due now, including what that gives rise to now. Returns how many tasks ran.
    int runDue();
    /// Moves time forward by `duration`, running what falls due on the way, each at its time.
    void advance(Duration duration);
    /// Jumps to the next pending event and runs what is due then; false when nothing is pending.
    bool runNext();
    /// Time since the clock's beginning.
    [[nodiscard]] Duration elapsed() const { return m_elapsed; }
    /// The number of tasks and timers that have not run.
    [[nodiscard]] std::size_t pending() const { return m_events.size(); }
    /// Sets the wall clock; only `date` follows it.
    void setDate(std::chrono::system_clock::time_point date)
    {
        m_epoch = date - std::chrono::duration_cast<std::chrono::system_clock::duration>(m_elapsed);
    }
    [[nodiscard]] std::chrono::system_clock::time_point date() const
    {
        return m_epoch + std::chrono::duration_cast<std::chrono::system_clock::duration>(m_elapsed);
    }

private:
    friend class VirtualQueue;
    using Key = std::pair<Duration, std::uint64_t>;

    Key add(Duration delay, const void* queue, SerialQueue::Task task);
    void remove(const Key& key);
    void dropAllOf(const void* queue);

    struct Event {
        const void* queue;
        SerialQueue::Task task;
    };

    Duration m_elapsed{};
    std::uint64_t m_next = 0;
    std::map<Key, Event> m_events;
    const void* m_running = nullptr;
    std::chrono::system_clock::time_point m_epoch{std::chrono::seconds(1'700'000'000)};
};

/// A SerialQueue on a VirtualClock. Outside the clock's runs every queue counts as current, so that tests can call in.
class VirtualQueue final : public SerialQueue {
public:
    explicit VirtualQueue(std::shared_ptr<VirtualClock> clock)
        : m_clock(std::move(clock))
    {
    }
    ~VirtualQueue() override { m_clock->dropAllOf(this); }

    void async(Task task) override { m_clock->add({}, this, std::move(task)); }
    [[nodiscard]] Timer after(Duration delay, Task task) override;
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override;
    [[nodiscard]] std::chrono::system_clock::time_point date() const override { return m_clock->date(); }
    [[nodiscard]] bool isCurrent() const override
    {
        return m_clock->m_running == nullptr || m_clock->m_running == this;
    }

    [[nodiscard]] VirtualClock& clock() { return *m_clock; }

private:
    class Handle;
    std::shared_ptr<VirtualClock> m_clock;
};

} // namespace harrowmint::test
