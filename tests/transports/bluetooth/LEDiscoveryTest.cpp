// Looking for LE printers, for receipts and labels alike.
#include "LEExpectations.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class LEDiscovering : public BothKinds {
protected:
    /// A printer in the air that a scan sees under `name`.
    FakePeripheral& advertise(int number, const QString& name)
    {
        FakePeripheral& printer = rig.world.addPrinter(number);
        printer.name.clear();
        printer.advertisedName = name;
        printer.advertising = true;
        return printer;
    }

    std::vector<USBPrinter> discover(const std::optional<QString>& selected = std::nullopt)
    {
        rig.found.reset();
        rig.discover(selected);
        rig.clock->advance(8s);
        EXPECT_TRUE(rig.found.has_value());
        return rig.found.value_or(std::vector<USBPrinter>{});
    }

    QStringList names(const std::vector<USBPrinter>& printers)
    {
        QStringList list;
        for (const USBPrinter& printer : printers)
            list += printer.name;
        return list;
    }
};

INSTANTIATE_TEST_SUITE_P(Both, LEDiscovering, testing::Values(Kind::receipts, Kind::labels),
    [](const auto& each) { return nameOf(each.param); });

TEST_P(LEDiscovering, ReportsWhatAdvertisesAfter8SecondsSortedByName)
{
    advertise(2, QStringLiteral("Counter"));
    advertise(3, QStringLiteral("Bar"));
    advertise(4, QStringLiteral("bar"));
    rig.discover();
    rig.clock->advance(8s - 1ms);
    EXPECT_FALSE(rig.found);
    EXPECT_TRUE(rig.world.scanning);
    rig.clock->advance(1ms);
    ASSERT_TRUE(rig.found);
    EXPECT_EQ(*rig.found,
        (std::vector<USBPrinter>{{portOf(3), QStringLiteral("Bar")}, {portOf(2), QStringLiteral("Counter")},
            {portOf(4), QStringLiteral("bar")}}));
    EXPECT_FALSE(rig.world.scanning);
}

TEST_P(LEDiscovering, PrefersTheAdvertisedNameToTheSystems)
{
    advertise(2, QStringLiteral("Advertised")).name = QStringLiteral("System's");
    advertise(3, QString()).name = QStringLiteral("Only the system's");
    EXPECT_EQ(names(discover()), (QStringList{QStringLiteral("Advertised"), QStringLiteral("Only the system's")}));
}

TEST_P(LEDiscovering, LeavesOutWhatHasNoName)
{
    advertise(2, QString());
    EXPECT_TRUE(discover().empty());
}

TEST_P(LEDiscovering, ReportsAtMost50)
{
    for (int i = 2; i < 62; ++i)
        advertise(i, QStringLiteral("Printer %1").arg(i));
    EXPECT_EQ(discover().size(), 50U);
}

TEST_P(LEDiscovering, RemovesControlCharactersFromNamesAndNothingElse)
{
    advertise(2, QStringLiteral(" A\tB\u200eC\r\nD "));
    EXPECT_EQ(names(discover()), QStringList{QStringLiteral(" ABCD ")});
}

TEST_P(LEDiscovering, CutsNamesAfter128ScalarsThatRemain)
{
    const QString clef = QStringLiteral("\U0001D11E");
    advertise(2, QStringLiteral("\u0001") + clef.repeated(128));
    advertise(3, QStringLiteral("x") + clef.repeated(128));
    EXPECT_EQ(names(discover()), (QStringList{QStringLiteral("x") + clef.repeated(127), clef.repeated(128)}));
}

TEST_P(LEDiscovering, TakesTheLastNameOfAPrinterThatIsSeenTwice)
{
    rig.discover();
    rig.clock->advance(1s);
    rig.world.events().discovered({FakeLE::identifier(2), QStringLiteral("First")}, {});
    rig.world.events().discovered({FakeLE::identifier(2), QStringLiteral("First")}, QStringLiteral("Second"));
    rig.clock->advance(7s);
    EXPECT_EQ(names(rig.found.value()), QStringList{QStringLiteral("Second")});
}

TEST_P(LEDiscovering, AddsTheSavedPrinterThoughItIsSilent)
{
    EXPECT_EQ(discover(portOf(1)), (std::vector<USBPrinter>{{portOf(1), QStringLiteral("Till 1")}}));
}

TEST_P(LEDiscovering, NamesASavedPrinterWithoutAName)
{
    rig.world.printer().name.clear();
    EXPECT_EQ(
        names(discover(portOf(1))), QStringList{QStringLiteral("Saved ") + expected.noun + QStringLiteral(" printer")});
}

TEST_P(LEDiscovering, LeavesOutASavedPrinterThatTheSystemDoesNotKnow)
{
    rig.world.printer().known = false;
    EXPECT_TRUE(discover(portOf(1)).empty());
}

