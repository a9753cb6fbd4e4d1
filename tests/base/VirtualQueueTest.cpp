#include "support/VirtualQueue.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class VirtualQueues : public ::testing::Test {
protected:
    SerialQueue::Task note(int number)
    {
        return [this, number] { order.push_back(number); };
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::unique_ptr<VirtualQueue> first = std::make_unique<VirtualQueue>(clock);
    std::unique_ptr<VirtualQueue> second = std::make_unique<VirtualQueue>(clock);
    std::vector<int> order;
};

TEST_F(VirtualQueues, RunNothingByThemselves)
{
    first->async(note(1));
    const Timer timer = first->after(0s, note(2));
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(clock->pending(), 2U);
    EXPECT_EQ(clock->runDue(), 2);
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST_F(VirtualQueues, RunTasksInTheOrderGivenAcrossQueues)
{
    first->async(note(1));
    second->async(note(2));
    first->async(note(3));
    clock->runDue();
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(VirtualQueues, RunWhatTasksGiveRiseToInTheSameRun)
{
    first->async([this] {
        order.push_back(1);
        second->async(note(3));
        order.push_back(2);
    });
    EXPECT_EQ(clock->runDue(), 2);
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(VirtualQueues, RunTimersAtTheirTimeAndNotBefore)
{
    const Timer late = first->after(20s, note(2));
    const Timer early = first->after(10s, note(1));
    clock->advance(10s - 1ns);
    EXPECT_TRUE(order.empty());
    clock->advance(1ns);
    EXPECT_EQ(order, std::vector{1});
    clock->advance(10s);
    EXPECT_EQ(order, (std::vector{1, 2}));
    EXPECT_EQ(clock->elapsed(), 20s);
}

TEST_F(VirtualQueues, ShowEachTaskTheTimeItIsDue)
{
    const auto begin = first->now();
    const auto date = first->date();
    std::vector<SerialQueue::Duration> times;
    Timer inner;
    const Timer outer = first->after(3s, [&] {
        times.push_back(first->now() - begin);
        inner = second->after(4s, [&] { times.push_back(second->now() - begin); });
    });
    clock->advance(60s);
    EXPECT_EQ(times, (std::vector<SerialQueue::Duration>{3s, 7s}));
    EXPECT_EQ(first->date() - date, 60s);
}

TEST_F(VirtualQueues, RunNegativeDelaysNowAndTheLongestNever)
{
    const Timer negative = first->after(-5s, note(1));
    clock->advance(1s);
    const Timer longest = first->after(SerialQueue::Duration::max(), note(2));
    clock->advance(std::chrono::hours(24 * 365));
    EXPECT_EQ(order, std::vector{1});
}

TEST_F(VirtualQueues, DoNotRunCancelledTimers)
{
    Timer cancelled = first->after(1s, note(1));
    cancelled.cancel();
    cancelled.cancel();
    {
        const Timer dropped = first->after(1s, note(2));
    }
    Timer replaced = first->after(1s, note(3));
    replaced = first->after(2s, note(4));
    clock->advance(10s);
    EXPECT_EQ(order, std::vector{4});
}

TEST_F(VirtualQueues, LetATimerCancelAnotherOfTheSameInstant)
{
    Timer other;
    const Timer one = first->after(1s, [&] {
        order.push_back(1);
        other.cancel();
    });
    other = first->after(1s, note(2));
    clock->advance(1s);
    EXPECT_EQ(order, std::vector{1});
}

TEST_F(VirtualQueues, DropTheirTasksWhenTheyGoAndLeaveOthers)
{
    first->async(note(1));
    second->async(note(2));
    Timer timer = first->after(1s, note(3));
    first.reset();
    clock->advance(2s);
    timer.cancel();
    EXPECT_EQ(order, std::vector{2});
}

TEST_F(VirtualQueues, SurviveDroppedTasksThatHoldTimers)
{
    auto timers = std::make_shared<std::vector<Timer>>();
    for (int i = 0; i < 5; ++i)
        timers->push_back(first->after(std::chrono::seconds(i), note(i)));
    for (int i = 0; i < 5; ++i)
        first->async([copy = timers] {});
    std::weak_ptr<std::vector<Timer>> alive = timers;
    timers.reset();
    first.reset();
    EXPECT_TRUE(alive.expired());
    EXPECT_EQ(clock->pending(), 0U);
}

TEST_F(VirtualQueues, NeverGoBackWhenATaskAdvancesTheClock)
{
    const Timer outer = first->after(1s, [&] { clock->advance(100s); });
    clock->advance(2s);
    EXPECT_EQ(clock->elapsed(), 101s);
}

TEST_F(VirtualQueues, KnowWhichOneIsCurrent)
{
    EXPECT_TRUE(first->isCurrent());
    first->async([this] {
        EXPECT_TRUE(first->isCurrent());
        EXPECT_FALSE(second->isCurrent());
        order.push_back(1);
    });
    clock->runDue();
    EXPECT_EQ(order, std::vector{1});
    EXPECT_TRUE(second->isCurrent());
}

TEST_F(VirtualQueues, JumpToTheNextEvent)
{
    const Timer timer = first->after(5s, note(1));
    EXPECT_TRUE(clock->runNext());
    EXPECT_EQ(clock->elapsed(), 5s);
    EXPECT_FALSE(clock->runNext());
}

TEST_F(VirtualQueues, HaveAWallClockOfTheirOwn)
{
    const auto steady = first->now();
    const std::chrono::system_clock::time_point date{std::chrono::seconds(1)};
    clock->setDate(date);
    EXPECT_EQ(first->date(), date);
    EXPECT_EQ(first->now(), steady);
    clock->advance(2s);
    EXPECT_EQ(second->date(), date + 2s);
}

} // namespace
