#include "guard/PrintGuard.h"

#include "base/PrinterError.h"
#include "guard/RecentPrintFile.h"

#include <algorithm>

namespace harrowmint {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds memoryWindow = 90s;
constexpr std::chrono::seconds duplicateWindow = 5s;
constexpr std::size_t maximumRecentReceipts = 8;
constexpr std::size_t maximumRecentLabels = 32;

QString fileName(bool labels)
{
    return labels ? QStringLiteral("recent-labels.json") : QStringLiteral("recent-jobs.json");
}

bool isConfirmed(const RecentPrint& print)
{
    return print.transferred == true;
}

/// Of a request-scoped receipt, `last` being the newest print of its key.
[[noreturn]] void refuseSameRequest(const RecentPrint& last)
{
    if (isConfirmed(last))
        throw PrinterError(
            QStringLiteral("This print request was already sent. Click Receipt again if you need another copy."));
    throw PrinterError(
        QStringLiteral("This print request has an uncertain outcome. Check the paper, then click Receipt "
                       "again to start a new attempt."));
}

} // namespace

PrintGuard::PrintGuard(bool labels, const QString& directory, FileSystem& files)
    : m_labels(labels)
    , m_directory(directory)
    , m_files(files)
{
    const QString path = directory + u'/' + fileName(labels);
    if (files.exists(path))
        m_recent = decodedRecentPrints(files.read(path));
}

void PrintGuard::reserve(const QString& key, Date date, bool requestScoped)
{
    const Date now = nearestStorableDate(date);
    forgetOld(now);
    refuseRepeat(key, now, requestScoped);
    refuseBurst();
    std::vector<RecentPrint> list = m_recent;
    list.push_back({.key = key, .date = now, .transferred = {}, .completedAt = {}});
    persist(std::move(list));
}

void PrintGuard::transferred(const QString& key, Date now)
{
    std::vector<RecentPrint> list = m_recent;
    const auto newest =
        std::find_if(list.rbegin(), list.rend(), [&key](const RecentPrint& print) { return print.key == key; });
    if (newest == list.rend() || isConfirmed(*newest))
        return;
    newest->transferred = true;
    newest->completedAt = nearestStorableDate(now);
    persist(std::move(list));
}

void PrintGuard::forgetOld(Date now)
{
    std::erase_if(m_recent, [now](const RecentPrint& print) { return now - print.date > memoryWindow; });
}

void PrintGuard::refuseRepeat(const QString& key, Date now, bool requestScoped) const
{
    std::vector<RecentPrint> matches;
    std::copy_if(m_recent.begin(), m_recent.end(), std::back_inserter(matches),
        [&key](const RecentPrint& print) { return print.key == key; });
    if (requestScoped && !m_labels && !matches.empty())
        refuseSameRequest(matches.back());
    if (!std::all_of(matches.begin(), matches.end(), isConfirmed))
        throw PrinterError(QStringLiteral("The previous transfer has an uncertain outcome. Check the paper before "
                                          "reprinting. You can retry after 90 seconds."));
    if (std::any_of(matches.begin(), matches.end(),
            [now](const RecentPrint& print) { return now - print.completedAt.value_or(print.date) < duplicateWindow; }))
        throw PrinterError(
            QStringLiteral("This was just sent to the printer. Wait 5 seconds before printing another copy."));
}

void PrintGuard::refuseBurst() const
{
    if (m_recent.size() >= (m_labels ? maximumRecentLabels : maximumRecentReceipts))
        throw PrinterError(QStringLiteral("Too many recent print requests. Please wait a moment."));
}

void PrintGuard::persist(std::vector<RecentPrint> list)
{
    writeFileAtomically(m_files, m_directory, fileName(m_labels), encodedRecentPrints(list));
    m_recent = std::move(list);
}

} // namespace harrowmint
