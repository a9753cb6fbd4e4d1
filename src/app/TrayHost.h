#pragma once

#include "base/SerialQueue.h"

#include <functional>
#include <memory>

namespace harrowmint {

/// Tells when the desktop has a place for tray icons, without ever waiting for it. Main queue.
class TrayHost {
public:
    TrayHost() = default;
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;
    virtual ~TrayHost() = default;

    /// The desktop's own. `appeared` is called on `main`'s loop, never within this call, when there is a place, and
    /// again each time when there is one after there was none. The host must not be destroyed within the call.
    [[nodiscard]] static std::unique_ptr<TrayHost> make(SerialQueue& main, std::function<void()> appeared);
};

} // namespace harrowmint
