#pragma once

#include "base/SerialQueue.h"

#include <memory>
#include <utility>

namespace harrowmint {

/// Runs tasks later on a queue, in order, as long as this object lives: how an answer that is known at once still comes
/// from the queue's own loop. Lives, and dies, on that queue.
class QueuePost {
public:
    explicit QueuePost(SerialQueue& queue)
        : m_queue(queue)
        , m_alive(std::make_shared<char>())
    {
    }

    void operator()(SerialQueue::Task task) const
    {
        m_queue.async([alive = std::weak_ptr<char>(m_alive), task = std::move(task)] {
            if (alive.lock())
                task();
        });
    }

private:
    SerialQueue& m_queue;
    std::shared_ptr<char> m_alive;
};

} // namespace harrowmint