TEST_P(LEDiscovering, IgnoresASavedAddressThatIsNone)
{
    for (const QString& port : {QString(), QStringLiteral("ble"), QStringLiteral("spp:AABBCCDDEEFF")})
        EXPECT_TRUE(discover(port).empty()) << port.toStdString();
}

TEST_P(LEDiscovering, AddsThePrintersThatAreConnectedAlready)
{
    rig.world.printer().state = LEPeripheralState::connected;
    FakePeripheral& other = rig.world.addPrinter(2);
    other.services = {{0x180A, {}}};
    other.state = LEPeripheralState::connected;
    EXPECT_EQ(discover(), (std::vector<USBPrinter>{{portOf(1), QStringLiteral("Till 1")}}));
}

TEST_P(LEDiscovering, NamesAConnectedPrinterWithoutAName)
{
    rig.world.printer().state = LEPeripheralState::connected;
    rig.world.printer().name.clear();
    EXPECT_EQ(names(discover()), QStringList{expected.capital() + QStringLiteral(" printer")});
}

TEST_P(LEDiscovering, BeginsToScanWhenBluetoothTurnsOutToBeOn)
{
    advertise(2, QStringLiteral("Counter"));
    rig.world.firstState = LECentralState::unknown;
    rig.world.answerLate(LERequest::report, {3s});
    rig.discover(portOf(1));
    rig.clock->advance(3s - 1ms);
    EXPECT_FALSE(rig.world.scanning);
    rig.clock->advance(1ms);
    EXPECT_TRUE(rig.world.scanning);
    rig.clock->advance(5s);
    EXPECT_EQ(names(rig.found.value()), (QStringList{QStringLiteral("Counter"), QStringLiteral("Till 1")}));
}

TEST_P(LEDiscovering, EndsWithWhatItHasWhenBluetoothGoesOff)
{
    advertise(2, QStringLiteral("Counter"));
    rig.discover();
    rig.clock->advance(1s);
    rig.world.setState(LECentralState::poweredOff);
    rig.clock->runDue();
    EXPECT_EQ(names(rig.found.value()), QStringList{QStringLiteral("Counter")});
    EXPECT_EQ(rig.foundAt, 1s);
    rig.clock->advance(20s);
    EXPECT_EQ(rig.discoveries, 1);
}

TEST_P(LEDiscovering, ReportsNothingAfter8SecondsWhenBluetoothIsOff)
{
    advertise(2, QStringLiteral("Counter"));
    rig.world.state = LECentralState::poweredOff;
    EXPECT_TRUE(discover().empty());
    EXPECT_EQ(rig.foundAt, 8s);
}

TEST_P(LEDiscovering, EndsWithWhatItHasWhenAJobStarts)
{
    advertise(2, QStringLiteral("Counter"));
    rig.discover();
    rig.clock->advance(1s);
    const auto ended = rig.start();
    rig.clock->runDue();
    EXPECT_EQ(names(rig.found.value()), QStringList{QStringLiteral("Counter")});
    EXPECT_FALSE(rig.world.scanning);
    rig.clock->advance(20s);
    EXPECT_TRUE(ended->value().succeeded());
    EXPECT_EQ(rig.discoveries, 1);
}

TEST_P(LEDiscovering, IsIgnoredWhileAJobRuns)
{
    rig.start();
    rig.clock->advance(1ms);
    rig.discover();
    rig.clock->advance(20s);
    EXPECT_EQ(rig.discoveries, 0);
    EXPECT_EQ(rig.world.log.count(QStringLiteral("scan")), 0);
}

TEST_P(LEDiscovering, TakesThePlaceOfAnEarlierOne)
{
    advertise(2, QStringLiteral("Counter"));
    rig.discover();
    rig.clock->advance(5s);
    rig.world.printers.back().advertising = false;
    rig.discover();
    rig.clock->advance(8s - 1ms);
    EXPECT_EQ(rig.discoveries, 0);
    rig.clock->advance(1ms);
    EXPECT_EQ(rig.discoveries, 1);
    EXPECT_TRUE(rig.found.value().empty());
}

TEST_P(LEDiscovering, IsForgottenWhenItsOwnerDies)
{
    rig.discover();
    rig.clock->advance(1s);
    rig.destroy();
    rig.clock->advance(20s);
    EXPECT_EQ(rig.discoveries, 0);
    EXPECT_FALSE(rig.world.hasCentral());
}

TEST_P(LEDiscovering, KeepsThePrinterOfTheLastJobConnected)
{
    rig.run();
    rig.world.log.clear();
    discover();
    EXPECT_EQ(rig.world.log, (QStringList{QStringLiteral("scan"), QStringLiteral("stop scan")}));
}

} // namespace
