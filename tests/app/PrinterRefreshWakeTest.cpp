#include "app/PrinterRefreshFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class PrinterRefreshWakeTest : public PrinterRefreshFixture { };

} // namespace

TEST_F(PrinterRefreshWakeTest, StartsAgainAfterAWakeWhatTheWakeHasEndedWithoutAWord)
{
    refresh->refreshLabels();
    clock->advance(1s);
    refresh->restartDevices();
    EXPECT_EQ(view.refreshing, (Refreshing{.devices = true}));
    discovery.usb.at(0)({{usbPrinter}});
    ASSERT_EQ(discovery.labels.size(), 2u);
    ASSERT_EQ(discovery.lowEnergy.size(), 2u);
    ASSERT_EQ(discovery.paired.size(), 2u);
    clock->advance(PrinterRefresh::bluetoothLimit - 1ns); // the limit of the first has passed
    EXPECT_EQ(view.refreshing, (Refreshing{.receipts = true, .labels = true}));
    discovery.labels.at(0)(std::vector<USBPrinter>());
    discovery.lowEnergy.at(0)(std::vector<USBPrinter>());
    EXPECT_EQ(view.refreshing, (Refreshing{.receipts = true, .labels = true})) << "what was given up ends nothing";
    discovery.labels.at(1)({{labelPrinter}});
    discovery.lowEnergy.at(1)({{lePrinter}});
    discovery.paired.at(1)({});
    EXPECT_EQ(view.labels, Titles{labelPrinter.name});
    EXPECT_EQ(view.receipts, Titles{QStringLiteral("MPT-II (Bluetooth LE)")});
    EXPECT_EQ(view.refreshing, Refreshing{});
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(PrinterRefreshWakeTest, ListsUsbAgainAfterAWakeInPlaceOfTheListingThatRuns)
{
    refresh->refreshDevices();
    clock->advance(1s);
    refresh->restartDevices();
    ASSERT_EQ(discovery.usb.size(), 2u);
    discovery.usb.at(0)(std::vector<USBPrinter>());
    EXPECT_TRUE(view.activities.isEmpty());
    clock->advance(PrinterRefresh::usbLimit - 1ns);
    EXPECT_TRUE(view.refreshing.devices);
    EXPECT_TRUE(discovery.labels.empty()) << "the listing that was given up begins nothing either";
    discovery.usb.at(1)({{usbPrinter}});
    EXPECT_EQ(view.usb, Titles{usbPrinter.name});
    EXPECT_EQ(discovery.labels.size(), 1u);
}

TEST_F(PrinterRefreshWakeTest, LeavesWhatRunsAloneAfterAWakeWhileAJobRuns)
{
    refresh->refreshDevices();
    busy = true;
    refresh->restartDevices();
    EXPECT_EQ(discovery.usb.size(), 1u);
    discovery.usb.at(0)({{usbPrinter}});
    EXPECT_EQ(view.usb, Titles{usbPrinter.name});
}
