#include "EventLoop.h"
#include "HeldWrite.h"
#include "base/QtQueue.h"

#include <atomic>
#include <fcntl.h>
#include <optional>
#include <random>
#include <thread>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

/// Pauses of all lengths that a thread may lose between two steps.
void pause(unsigned int steps)
{
    for (std::atomic<unsigned int> step = 0; step < steps; ++step) { }
}

TEST(QtQueueWake, HasAPipeUntilTheLastThreadHasWrittenToIt)
{
    auto queue = std::make_unique<QtQueue>();
    HeldWrite held;
    bool hasThrown = false;
    std::thread giver([&held, &hasThrown, &given = *queue] {
        held.holdNext();
        try {
            given.async([] {});
        } catch (const std::exception&) {
            hasThrown = true;
        }
    });
    const int pipe = held.waitForDescriptor();
    queue.reset();
    EXPECT_TRUE(isOpen(pipe)) << "the next file could get the number, and the byte";
    held.release();
    giver.join();
    EXPECT_FALSE(hasThrown);
    EXPECT_FALSE(isOpen(pipe));
}

/// Each round a queue goes as soon as its last task has run, while those who gave the tasks may still be waking it.
TEST(QtQueueWake, MayComeWhileTheQueueGoes)
{
    constexpr unsigned seed = 7;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&random](unsigned int most) { return std::uniform_int_distribution(0U, most)(random); };
    for (int round = 0; round < 200; ++round) {
        auto queue = std::make_unique<QtQueue>();
        const unsigned int threads = 1 + upTo(3);
        unsigned int ran = 0;
        std::vector<std::thread> givers;
        for (unsigned int i = 0; i < threads; ++i) {
            givers.emplace_back([&ran, &given = *queue, steps = upTo(2000)] {
                pause(steps);
                given.async([&ran] { ++ran; });
            });
        }
        while (ran < threads) {
            queue->async([] {}); // so that the givers' tasks run although their own byte is still to come
            QCoreApplication::processEvents();
        }
        pause(upTo(200));
        queue.reset();
        for (std::thread& giver : givers)
            giver.join();
    }
}

} // namespace
