#pragma once

#include "base/SerialQueue.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace harrowmint {

class BluezRadioUser;

/// Of two requests to begin a search that meet, BlueZ never answers the first, and goes on searching for it until its
/// client is gone. So the centrals of one process, on whatever queues they live, make their requests that begin or end
/// a search one after the other. Outlives its users.
class BluezRadio {
private:
    friend class BluezRadioUser;

    std::mutex m_lock; ///< for the users, too
    std::vector<BluezRadioUser*> m_users;
};

/// One central's part in it. On the central's queue only.
class BluezRadioUser {
public:
    /// `changed` runs on the queue whenever another central's request is over.
    BluezRadioUser(BluezRadio& radio, SerialQueue& queue, std::function<void()> changed);
    /// Ends its request.
    ~BluezRadioUser();
    BluezRadioUser(const BluezRadioUser&) = delete;
    BluezRadioUser& operator=(const BluezRadioUser&) = delete;

    /// Begins a request that begins or ends a search, if it is this central's turn.
    [[nodiscard]] bool beginRequest();
    /// The request that begins or ends a search has been answered, or given up.
    void endRequest();

private:
    void tellOthers() const; ///< with the lock held

    BluezRadio& m_radio;
    SerialQueue& m_queue;
    std::shared_ptr<std::function<void()>> m_changed;
    bool m_requesting = false;
};

} // namespace harrowmint
