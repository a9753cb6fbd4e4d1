#pragma once

#include "base/SerialQueue.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace harrowmint {

/// Which of this process's centrals searches and which one connects. The two do not go together: beside a search BlueZ
/// takes seconds to connect, and beside the end of one it may not connect at all. So nobody begins to search while
/// another connects, searches that run end, and connecting waits until they have. Both waits are limited: a printer
/// that does not answer hides no others, and a search that does not end keeps no receipt.
///
/// Shared by the centrals, on whatever queues they live: any thread.
class BluezRadio {
public:
    using Central = const void*;
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Searches wait that long for one central's links. A printer that is on connects within a second or two.
    static constexpr std::chrono::milliseconds longestPause{4'000};
    /// Connecting waits that long for the end of searches, which takes BlueZ a moment.
    static constexpr std::chrono::milliseconds longestSearchEnd{2'000};

    /// From now on `changed` runs on the queue whenever another central may have changed what this one may do; that a
    /// limit has passed is for the central to look after.
    void join(Central central, SerialQueue& queue, std::function<void()> changed);
    /// Ends that, and what the central had begun. On the central's queue, where nothing is called afterwards.
    void leave(Central central);

    /// Whether the central may search, and go on searching.
    [[nodiscard]] bool maySearch(Central central, TimePoint now);
    /// Begins a search, if it may: until `endSearch`, at which BlueZ has none of it left.
    [[nodiscard]] bool beginSearch(Central central, TimePoint now);
    void endSearch(Central central);

    /// The central has one more link to connect, and says so before it asks `mayConnect`.
    void beginConnecting(Central central, TimePoint now);
    /// One less.
    void endConnecting(Central central);
    /// Whether BlueZ may be asked to connect now, as far as the other centrals are concerned.
    [[nodiscard]] bool mayConnect(Central central, TimePoint now);

private:
    struct Party {
        SerialQueue* queue = nullptr;
        std::shared_ptr<std::function<void()>> changed;
        bool searching = false;
        int connecting = 0;
        TimePoint since; ///< when it began to connect
    };

    [[nodiscard]] bool maySearchLocked(Central central, TimePoint now) const;
    void tellOthers(Central central);
    static void tell(const Party& party);

    std::mutex m_lock;
    std::map<Central, Party> m_parties;
};

} // namespace harrowmint
