#pragma once

#include "base/SerialQueue.h"

#include <memory>
#include <utility>
#include <vector>

namespace harrowmint {

/// Runs tasks later on a queue, in order, as long as this object lives: how an answer that is known at once still comes
/// from the queue's own loop. Lives, and dies, on that queue.
class BluezPost {
public:
    explicit BluezPost(SerialQueue& queue)
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

/// Objects that are done with, but from whose own functions the call may have come: destroyed by the queue's loop, or
/// with this object. Lives on that queue.
template <class T>
class BluezRetired {
public:
    explicit BluezRetired(SerialQueue& queue)
        : m_post(queue)
    {
    }

    void take(std::unique_ptr<T> object)
    {
        m_objects.push_back(std::move(object));
        m_post([this] { m_objects.clear(); });
    }

private:
    std::vector<std::unique_ptr<T>> m_objects;
    BluezPost m_post;
};

} // namespace harrowmint
