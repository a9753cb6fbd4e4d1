#include "app/TrayHost.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

namespace {

TEST(MenuBarHost, SaysLaterAndOnceThatThereIsAPlace)
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue queue(clock);
    int appearances = 0;
    const auto host = TrayHost::make(queue, [&appearances] { ++appearances; });
    EXPECT_EQ(appearances, 0);
    clock->advance(std::chrono::hours(1));
    EXPECT_EQ(appearances, 1);
}

TEST(MenuBarHost, SaysNothingOnceItIsGone)
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue queue(clock);
    int appearances = 0;
    TrayHost::make(queue, [&appearances] { ++appearances; }).reset();
    clock->runDue();
    EXPECT_EQ(appearances, 0);
}

} // namespace

} // namespace harrowmint::test
