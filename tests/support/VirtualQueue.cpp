#include "support/VirtualQueue.h"

#include <algorithm>

namespace harrowmint::test {

VirtualClock::Key VirtualClock::add(Duration delay, const void* queue, SerialQueue::Task task)
{
    const Key key{m_elapsed + std::max(delay, Duration::zero()), m_next++};
    m_events.emplace(key, Event{queue, std::move(task)});
    return key;
}

void VirtualClock::dropAllOf(const void* queue)
{
    std::erase_if(m_events, [queue](const auto& event) { return event.second.queue == queue; });
}

int VirtualClock::runDue()
{
    int count = 0;
    while (!m_events.empty() && m_events.begin()->first.first <= m_elapsed) {
        runOne();
        ++count;
    }
    return count;
}

void VirtualClock::runOne()
{
    m_elapsed = std::max(m_elapsed, m_events.begin()->first.first);
    const Event event = std::move(m_events.begin()->second);
    m_events.erase(m_events.begin());
    const void* outer = std::exchange(m_running, event.queue);
    event.task();
    m_running = outer;
}

void VirtualClock::advance(Duration duration)
{
    const Duration end = m_elapsed + duration;
    runDue();
    while (!m_events.empty() && m_events.begin()->first.first <= end) {
        m_elapsed = std::max(m_elapsed, m_events.begin()->first.first);
        runDue();
    }
    m_elapsed = std::max(m_elapsed, end);
}

bool VirtualClock::runUntil(const std::function<bool()>& done, Duration limit)
{
    const Duration end = m_elapsed + limit;
    while (!done() && !m_events.empty() && m_events.begin()->first.first <= end)
        runOne();
    if (!done())
        m_elapsed = std::max(m_elapsed, end);
    return done();
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
