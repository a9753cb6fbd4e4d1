#include "app/Shutdown.h"
#include "support/VirtualQueue.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class Shutdowns : public ::testing::Test, protected ShutdownEvents {
protected:
    void refuseJobs() override { log.emplace_back("refuse"); }
    bool cancelPairing() override
    {
        log.emplace_back("cancel");
        return hasSheet;
    }
    bool isBusy() const override { return busy; }
    void end() override { log.emplace_back("end"); }

    void endJob()
    {
        busy = false;
        shutdown.jobEnded();
    }
    [[nodiscard]] bool hasEnded() const { return !log.empty() && log.back() == "end"; }

    bool busy = false;
    bool hasSheet = false;
    std::vector<std::string> log;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    Shutdown shutdown{queue, *this};
};

using Log = std::vector<std::string>;

TEST_F(Shutdowns, DoNothingUntilTheyAreAskedFor)
{
    clock->advance(24h);
    shutdown.jobEnded();
    clock->advance(24h);
    EXPECT_EQ(log, Log());
    EXPECT_FALSE(shutdown.isRequested());
}

TEST_F(Shutdowns, EndAnIdleAgentAtOnceButNotWithinTheRequest)
{
    shutdown.request();
    EXPECT_EQ(log, (Log{"refuse", "cancel"}));
    EXPECT_TRUE(shutdown.isRequested());
    clock->runDue();
    EXPECT_EQ(log, (Log{"refuse", "cancel", "end"}));
}

TEST_F(Shutdowns, LeaveThePageOfAnOpenSheetTimeForItsAnswer)
{
    hasSheet = true;
    shutdown.request();
    clock->advance(199ms);
    EXPECT_FALSE(hasEnded());
    clock->advance(1ms);
    EXPECT_TRUE(hasEnded());
}

TEST_F(Shutdowns, LetTheRunningJobFinishAndItsAnswerLeave)
{
    busy = true;
    shutdown.request();
    EXPECT_EQ(log, (Log{"refuse", "cancel"}));
    clock->advance(60s);
    EXPECT_FALSE(hasEnded());
    endJob();
    clock->advance(199ms);
    EXPECT_FALSE(hasEnded());
    clock->advance(1ms);
    EXPECT_TRUE(hasEnded());
}

TEST_F(Shutdowns, WaitForTheJobAndNotForTheSheetThatWasOpenAsWell)
{
    busy = true;
    hasSheet = true;
    shutdown.request();
    clock->advance(10s);
    EXPECT_FALSE(hasEnded());
}

TEST_F(Shutdowns, EndWhenAJobDoesNotEndWithinItsLimit)
{
    busy = true;
    shutdown.request();
    clock->advance(Shutdown::jobTime - 1ms);
    EXPECT_FALSE(hasEnded());
    clock->advance(1ms);
    EXPECT_TRUE(hasEnded());
}

TEST_F(Shutdowns, GiveAJobThatEndsAtTheLimitNoSecondEnd)
{
    busy = true;
    shutdown.request();
    clock->advance(Shutdown::jobTime - 1ms);
    endJob();
    clock->advance(1h);
    EXPECT_EQ(log, (Log{"refuse", "cancel", "end"}));
}

TEST_F(Shutdowns, HeedTheFirstRequestAlone)
{
    busy = true;
    shutdown.request();
    clock->advance(70s);
    shutdown.request();
    shutdown.request();
    clock->advance(4999ms);
    EXPECT_FALSE(hasEnded());
    clock->advance(1ms);
    EXPECT_EQ(log, (Log{"refuse", "cancel", "end"}));
    shutdown.request();
    clock->advance(1h);
    EXPECT_EQ(log, (Log{"refuse", "cancel", "end"}));
}

TEST(Shutdown, WithoutAJobTakesLessThanASecond)
{
    EXPECT_LT(Shutdown::replyTime, 1s);
}

} // namespace
