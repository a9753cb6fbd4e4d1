#pragma once

#include "base/SerialQueue.h"
#include "transports/linux/bluez/BluezSocket.h"

#include <chrono>
#include <memory>
#include <vector>

namespace harrowmint {

/// Keeps sockets that are done with until BlueZ has read what was sent, for a bounded time: what it has not read when a
/// socket closes may be lost. Lives on its queue; dies with the sockets it still has.
class BluezSocketDrain {
public:
    explicit BluezSocketDrain(SerialQueue& queue)
        : m_queue(queue)
    {
    }

    void take(std::unique_ptr<BluezSocket> socket)
    {
        socket->silence();
        m_waiting.push_back({std::move(socket), m_queue.now() + longestWait});
        look();
    }

private:
    static constexpr std::chrono::milliseconds longestWait{2'000};
    static constexpr std::chrono::milliseconds lookAgain{20};

    struct Waiting {
        std::unique_ptr<BluezSocket> socket;
        std::chrono::steady_clock::time_point until;
    };

    void look()
    {
        std::erase_if(m_waiting, [now = m_queue.now()](const Waiting& waiting) {
            return waiting.socket->isDrained() || now >= waiting.until;
        });
        if (!m_waiting.empty())
            m_timer = m_queue.after(lookAgain, [this] { look(); });
    }

    SerialQueue& m_queue;
    std::vector<Waiting> m_waiting;
    Timer m_timer;
};

} // namespace harrowmint
