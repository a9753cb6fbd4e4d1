#include "support/VirtualQueue.h"

#include <algorithm>

namespace harrowmint::test {

VirtualClock::Key VirtualClock::add(Duration delay, const void* queue, SerialQueue::Task task)
{
    const Duration wait = std::clamp(delay, Duration::zero(), Duration::max() - m_elapsed);
    const Key key{m_elapsed + wait, m_next++};
    m_events.emplace(key, Event{queue, std::move(task)});
    return key;
}

void VirtualClock::remove(const Key& key)
{
    // Taken out before it dies: what a task holds may cancel other timers as it goes.
    const auto removed = m_events.extract(key);
}

void VirtualClock::dropAllOf(const void* queue)
{
    const auto isOfQueue = [queue](const auto& event) { return event.second.queue == queue; };
    for (;;) {
        const auto found = std::find_if(m_events.begin(), m_events.end(), isOfQueue);
        if (found == m_events.end())
            return;
        const auto removed = m_events.extract(found);
    }
}

int VirtualClock::runDue()
{
    int count = 0;
    while (!m_events.empty() && m_events.begin()->first.first <= m_elapsed) {
        const auto event = m_events.extract(m_events.begin());
        const void* outer = std::exchange(m_running, event.mapped().queue);
        event.mapped().task();
        m_running = outer;
        ++count;
    }
    return count;
}

void VirtualClock::advance(Duration duration)
{
    const Duration end = m_elapsed + duration;
    runDue();
    while (!m_events.empty() && m_events.begin()->first.first <= end) {
        m_elapsed = std::max(m_elapsed, m_events.begin()->first.first);
        runDue();
    }
    // A task may have advanced the clock itself, and further.
    m_elapsed = std::max(m_elapsed, end);
}

bool VirtualClock::runNext()
{
    if (m_events.empty())
        return false;
    m_elapsed = std::max(m_elapsed, m_events.begin()->first.first);
    runDue();
    return true;
}

class VirtualQueue::Handle final : public Timer::Handle {
public:
    Handle(std::shared_ptr<VirtualClock> clock, VirtualClock::Key key)
        : m_clock(std::move(clock))
        , m_key(key)
    {
    }
    ~Handle() override { m_clock->remove(m_key); }

private:
    std::shared_ptr<VirtualClock> m_clock;
    VirtualClock::Key m_key;
};

Timer VirtualQueue::after(Duration delay, Task task)
{
    return Timer(std::make_unique<Handle>(m_clock, m_clock->add(delay, this, std::move(task))));
}

std::chrono::steady_clock::time_point VirtualQueue::now() const
{
    return std::chrono::steady_clock::time_point(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(m_clock->elapsed() + std::chrono::hours(1)));
}

} // namespace harrowmint::test
