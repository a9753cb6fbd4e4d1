#include "transports/linux/bluez/BluezScanPause.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

void BluezScanPause::join(Central central, SerialQueue& queue, std::function<void()> changed)
{
    const std::lock_guard guard(m_lock);
    m_parties[central] = {&queue, std::make_shared<std::function<void()>>(std::move(changed)), 0};
}

void BluezScanPause::leave(Central central)
{
    const std::lock_guard guard(m_lock);
    const auto party = m_parties.find(central);
    if (party == m_parties.end())
        return;
    const bool connected = party->second.connecting > 0;
    m_parties.erase(party);
    if (connected)
        tellOthers(central);
}

void BluezScanPause::begin(Central central)
{
    const std::lock_guard guard(m_lock);
    const auto party = m_parties.find(central);
    if (party != m_parties.end() && ++party->second.connecting == 1)
        tellOthers(central);
}

void BluezScanPause::end(Central central)
{
    const std::lock_guard guard(m_lock);
    const auto party = m_parties.find(central);
    if (party != m_parties.end() && --party->second.connecting == 0)
        tellOthers(central);
}

bool BluezScanPause::appliesTo(Central central)
{
    const std::lock_guard guard(m_lock);
    return std::any_of(m_parties.begin(), m_parties.end(),
        [central](const auto& entry) { return entry.first != central && entry.second.connecting > 0; });
}

void BluezScanPause::tellOthers(Central central)
{
    for (const auto& [other, party] : m_parties) {
        if (other == central)
            continue;
        party.queue->async([weak = std::weak_ptr(party.changed)] {
            if (const auto changed = weak.lock())
                (*changed)();
        });
    }
}

} // namespace harrowmint
