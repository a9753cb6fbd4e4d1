#pragma once

#include "base/SerialQueue.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace harrowmint {

class BluezRadioUser;

/// What the centrals of one process do with the radio, which they share on whatever queues they live. Some of it does
/// not go together, although BlueZ takes it:
///
/// - Of two requests to begin a search that meet, BlueZ never answers the first, and goes on searching for it until
///   its client is gone. So requests that begin or end a search are made one after the other.
/// - The kernel connects at the next report of the peripheral, and of those that a search has reported already a
///   controller may say nothing more until the search begins anew, after 10 s. So searches end when another central
///   connects, none begins meanwhile, and connecting waits until they have ended.
///
/// Both waits are limited: a printer that does not answer hides no others, and a search that does not end keeps no
/// receipt. Outlives its users.
class BluezRadio {
public:
    struct Limits {
        /// Searches wait that long for one central's links. A printer that is on connects within a second or two.
        std::chrono::milliseconds pause{4'000};
        /// Connecting waits that long for the end of searches, its own central's too, which takes BlueZ a moment.
        std::chrono::milliseconds searchEnd{2'000};
    };

    BluezRadio() = default;
    explicit BluezRadio(const Limits& limits)
        : m_limits(limits)
    {
    }

private:
    friend class BluezRadioUser;

    Limits m_limits;

    std::mutex m_lock; ///< for the users, too
    std::vector<BluezRadioUser*> m_users;
};

/// One central's part in it. On the central's queue only.
class BluezRadioUser {
public:
    /// `changed` runs on the queue whenever another central may have changed what this one may do; that a limit has
    /// passed is for the central to look after.
    BluezRadioUser(BluezRadio& radio, SerialQueue& queue, std::function<void()> changed);
    /// Ends all that was begun.
    ~BluezRadioUser();
    BluezRadioUser(const BluezRadioUser&) = delete;
    BluezRadioUser& operator=(const BluezRadioUser&) = delete;

    /// Whether the central may search, and go on searching.
    [[nodiscard]] bool maySearch() const;
    /// Begins a search, and the request for it, if it may: until `endSearch`, when BlueZ has been asked to end it.
    [[nodiscard]] bool beginSearch();
    void endSearch();
    /// Begins the request that ends a search, if it is this central's turn.
    [[nodiscard]] bool beginRequest();
    /// The request that begins or ends a search has been answered, or given up.
    void endRequest();

    /// There is one more link to connect. To be said before `mayConnect` is asked.
    void beginConnecting();
    /// One less.
    void endConnecting();
    /// Whether BlueZ may be asked to connect now; `searchIsEnding` tells of the central's own search.
    [[nodiscard]] bool mayConnect(bool searchIsEnding) const;

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    // All that follows: with the lock held.
    [[nodiscard]] bool anyOther(const std::function<bool(const BluezRadioUser&)>& condition) const;
    [[nodiscard]] bool othersConnect() const;
    void tellOthers() const;

    BluezRadio& m_radio;
    SerialQueue& m_queue;
    std::shared_ptr<std::function<void()>> m_changed;
    bool m_searching = false;
    bool m_requesting = false;
    int m_connecting = 0;
    TimePoint m_since; ///< when it began to connect
};

} // namespace harrowmint
