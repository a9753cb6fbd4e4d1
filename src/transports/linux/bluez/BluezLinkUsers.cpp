#include "transports/linux/bluez/BluezLinkUsers.h"

namespace harrowmint {

void BluezLinkUsers::join(const QString& address)
{
    const std::lock_guard guard(m_lock);
    ++m_uses[address].users;
}

void BluezLinkUsers::ask(const QString& address)
{
    const std::lock_guard guard(m_lock);
    ++m_uses[address].asked;
    m_endings.remove(address);
}

void BluezLinkUsers::refused(const QString& address)
{
    const std::lock_guard guard(m_lock);
    const auto use = m_uses.find(address);
    if (use != m_uses.end() && use->asked > 0)
        --use->asked;
}

bool BluezLinkUsers::leave(const QString& address, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    const auto use = m_uses.find(address);
    if (use == m_uses.end() || --use->users > 0)
        return false;
    const bool asked = use->asked > 0;
    m_uses.erase(use);
    if (asked)
        m_endings[address] = now + longestEnd;
    return asked;
}

void BluezLinkUsers::notEnding(const QString& address)
{
    const std::lock_guard guard(m_lock);
    m_endings.remove(address);
}

bool BluezLinkUsers::isEnding(const QString& address, TimePoint now)
{
    const std::lock_guard guard(m_lock);
    const auto ending = m_endings.constFind(address);
    return ending != m_endings.constEnd() && now < *ending;
}

} // namespace harrowmint
