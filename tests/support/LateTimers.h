#pragma once

#include "support/VirtualQueue.h"

namespace harrowmint::test {

/// A queue whose timers are late by `lateness`, the tenth by `once` in addition.
class LateTimers final : public SerialQueue {
public:
    LateTimers(VirtualQueue& inner, Duration lateness, Duration once = {})
        : m_inner(inner)
        , m_lateness(lateness)
        , m_once(once)
    {
    }
    void async(Task task) override { m_inner.async(std::move(task)); }
    [[nodiscard]] Timer after(Duration delay, Task task) override
    {
        constexpr int tenth = 10;
        return m_inner.after(delay + m_lateness + (++m_timers == tenth ? m_once : Duration{}), std::move(task));
    }
    [[nodiscard]] std::chrono::steady_clock::time_point now() const override { return m_inner.now(); }
    [[nodiscard]] std::chrono::system_clock::time_point date() const override { return m_inner.date(); }
    [[nodiscard]] bool isCurrent() const override { return m_inner.isCurrent(); }

private:
    VirtualQueue& m_inner;
    Duration m_lateness;
    Duration m_once;
    int m_timers = 0;
};

} // namespace harrowmint::test
