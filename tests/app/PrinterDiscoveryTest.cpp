#include "app/PrinterDiscovery.h"

#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const USBPrinter usbPrinter{QStringLiteral("usb://Acme/TM?serial=1"), QStringLiteral("Acme TM")};

} // namespace

TEST(PrinterDiscoveryTest, ABlockingListingRunsOnTheWorkerAndCompletesOnTheMainQueue)
{
    auto clock = std::make_shared<VirtualClock>();
    VirtualQueue main(clock);
    VirtualQueue worker(clock);
    std::optional<std::vector<USBPrinter>> result;
    bool onWorker = false;
    bool onMain = false;
    const auto discover = discoverOn(worker, main, [&] {
        onWorker = worker.isCurrent() && !main.isCurrent();
        return std::vector{usbPrinter};
    });
    discover([&](std::optional<std::vector<USBPrinter>> printers) {
        onMain = main.isCurrent() && !worker.isCurrent();
        result = std::move(printers);
    });
    EXPECT_FALSE(onWorker) << "the caller must not wait";
    clock->runDue();
    EXPECT_TRUE(onWorker);
    EXPECT_TRUE(onMain);
    EXPECT_EQ(result, std::vector{usbPrinter});
}

TEST(PrinterDiscoveryTest, ABlockingListingThatThrowsCompletesWithoutAResult)
{
    auto clock = std::make_shared<VirtualClock>();
    VirtualQueue main(clock);
    VirtualQueue worker(clock);
    std::optional<std::optional<std::vector<USBPrinter>>> result;
    discoverOn(worker, main, []() -> std::vector<USBPrinter> {
        throw std::system_error(ENOENT, std::generic_category());
    })([&](const std::optional<std::vector<USBPrinter>>& printers) { result = printers; });
    clock->runDue();
    ASSERT_TRUE(result);
    EXPECT_FALSE(*result);
}
