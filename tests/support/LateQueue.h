#pragma once

#include "support/VirtualQueue.h"

#include <memory>
#include <vector>

namespace harrowmint::test {

/// A queue on virtual time whose tasks wait: what is given to it within the first `delay` runs when that is over, in
/// order; its timers are punctual. For callers that outwait a queue.
class LateQueue final : public SerialQueue {
public:
    LateQueue(VirtualQueue& inner, Duration delay)
        : m_inner(inner)
        , m_end(inner.clock().elapsed() + delay)
    {
    }

    void async(Task task) override
    {
        m_timers.push_back(m_inner.after(m_end - m_inner.clock().elapsed(), std::move(task)));
    }
    [[nodiscard]] Timer after(Duration delay, Task task) override { return m_inner.after(delay, std::move(task)); }
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override { return m_inner.now(); }
    [[nodiscard]] std::chrono::system_clock::time_point date() const override { return m_inner.date(); }
    [[nodiscard]] bool isCurrent() const override { return m_inner.isCurrent(); }

private:
    VirtualQueue& m_inner;
    Duration m_end;
    std::vector<Timer> m_timers;
};

} // namespace harrowmint::test
