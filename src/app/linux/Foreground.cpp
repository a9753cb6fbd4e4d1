#include "app/Foreground.h"

namespace harrowmint {

namespace {

/// A window manager decides by the window alone, and a click on the icon starts the program a second time.
class WindowManagersForeground final : public Foreground {
public:
    void activate() override { }
};

} // namespace

std::unique_ptr<Foreground> Foreground::make(SerialQueue& /*main*/, const std::function<void()>& /*reopened*/)
{
    return std::make_unique<WindowManagersForeground>();
}

} // namespace harrowmint
