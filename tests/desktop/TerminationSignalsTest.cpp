#include "app/TerminationSignals.h"
#include "base/EventLoop.h"

#include <QEventLoop>
#include <QTimer>
#include <csignal>
#include <memory>
#include <thread>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class TerminationSignal : public ::testing::TestWithParam<int> { };

TEST_P(TerminationSignal, IsTurnedIntoACallOnTheEventLoop)
{
    int calls = 0;
    const TerminationSignals signals([&] { ++calls; });
    std::raise(GetParam());
    EXPECT_EQ(calls, 0) << "not within the handler";
    runEventsUntil([&] { return calls > 0; });
    EXPECT_EQ(calls, 1);
}

INSTANTIATE_TEST_SUITE_P(Each, TerminationSignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST(TerminationSignalsTest, TakeManyThatComeTogetherForOne)
{
    int calls = 0;
    const TerminationSignals signals([&] { ++calls; });
    for (int i = 0; i < 100'000; ++i) // more than the pipe holds
        std::raise(SIGTERM);
    runEventsUntil([&] { return calls > 0; });
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 1);
}

TEST(TerminationSignalsTest, ReachTheMainThreadFromWhicheverThreadGotTheSignal)
{
    std::thread::id thread;
    const TerminationSignals signals([&] { thread = std::this_thread::get_id(); });
    std::thread([] { std::raise(SIGTERM); }).join();
    runEventsUntil([&] { return thread != std::thread::id(); });
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST(TerminationSignalsTest, AreGivenBackAtTheEnd)
{
    struct sigaction before { };
    ::sigaction(SIGTERM, nullptr, &before);
    {
        const TerminationSignals signals([] {});
        struct sigaction during { };
        ::sigaction(SIGTERM, nullptr, &during);
        EXPECT_NE(during.sa_handler, before.sa_handler);
    }
    struct sigaction after { };
    ::sigaction(SIGTERM, nullptr, &after);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(TerminationSignalsTest, LeaveASignalIgnoredThatTheParentHadIgnored)
{
    std::signal(SIGHUP, SIG_IGN);
    int calls = 0;
    {
        const TerminationSignals signals([&] { ++calls; });
        std::raise(SIGHUP);
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit);
        loop.exec();
    }
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

TEST(TerminationSignalsTest, DoNotDisturbABlockingCall)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    int calls = 0;
    const TerminationSignals signals([&] { ++calls; });
    std::thread writer([&, reader = ::pthread_self()] {
        for (int i = 0; i < 20; ++i) {
            ::pthread_kill(reader, SIGTERM);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(::write(ends[1], "x", 1), 1);
    });
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1) << "interrupted";
    writer.join();
    runEventsUntil([&] { return calls > 0; });
    ::close(ends[0]);
    ::close(ends[1]);
}

} // namespace
