#pragma once

#include "base/FileSystem.h"
#include "settings/PrinterSettings.h"

#include <QString>
#include <chrono>
#include <optional>
#include <vector>

namespace harrowmint {

/// One remembered print.
struct RecentPrint {
    using Date = std::chrono::system_clock::time_point;

    QString key; ///< the job key
    Date date; ///< when it was reserved
    std::optional<bool> transferred; ///< true once the transfer is confirmed; absent (or false) until then
    std::optional<Date> completedAt; ///< when it was confirmed

    bool operator==(const RecentPrint&) const = default;
};

/// Remembers prints of the last 90 s and refuses a repeat, a blind retry and a burst. Lives on the main queue; owned by
/// the delegate, one for receipts and one for labels. The file is on disk before `reserve` returns, so a crash between
/// reservation and transfer reads as "uncertain".
class PrintGuard {
public:
    using Date = RecentPrint::Date;

    /// Reads the guard's file in `directory`, if there is one; writes nothing. Throws std::system_error for an
    /// unreadable file and PrinterError for one that is not a list of remembered prints.
    explicit PrintGuard(
        bool labels, const QString& directory = PrinterSettings::directory(), FileSystem& files = FileSystem::local());

    /// Forgets what is older than 90 s, then records a reservation for `key` and makes it durable, or throws:
    /// PrinterError with the sentence of the first refusal, or std::system_error when it cannot be persisted (the
    /// reservation is then not held). `requestScoped`: the key stands for one request of a page, which never runs
    /// twice; without meaning for labels. Both here and in `transferred`, a clock more than 126 years away from
    /// 2001 counts as being 126 years away.
    void reserve(const QString& key, Date now, bool requestScoped);
    void reserve(const QString& key, bool requestScoped) { reserve(key, Date::clock::now(), requestScoped); }
    /// Marks the newest reservation of `key` as confirmed and persists it; does nothing for an unknown or a confirmed
    /// one. Throws std::system_error when that cannot be persisted; memory is then as it was.
    void transferred(const QString& key, Date now = Date::clock::now());

    /// The remembered prints, oldest first.
    [[nodiscard]] const std::vector<RecentPrint>& recent() const { return m_recent; }

private:
    void forgetOld(Date now);
    void refuseRepeat(const QString& key, Date now, bool requestScoped) const;
    void refuseBurst() const;
    void persist(std::vector<RecentPrint> list);

    bool m_labels;
    QString m_directory;
    FileSystem& m_files;
    std::vector<RecentPrint> m_recent;
};

} // namespace harrowmint
