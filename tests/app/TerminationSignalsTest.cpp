#include "app/TerminationSignals.h"

#include <QCoreApplication>
#include <csignal>
#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

struct sigaction dispositionOf(int signal)
{
    struct sigaction result = {};
    ::sigaction(signal, nullptr, &result);
    return result;
}

} // namespace

class TerminationSignalsTest : public ::testing::TestWithParam<int> { };

TEST_P(TerminationSignalsTest, BecomeACallOfTheEventLoop)
{
    int asked = 0;
    const TerminationSignals signals([&] { ++asked; });
    ASSERT_EQ(::raise(GetParam()), 0);
    EXPECT_EQ(asked, 0) << "never within the handler";
    while (asked == 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QCoreApplication::processEvents();
    EXPECT_EQ(asked, 1);
}

TEST_P(TerminationSignalsTest, DoWhatTheyDidBeforeWhenItIsGone)
{
    const auto before = dispositionOf(GetParam()).sa_handler;
    {
        const TerminationSignals signals([] {});
        EXPECT_NE(dispositionOf(GetParam()).sa_handler, before);
    }
    EXPECT_EQ(dispositionOf(GetParam()).sa_handler, before);
}

TEST_P(TerminationSignalsTest, StayIgnoredWhenTheyWere)
{
    const auto before = std::signal(GetParam(), SIG_IGN);
    {
        const TerminationSignals signals([] { FAIL(); });
        ASSERT_EQ(::raise(GetParam()), 0);
        QCoreApplication::processEvents();
    }
    std::signal(GetParam(), before);
}

INSTANTIATE_TEST_SUITE_P(All, TerminationSignalsTest, ::testing::Values(SIGTERM, SIGINT, SIGHUP));
