#include "app/UnfinishedJobs.h"

#include <future>
#include <gtest/gtest.h>

using namespace harrowmint;
using namespace std::chrono_literals;

namespace {

class CountedActivity final : public ProcessActivity {
public:
    std::unique_ptr<Token> begin(const QString& reason) override
    {
        struct Counted final : Token {
            explicit Counted(int& alive)
                : m_alive(alive)
            {
                ++m_alive;
            }
            ~Counted() override { --m_alive; }
            int& m_alive;
        };
        lastReason = reason;
        return std::make_unique<Counted>(alive);
    }

    int alive = 0;
    QString lastReason;
};

} // namespace

TEST(UnfinishedJobs, PassTheActivityOnToTheSystem)
{
    const auto system = std::make_shared<CountedActivity>();
    UnfinishedJobs jobs(system);
    auto token = jobs.begin(QStringLiteral("Sending a printer job"));
    EXPECT_EQ(system->lastReason, QStringLiteral("Sending a printer job"));
    EXPECT_EQ(system->alive, 1);
    token.reset();
    EXPECT_EQ(system->alive, 0);
}

TEST(UnfinishedJobs, AreNotWaitedForWhenThereAreNone)
{
    UnfinishedJobs jobs(nullptr);
    EXPECT_FALSE(jobs.waitUntilNone(1h));
    jobs.begin({}).reset();
    EXPECT_FALSE(jobs.waitUntilNone(1h));
}

TEST(UnfinishedJobs, AreWaitedForUntilTheLastHasEnded)
{
    UnfinishedJobs jobs(nullptr);
    auto first = jobs.begin({});
    auto second = jobs.begin({});
    auto waited = std::async(std::launch::async, [&jobs] { return jobs.waitUntilNone(1h); });
    first.reset();
    EXPECT_EQ(waited.wait_for(50ms), std::future_status::timeout);
    second.reset();
    EXPECT_TRUE(waited.get());
}

TEST(UnfinishedJobs, AreWaitedForNoLongerThanTheLimit)
{
    UnfinishedJobs jobs(nullptr);
    const auto token = jobs.begin({});
    EXPECT_TRUE(jobs.waitUntilNone(1ms));
}
