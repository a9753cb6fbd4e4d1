#pragma once

#include "base/QueuePost.h"

#include <memory>
#include <utility>
#include <vector>

namespace harrowmint {

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
    QueuePost m_post;
};

} // namespace harrowmint
