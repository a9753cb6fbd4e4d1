#pragma once

#include "app/WorkerJobRunner.h"
#include "base/SerialQueue.h"

#include <functional>
#include <memory>

namespace harrowmint {

/// The computer's sleep: tells when it wakes, and keeps it from beginning during a job. Made and destroyed on the main
/// queue, on whose loop it lives; outlives the worker. Where the system offers no such service, it does nothing.
class SystemPower : public ProcessActivity {
public:
    /// The platform's own. `woke` is called on `main` after each wake of the computer.
    [[nodiscard]] static std::unique_ptr<SystemPower> make(SerialQueue& main, std::function<void()> woke);
};

} // namespace harrowmint
