#pragma once

#include "base/SerialQueue.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace harrowmint {

/// Who of this process's centrals connects. With a search running BlueZ takes seconds to connect, without one next to
/// nothing, so the others' searches wait meanwhile. Shared by the centrals, on whatever queues they live: any thread.
class BluezScanPause {
public:
    using Central = const void*;

    /// From now on `changed` runs on the queue whenever `appliesTo` may have changed for this central.
    void join(Central central, SerialQueue& queue, std::function<void()> changed);
    /// Ends that, and what the central had begun. On the central's queue, where nothing is called afterwards.
    void leave(Central central);
    /// The central has one more link that is being connected.
    void begin(Central central);
    /// One less.
    void end(Central central);
    /// Whether another central than this one connects.
    [[nodiscard]] bool appliesTo(Central central);

private:
    struct Party {
        SerialQueue* queue = nullptr;
        std::shared_ptr<std::function<void()>> changed;
        int connecting = 0;
    };

    void tellOthers(Central central);

    std::mutex m_lock;
    std::map<Central, Party> m_parties;
};

} // namespace harrowmint
