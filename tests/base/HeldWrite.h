#pragma once

#include <future>

namespace harrowmint::test {

/// Stops one thread inside its next call of the system's `write`, before a byte is written. All other calls go through.
class HeldWrite {
public:
    /// The calling thread's next write is the one that is held.
    void holdNext();
    /// Waits until a thread is held; returns the descriptor that it is about to write to.
    [[nodiscard]] int waitForDescriptor() { return m_descriptor.get_future().get(); }
    /// Lets the write go on. Call once.
    void release() { m_released.set_value(); }

    /// What the system's call runs first on a thread that is to be held.
    void pass(int descriptor);

private:
    std::promise<int> m_descriptor;
    std::promise<void> m_released;
};

} // namespace harrowmint::test
