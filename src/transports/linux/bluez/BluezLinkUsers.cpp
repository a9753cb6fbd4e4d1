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
    m_uses[address].asked = true;
}

bool BluezLinkUsers::leave(const QString& address)
{
    const std::lock_guard guard(m_lock);
    const auto use = m_uses.find(address);
    if (use == m_uses.end() || --use->users > 0)
        return false;
    const bool asked = use->asked;
    m_uses.erase(use);
    return asked;
}

} // namespace harrowmint
