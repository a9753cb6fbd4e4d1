#pragma once

#include "base/SerialQueue.h"

#include <functional>
#include <memory>

namespace harrowmint {

/// The agent's place among the other programs, where the system and not the window decides on it. Lives on the main
/// queue, on whose loop the system's events come.
class Foreground {
public:
    Foreground() = default;
    Foreground(const Foreground&) = delete;
    Foreground& operator=(const Foreground&) = delete;
    virtual ~Foreground() = default;

    /// Brings the agent before the other programs; its window brings itself to the front of its own.
    virtual void activate() = 0;

    /// The platform's own. `reopened` is called on `main`, never within this call, when the user asks the running agent
    /// for its window by a click on its icon.
    [[nodiscard]] static std::unique_ptr<Foreground> make(SerialQueue& main, const std::function<void()>& reopened);
};

} // namespace harrowmint
