#include "base/QtQueue.h"
#include "EventLoop.h"

#include <atomic>
#include <thread>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class QtQueues : public ::testing::Test {
protected:
    SerialQueue::Task note(int number)
    {
        return [this, number] { order.push_back(number); };
    }

    QtQueue queue;
    std::vector<int> order;
};

TEST_F(QtQueues, RunTasksLaterInTheOrderGiven)
{
    for (int i = 0; i < 100; ++i)
        queue.async(note(i));
    EXPECT_TRUE(order.empty());
    runEventsUntil([this] { return order.size() == 100; });
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(QtQueues, RunTasksThatTasksGive)
{
    queue.async([this] {
        order.push_back(1);
        queue.async(note(3));
        order.push_back(2);
    });
    runEventsUntil([this] { return order.size() == 3; });
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(QtQueues, LetTimersRunBetweenTasksThatKeepComing)
{
    bool fired = false;
    std::function<void()> again = [&] {
        if (!fired)
            queue.async(again);
    };
    const Timer timer = queue.after(1ms, [&] { fired = true; });
    queue.async(again);
    runEventsUntil([&] { return fired; });
}

TEST_F(QtQueues, RunTimersNeverEarly)
{
    for (const SerialQueue::Duration delay : {SerialQueue::Duration(0), SerialQueue::Duration(1),
             SerialQueue::Duration(1ms - 1ns), SerialQueue::Duration(1ms), SerialQueue::Duration(1ms + 1ns),
             SerialQueue::Duration(7'300'000ns), SerialQueue::Duration(20ms)}) {
        bool fired = false;
        const auto begin = queue.now();
        std::chrono::steady_clock::time_point at;
        const Timer timer = queue.after(delay, [&] {
            at = queue.now();
            fired = true;
        });
        EXPECT_FALSE(fired) << "never within the call";
        runEventsUntil([&] { return fired; });
        EXPECT_GE(at - begin, delay);
    }
}

TEST_F(QtQueues, RunNegativeDelaysSoonButNotWithinTheCall)
{
    const Timer timer = queue.after(-1s, note(1));
    EXPECT_TRUE(order.empty());
    runEventsUntil([this] { return !order.empty(); });
}

TEST_F(QtQueues, DoNotRunTimersOfManyYearsAtOnce)
{
    const Timer month = queue.after(std::chrono::hours(24 * 30), note(1)); // more milliseconds than an int holds
    const Timer longest = queue.after(SerialQueue::Duration::max(), note(2));
    const Timer soon = queue.after(5ms, note(3));
    runEventsUntil([this] { return !order.empty(); });
    QCoreApplication::processEvents();
    EXPECT_EQ(order, std::vector{3});
}

TEST_F(QtQueues, DoNotRunCancelledTimers)
{
    Timer cancelled = queue.after(1ms, note(1));
    Timer replaced = queue.after(1ms, note(2));
    {
        const Timer dropped = queue.after(1ms, note(3));
    }
    const Timer last = queue.after(10ms, note(5));
    cancelled.cancel();
    replaced = queue.after(5ms, note(4));
    runEventsUntil([this] { return order.size() == 2; });
    EXPECT_EQ(order, (std::vector{4, 5}));
}

TEST_F(QtQueues, LetATimerDestroyItself)
{
    Timer timer;
    const auto held = std::make_shared<int>(7);
    timer = queue.after(1ms, [&, held] {
        timer.cancel();
        order.push_back(*held);
    });
    runEventsUntil([this] { return !order.empty(); });
    EXPECT_EQ(order, std::vector{7});
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(QtQueues, LetGoOfATimersTaskOnceItHasRun)
{
    const auto held = std::make_shared<int>();
    const Timer timer = queue.after(1ms, [this, held] { order.push_back(1); });
    runEventsUntil([this] { return !order.empty(); });
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(QtQueues, LetATimerStartItsSuccessor)
{
    Timer timer;
    std::function<void()> again = [&] {
        order.push_back(1);
        if (order.size() < 5)
            timer = queue.after(1ms, again);
    };
    timer = queue.after(1ms, again);
    runEventsUntil([this] { return order.size() == 5; });
}

TEST_F(QtQueues, TakeTasksFromManyThreadsEachInItsOrder)
{
    constexpr std::size_t threadCount = 4;
    constexpr int tasks = 2000;
    std::vector<std::pair<std::size_t, int>> seen;
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::size_t t = 0; t < threadCount; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < tasks; ++i)
                queue.async([&seen, t, i] { seen.emplace_back(t, i); });
        });
    }
    runEventsUntil([&] { return seen.size() == threadCount * tasks; });
    for (std::thread& thread : threads)
        thread.join();
    int next[threadCount] = {};
    for (const auto& [thread, number] : seen)
        EXPECT_EQ(number, next[thread]++);
}

TEST_F(QtQueues, KnowTheirThread)
{
    EXPECT_TRUE(queue.isCurrent());
    bool current = true;
    std::thread([&] { current = queue.isCurrent(); }).join();
    EXPECT_FALSE(current);
}

TEST_F(QtQueues, HaveTheRealClocks)
{
    const auto steady = std::chrono::steady_clock::now();
    const auto date = std::chrono::system_clock::now();
    const auto now = queue.now();
    EXPECT_GE(now, steady);
    EXPECT_LE(now, std::chrono::steady_clock::now());
    EXPECT_LE(std::chrono::abs(queue.date() - date), 1h);
}

TEST(QtQueue, DropsWaitingTasksWhenItGoes)
{
    bool ran = false;
    const auto held = std::make_shared<int>();
    {
        QtQueue queue;
        queue.async([&ran, held] { ran = true; });
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
    QCoreApplication::processEvents();
    EXPECT_FALSE(ran);
}

TEST(QtQueue, RunsNoFurtherTaskOnceClosed)
{
    QtQueue queue;
    std::vector<int> order;
    queue.async([&] {
        order.push_back(1);
        queue.close();
    });
    queue.async([&] { order.push_back(2); });
    runEventsUntil([&] { return !order.empty(); });
    queue.async([&] { order.push_back(3); });
    QCoreApplication::processEvents();
    EXPECT_EQ(order, std::vector{1});
}

/// Posts another task when it dies, as an abandoned answer may.
class PostsAtTheEnd {
public:
    explicit PostsAtTheEnd(SerialQueue& queue)
        : m_queue(queue)
    {
    }
    PostsAtTheEnd(const PostsAtTheEnd&) = delete;
    PostsAtTheEnd& operator=(const PostsAtTheEnd&) = delete;
    ~PostsAtTheEnd()
    {
        m_queue.async([] {});
    }

private:
    SerialQueue& m_queue;
};

TEST(QtQueue, SurvivesDroppedTasksThatPostOthers)
{
    std::weak_ptr<PostsAtTheEnd> alive;
    {
        QtQueue queue;
        for (int i = 0; i < 3; ++i) {
            const auto posts = std::make_shared<PostsAtTheEnd>(queue);
            alive = posts;
            queue.async([posts] {});
        }
    }
    EXPECT_TRUE(alive.expired());
}

} // namespace
