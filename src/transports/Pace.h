#pragma once

#include "base/SerialQueue.h"

#include <algorithm>
#include <chrono>

namespace harrowmint {

/// Keeps what delays the pauses between writes from adding up. Timers are late, never early, and a write takes its
/// time: hundreds of them would make a long receipt miss its limit. Each pause makes up for what came before, by at
/// most an eighth of itself. A plain value of one queue's.
class Pace {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// A pause of `stated` begins. Returns how long it is to be.
    [[nodiscard]] SerialQueue::Duration begin(Instant now, SerialQueue::Duration stated)
    {
        constexpr int largestPart = 8;
        const SerialQueue::Duration part = std::min(m_late, stated / largestPart);
        m_stated = stated;
        m_late -= part;
        m_end = now + stated - part;
        return stated - part;
    }

    /// The pause is over, and so is the write behind it. No more than one pause is ever made up for.
    void written(Instant now) { m_late = std::min(m_late + (now - m_end), m_stated); }

    /// There was another reason to wait, which is not made up for.
    void interrupted() { m_late = {}; }

private:
    SerialQueue::Duration m_stated{};
    SerialQueue::Duration m_late{}; ///< what is still to be made up for
    Instant m_end; ///< when the pause should end
};

} // namespace harrowmint
