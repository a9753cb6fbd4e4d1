#include "GuardTexts.h"
#include "support/FaultyFileSystem.h"

#include <random>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

using std::chrono::milliseconds;

const QString directory = QStringLiteral("/data");

/// The guard's rules once more, over a plain log of everything that ever happened, in whole milliseconds.
class NaiveGuard {
public:
    explicit NaiveGuard(bool labels)
        : m_labels(labels)
    {
    }

    QString reserve(int key, std::int64_t now, bool requestScoped)
    {
        QString verdict = held;
        int count = 0;
        bool uncertain = false;
        bool recent = false;
        const Event* last = nullptr;
        for (Event& event : m_log) {
            if (now - event.reserved > 90'000)
                event.forgotten = true;
            if (event.forgotten)
                continue;
            ++count;
            if (event.key != key)
                continue;
            last = &event;
            uncertain = uncertain || !event.confirmed;
            recent = recent || (event.confirmed && now - event.completed < 5'000);
        }
        if (count >= (m_labels ? 32 : 8))
            verdict = tooMany;
        if (recent)
            verdict = justSent;
        if (uncertain)
            verdict = transferUncertain;
        if (last != nullptr && requestScoped && !m_labels)
            verdict = last->confirmed ? alreadySent : requestUncertain;
        if (verdict == held) {
            m_log.push_back({key, now, false, 0, false, false});
            write();
        }
        return verdict;
    }

    void transferred(int key, std::int64_t now)
    {
        Event* newest = nullptr;
        for (Event& event : m_log) {
            if (!event.forgotten && event.key == key)
                newest = &event;
        }
        if (newest != nullptr && !newest->confirmed) {
            newest->confirmed = true;
            newest->completed = now;
            write();
        }
    }

    /// What was forgotten since the last write is still in the file.
    void restart()
    {
        for (Event& event : m_log)
            event.forgotten = event.forgottenInFile;
    }

private:
    struct Event {
        int key;
        std::int64_t reserved;
        bool confirmed;
        std::int64_t completed;
        bool forgotten;
        bool forgottenInFile;
    };

    void write()
    {
        for (Event& event : m_log)
            event.forgottenInFile = event.forgotten;
    }

    bool m_labels;
    std::vector<Event> m_log;
};

class PrintGuardModel : public ::testing::TestWithParam<std::tuple<bool, unsigned>> {
protected:
    static PrintGuard::Date date(std::int64_t now) { return PrintGuard::Date(milliseconds(1'700'000'000'000 + now)); }

    /// Mostly small steps forward, some of exactly a limit, and now and then a clock that is set back.
    std::int64_t step()
    {
        static constexpr std::int64_t steps[] = {0, 1, 4'999, 5'000, 5'001, 84'999, 85'000, 89'999, 90'000, 90'001};
        switch (random(8)) {
        case 0:
            return steps[random(std::size(steps))];
        case 1:
            return -static_cast<std::int64_t>(random(30'000));
        default:
            return static_cast<std::int64_t>(random(4'000));
        }
    }
    unsigned random(std::size_t bound) { return static_cast<unsigned>(m_engine() % bound); }

    std::mt19937 m_engine{std::get<1>(GetParam())};
};

TEST_P(PrintGuardModel, AgreesWithTheNaiveGuardAlsoAcrossRestarts)
{
    const auto [labels, seed] = GetParam();
    SCOPED_TRACE("seed " + std::to_string(seed));
    const unsigned keys = labels ? 40 : 12;
    auto files = std::make_unique<FaultyFileSystem>();
    auto guard = std::make_unique<PrintGuard>(labels, directory, *files);
    NaiveGuard naive(labels);
    std::int64_t now = 0;
    for (int i = 0; i < 600; ++i) {
        now += step();
        const unsigned key = random(keys);
        const QString text = QString::number(key);
        if (random(3) != 0) {
            const bool requestScoped = random(3) == 0;
            const QString expected = naive.reserve(static_cast<int>(key), now, requestScoped);
            ASSERT_EQ(outcome(*guard, text, date(now), requestScoped), expected) << "step " << i;
        } else {
            naive.transferred(static_cast<int>(key), now);
            guard->transferred(text, date(now));
        }
        if (random(10) == 0) {
            const Disk disk = files->diskAfterCrash(files->operations(), Loss::number(static_cast<int>(random(6))));
            naive.restart();
            guard.reset();
            files = std::make_unique<FaultyFileSystem>(disk);
            guard = std::make_unique<PrintGuard>(labels, directory, *files);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Seeds, PrintGuardModel, ::testing::Combine(::testing::Bool(), ::testing::Range(1U, 21U)), [](const auto& info) {
        return std::string(std::get<0>(info.param) ? "Labels" : "Receipts") + std::to_string(std::get<1>(info.param));
    });

} // namespace
