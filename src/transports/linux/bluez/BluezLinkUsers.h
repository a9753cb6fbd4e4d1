#pragma once

#include <QHash>
#include <QString>
#include <mutex>

namespace harrowmint {

/// Who of this process uses which device's link. BlueZ has one link for all programs and ends it for all of them, so a
/// link is ended only when this process asked for it and the last of its centrals has let go. Shared by the centrals,
/// on whatever queues they live: any thread.
class BluezLinkUsers {
public:
    /// One more central uses the device's link.
    void join(const QString& address);
    /// This process is about to ask BlueZ for the link, which it did not find in place.
    void ask(const QString& address);
    /// One central less. Returns whether the link is now to be ended.
    [[nodiscard]] bool leave(const QString& address);

private:
    struct Use {
        int users = 0;
        bool asked = false;
    };

    std::mutex m_lock;
    QHash<QString, Use> m_uses;
};

} // namespace harrowmint
