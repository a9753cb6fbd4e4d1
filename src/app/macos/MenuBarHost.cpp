#include "app/TrayHost.h"
#include "base/QueuePost.h"

#include <utility>

namespace harrowmint {

namespace {

/// The menu bar is always there.
class MenuBarHost final : public TrayHost {
public:
    MenuBarHost(SerialQueue& main, std::function<void()> appeared)
        : m_post(main)
    {
        m_post(std::move(appeared));
    }

private:
    QueuePost m_post;
};

} // namespace

std::unique_ptr<TrayHost> TrayHost::make(SerialQueue& main, std::function<void()> appeared)
{
    return std::make_unique<MenuBarHost>(main, std::move(appeared));
}

} // namespace harrowmint
