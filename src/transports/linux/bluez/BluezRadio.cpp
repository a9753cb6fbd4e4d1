#include "transports/linux/bluez/BluezRadio.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

BluezRadioUser::BluezRadioUser(BluezRadio& radio, SerialQueue& queue, std::function<void()> changed)
    : m_radio(radio)
    , m_queue(queue)
    , m_changed(std::make_shared<std::function<void()>>(std::move(changed)))
{
    const std::lock_guard guard(m_radio.m_lock);
    m_radio.m_users.push_back(this);
}

BluezRadioUser::~BluezRadioUser()
{
    const std::lock_guard guard(m_radio.m_lock);
    std::erase(m_radio.m_users, this);
    tellOthers();
}

bool BluezRadioUser::beginRequest()
{
    const std::lock_guard guard(m_radio.m_lock);
    const bool isTaken = std::any_of(
        m_radio.m_users.begin(), m_radio.m_users.end(), [](const BluezRadioUser* user) { return user->m_requesting; });
    if (!isTaken)
        m_requesting = true;
    return !isTaken;
}

void BluezRadioUser::endRequest()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (std::exchange(m_requesting, false))
        tellOthers();
}

void BluezRadioUser::tellOthers() const
{
    for (const BluezRadioUser* other : m_radio.m_users) {
        if (other == this)
            continue;
        other->m_queue.async([weak = std::weak_ptr(other->m_changed)] {
            if (const auto changed = weak.lock())
                (*changed)();
        });
    }
}

} // namespace harrowmint
