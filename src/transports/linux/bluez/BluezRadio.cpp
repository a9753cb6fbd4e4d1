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

bool BluezRadioUser::maySearch() const
{
    const std::lock_guard guard(m_radio.m_lock);
    return !othersConnect();
}

bool BluezRadioUser::beginSearch()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (othersConnect() || anyOther([](const BluezRadioUser& other) { return other.m_requesting; }))
        return false;
    m_searching = true;
    m_requesting = true;
    return true;
}

void BluezRadioUser::endSearch()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (std::exchange(m_searching, false))
        tellOthers();
}

bool BluezRadioUser::beginRequest()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (anyOther([](const BluezRadioUser& other) { return other.m_requesting; }))
        return false;
    m_requesting = true;
    return true;
}

void BluezRadioUser::endRequest()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (std::exchange(m_requesting, false))
        tellOthers();
}

void BluezRadioUser::beginConnecting()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (++m_connecting > 1)
        return;
    m_since = m_queue.now();
    tellOthers();
}

void BluezRadioUser::endConnecting()
{
    const std::lock_guard guard(m_radio.m_lock);
    if (--m_connecting == 0)
        tellOthers();
}

bool BluezRadioUser::mayConnect(bool searchIsEnding) const
{
    const std::lock_guard guard(m_radio.m_lock);
    return m_queue.now() >= m_since + m_radio.m_limits.searchEnd
        || (!searchIsEnding && !anyOther([](const BluezRadioUser& other) { return other.m_searching; }));
}

bool BluezRadioUser::anyOther(const std::function<bool(const BluezRadioUser&)>& condition) const
{
    return std::any_of(m_radio.m_users.begin(), m_radio.m_users.end(),
        [&](const BluezRadioUser* other) { return other != this && condition(*other); });
}

bool BluezRadioUser::othersConnect() const
{
    return anyOther([now = m_queue.now(), limit = m_radio.m_limits.pause](
                        const BluezRadioUser& other) { return other.m_connecting > 0 && now < other.m_since + limit; });
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
