#pragma once

#include <QHash>
#include <QString>
#include <chrono>
#include <mutex>

namespace harrowmint {

/// Who of this process uses which device's link. BlueZ has one link for all programs and ends it for all of them, so a
/// link is ended only when this process asked for it and the last of its centrals has let go. Shared by the centrals,
/// on whatever queues they live: any thread.
///
/// BlueZ takes its time to end a link, which looks as before all the while. From the moment on when it is to be ended
/// the link is marked as ending, for all centrals: until one of them asks for a new one, but for `longestEnd` at most.
/// That one of them has seen the end does not count, for the others may see it later.
class BluezLinkUsers {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// BlueZ takes about 2 s to end a link. Past this it has lost track, and the next connection is worth a try.
    static constexpr std::chrono::milliseconds longestEnd{10'000};

    /// One more central uses the device's link.
    void join(const QString& address);
    /// This process is about to ask BlueZ for the link, which it did not find in place: an earlier one has ended.
    void ask(const QString& address);
    /// BlueZ has refused that, for somebody's earlier request is under way; it may be one of another central.
    void refused(const QString& address);
    /// One central less. Returns whether the link is now to be ended by the caller, and is then ending.
    [[nodiscard]] bool leave(const QString& address, TimePoint now);
    /// BlueZ is not asked to end the link after all: it is down already.
    void notEnding(const QString& address);
    /// Whether the device's link, if it seems to stand, is being ended.
    [[nodiscard]] bool isEnding(const QString& address, TimePoint now);

private:
    struct Use {
        int users = 0;
        int asked = 0; ///< requests that were not refused
    };

    std::mutex m_lock;
    QHash<QString, Use> m_uses;
    QHash<QString, TimePoint> m_endings; ///< until when they count
};

} // namespace harrowmint
