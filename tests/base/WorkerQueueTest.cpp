#include "base/QtQueue.h"

#include <future>
#include <pthread.h>
#include <thread>

using namespace harrowmint;
using namespace std::chrono_literals;

namespace {

/// The result of `call` on `queue`.
template <class Call>
auto resultOn(SerialQueue& queue, Call call)
{
    const auto promise = std::make_shared<std::promise<decltype(call())>>();
    auto result = promise->get_future();
    queue.async([promise, call] { promise->set_value(call()); });
    return result.get();
}

TEST(WorkerQueue, RunsItsTasksOnOneThreadOfItsOwn)
{
    WorkerQueue queue(QStringLiteral("com.example.worker"));
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_TRUE(resultOn(queue, [&] { return queue.isCurrent(); }));
    const auto first = resultOn(queue, [] { return ::pthread_self(); });
    EXPECT_TRUE(::pthread_equal(first, resultOn(queue, [] { return ::pthread_self(); })));
    EXPECT_FALSE(::pthread_equal(first, ::pthread_self()));
}

TEST(WorkerQueue, RunsTasksOfManyThreadsOneAtATime)
{
    WorkerQueue queue(QStringLiteral("com.example.worker"));
    constexpr std::size_t threadCount = 4;
    constexpr int tasks = 1000;
    std::vector<std::pair<std::size_t, int>> seen; // touched on the worker alone
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::size_t t = 0; t < threadCount; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < tasks; ++i)
                queue.async([&seen, t, i] { seen.emplace_back(t, i); });
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const auto result = resultOn(queue, [&] { return seen; });
    ASSERT_EQ(result.size(), threadCount * tasks);
    int next[threadCount] = {};
    for (const auto& [thread, number] : result)
        EXPECT_EQ(number, next[thread]++);
}

TEST(WorkerQueue, RunsTimersNeverEarly)
{
    WorkerQueue queue(QStringLiteral("com.example.worker"));
    std::promise<std::chrono::nanoseconds> waited;
    Timer timer; // touched on the worker alone
    queue.async([&] {
        const auto begin = queue.now();
        timer = queue.after(15ms, [&, begin] { waited.set_value(queue.now() - begin); });
    });
    EXPECT_GE(waited.get_future().get(), 15ms);
    resultOn(queue, [&] {
        timer.cancel();
        return 0;
    });
}

TEST(WorkerQueue, DoesNotRunCancelledTimers)
{
    WorkerQueue queue(QStringLiteral("com.example.worker"));
    std::vector<int> order; // touched on the worker alone
    std::promise<void> done;
    Timer first;
    Timer second;
    queue.async([&] {
        first = queue.after(1ms, [&] { order.push_back(1); });
        second = queue.after(10ms, [&] {
            order.push_back(2);
            done.set_value();
        });
        first.cancel();
    });
    done.get_future().wait();
    EXPECT_EQ(resultOn(queue,
                  [&] {
                      second.cancel();
                      return order;
                  }),
        std::vector{2});
}

/// Whether `queue` already drops what it is given.
bool dropsTasks(SerialQueue& queue)
{
    const auto held = std::make_shared<int>();
    queue.async([held] {});
    return held.use_count() == 1;
}

TEST(WorkerQueue, WaitsForTheRunningTaskAndDropsTheOthers)
{
    bool firstEnded = false;
    std::atomic<bool> secondRan = false;
    const auto held = std::make_shared<int>();
    auto queue = std::make_unique<WorkerQueue>(QStringLiteral("com.example.worker"));
    std::promise<void> started;
    std::promise<void> bothGiven;
    queue->async([&, &running = *queue] {
        started.set_value();
        bothGiven.get_future().wait();
        while (!dropsTasks(running))
            std::this_thread::yield();
        firstEnded = true;
    });
    queue->async([&secondRan, held] { secondRan = true; });
    started.get_future().wait();
    bothGiven.set_value();
    queue.reset();
    EXPECT_TRUE(firstEnded);
    EXPECT_FALSE(secondRan);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(WorkerQueue, MayGoAsSoonAsItIsMade)
{
    for (int i = 0; i < 50; ++i)
        const WorkerQueue queue(QStringLiteral("com.example.worker"));
}

TEST(WorkerQueue, NamesItsThreadAfterTheLastPartOfItsLabel)
{
    WorkerQueue queue(QStringLiteral("com.example.printer.usb"));
    const QByteArray name = resultOn(queue, [] {
        char buffer[64] = {};
        ::pthread_getname_np(::pthread_self(), buffer, sizeof buffer);
        return QByteArray(buffer);
    });
    EXPECT_EQ(name, "usb");
}

} // namespace
