#pragma once

#include "support/VirtualQueue.h"
#include "transports/TransferResult.h"

namespace harrowmint::test {

/// Waits by running the virtual clock.
class VirtualWaiter final : public Waiter {
public:
    explicit VirtualWaiter(VirtualClock& clock)
        : m_clock(clock)
    {
    }

    [[nodiscard]] bool wait(Signal& signal, SerialQueue::Duration limit) override
    {
        return m_clock.runUntil([&signal] { return signal.raised(); }, limit);
    }

private:
    VirtualClock& m_clock;
};

} // namespace harrowmint::test
