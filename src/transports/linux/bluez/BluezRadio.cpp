#include "transports/linux/bluez/BluezRadio.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

void BluezRadio::join(Central central, SerialQueue& queue, std::function<void()> changed)
{
    const std::lock_guard guard(m_lock);
    Party& party = m_parties[central];
    party.queue = &queue;
    party.changed = std::make_shared<std::function<void()>>(std::move(changed));
}

void BluezRadio::leave(Central central)
{
    const std::lock_guard guard(m_lock);
    if (m_parties.erase(central) > 0)
        tellOthers(central);
}

bool BluezRadio::maySearchLocked(Central central, TimePoint now) const
{
    return std::none_of(m_parties.begin(), m_parties.end(), [central, now](const auto& entry) {
        const Party& party = entry.second;
        return entry.first != central && party.connecting > 0 && now < party.since + longestPause;
    });
}

bool BluezRadio::maySearch(Central central, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    return maySearchLocked(central, now);
}

bool BluezRadio::beginSearch(Central central, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    return m_parties.at(central).searching = maySearchLocked(central, now);
}

void BluezRadio::endSearch(Central central)
{
    const std::lock_guard guard(m_lock);
    if (!std::exchange(m_parties.at(central).searching, false))
        return;
    for (const auto& entry : m_parties) {
        if (entry.second.connecting > 0)
            tell(entry.second);
    }
}

void BluezRadio::beginConnecting(Central central, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    Party& party = m_parties.at(central);
    if (++party.connecting > 1)
        return;
    party.since = now;
    tellOthers(central);
}

void BluezRadio::endConnecting(Central central)
{
    const std::lock_guard guard(m_lock);
    if (--m_parties.at(central).connecting == 0)
        tellOthers(central);
}

bool BluezRadio::mayConnect(Central central, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    if (now >= m_parties.at(central).since + longestSearchEnd)
        return true;
    return std::none_of(m_parties.begin(), m_parties.end(),
        [central](const auto& entry) { return entry.first != central && entry.second.searching; });
}

void BluezRadio::tellOthers(Central central)
{
    for (const auto& [other, party] : m_parties) {
        if (other != central)
            tell(party);
    }
}

void BluezRadio::tell(const Party& party)
{
    party.queue->async([weak = std::weak_ptr(party.changed)] {
        if (const auto changed = weak.lock())
            (*changed)();
    });
}

} // namespace harrowmint
