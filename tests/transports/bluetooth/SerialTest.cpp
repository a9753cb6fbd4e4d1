// Receipts to paired serial printers: sending, failures, discovery, the blocking call.
#include "SerialRig.h"
#include "support/LateQueue.h"
#include "support/LateTimers.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

// Sending

TEST_F(Serial, FindsAsksOpensWritesAndCloses)
{
    EXPECT_EQ(run().message, QString());
    EXPECT_EQ(world.log,
        (QStringList{QStringLiteral("find AA-BB-CC-DD-EE-FF"), QStringLiteral("query"), QStringLiteral("open 1"),
            QStringLiteral("close")}));
    EXPECT_EQ(world.received(), jobBytes(3000));
}

TEST_F(Serial, OpensTheChannelThatTheDeviceNames)
{
    world.channel = 30;
    run();
    EXPECT_EQ(world.log.at(2), QStringLiteral("open 30"));
}

TEST_F(Serial, Sends3000BytesAtMTU1021As1021And1021And958WithPausesOf10Milliseconds)
{
    const Ended ended = run();
    EXPECT_EQ(world.packetSizes(), (std::vector<int>{1021, 1021, 958}));
    EXPECT_EQ(world.packets[1].time - world.packets[0].time, 10ms);
    EXPECT_EQ(world.packets[2].time - world.packets[1].time, 10ms);
    EXPECT_EQ(ended.time - world.packets[2].time, 10ms);
}

TEST_F(Serial, CountsThePauseFromTheConfirmation)
{
    world.answerLate(SerialRequest::write, {300ms});
    run();
    EXPECT_EQ(world.packets[1].time - world.packets[0].time, 310ms);
}

struct PacketRow {
    int mtu;
    int bytes;
    std::vector<int> packets;
};

class SerialPackets : public Serial, public testing::WithParamInterface<PacketRow> { };

INSTANTIATE_TEST_SUITE_P(Sizes, SerialPackets,
    testing::Values(PacketRow{4096, 3000, {1024, 1024, 952}}, PacketRow{1025, 1024, {1024}},
        PacketRow{1024, 1025, {1024, 1}}, PacketRow{1023, 1024, {1023, 1}}, PacketRow{127, 300, {127, 127, 46}},
        PacketRow{1, 3, {1, 1, 1}}, PacketRow{4096, 10, {10}}, PacketRow{65535, 1024, {1024}}),
    [](const auto& each) {
        return "MTU" + std::to_string(each.param.mtu) + "Bytes" + std::to_string(each.param.bytes);
    });

TEST_P(SerialPackets, AreAsLargeAsTheMTUAndNeverAbove1024)
{
    world.mtu = GetParam().mtu;
    EXPECT_EQ(run(jobBytes(GetParam().bytes)).message, QString());
    EXPECT_EQ(world.packetSizes(), GetParam().packets);
    EXPECT_EQ(world.received(), jobBytes(GetParam().bytes));
}

// What can be printed

struct RefusedRow {
    std::string name;
    QByteArray data;
    QString serialPort;
};

void PrintTo(const RefusedRow& row, std::ostream* out)
{
    *out << row.name;
}

class SerialRefuses : public Serial, public testing::WithParamInterface<RefusedRow> { };

INSTANTIATE_TEST_SUITE_P(Jobs, SerialRefuses,
    testing::Values(RefusedRow{"NoData", {}, serialPort},
        RefusedRow{"TooMuchData", QByteArray(900001, 'x'), serialPort}, RefusedRow{"NoPort", "x", {}},
        RefusedRow{"LowerCase", "x", QStringLiteral("spp:aabbccddeeff")},
        RefusedRow{"ElevenDigits", "x", QStringLiteral("spp:AABBCCDDEEF")},
        RefusedRow{"ThirteenDigits", "x", QStringLiteral("spp:AABBCCDDEEFF0")},
        RefusedRow{"LineFeed", "x", QStringLiteral("spp:AABBCCDDEEFF\n")},
        RefusedRow{"Separators", "x", QStringLiteral("spp:AA-BB-CC-DD-EE-FF")},
        RefusedRow{"LE", "x", QStringLiteral("ble:6F1A2B3C-0001-4000-8000-000000000001")}),
    [](const auto& each) { return each.param.name; });

TEST_P(SerialRefuses, WhatCannotBePrinted)
{
    EXPECT_EQ(
        print(GetParam().data, GetParam().serialPort), QStringLiteral("Select a paired Bluetooth receipt printer."));
    EXPECT_TRUE(world.log.isEmpty());
}

TEST_F(Serial, TakesOneByteAnd900000)
{
    EXPECT_EQ(print(QByteArrayLiteral("x"), serialPort), QString());
    EXPECT_EQ(print(jobBytes(900000), serialPort), QString());
    EXPECT_EQ(world.received(), QByteArrayLiteral("x") + jobBytes(900000));
}

// Failures

struct FailureRow {
    std::string name;
    std::function<void(FakeSerial&)> arrange;
    QString message; ///< whole
};

void PrintTo(const FailureRow& row, std::ostream* out)
{
    *out << row.name;
}

std::function<void(FakeSerial&)> failing(SerialRequest which)
{
    return [which](FakeSerial& world) {
        world.answer = [which](SerialRequest request) { return FakeSerial::Answer{{0ms}, request == which}; };
    };
}

std::function<void(FakeSerial&)> openingFails(SerialOpenResult how)
{
    return [how](FakeSerial& world) {
        failing(SerialRequest::open)(world);
        world.openFailure = how;
    };
}

const QString noSerialPort =
    QStringLiteral("This paired device does not expose the Bluetooth serial printing service.") + nothingSent;
const QString cannotConnect =
    QStringLiteral("Cannot connect this Bluetooth receipt printer. Check power and other connected apps.")
    + nothingSent;

class SerialFails : public Serial, public testing::WithParamInterface<FailureRow> { };

INSTANTIATE_TEST_SUITE_P(Table, SerialFails,
    testing::Values(FailureRow{"NotPaired", failing(SerialRequest::find),
                        QStringLiteral("Pair this receipt printer in macOS Bluetooth settings first.") + nothingSent},
        FailureRow{"QueryRefused", [](FakeSerial& world) { world.queryRefused = true; },
            QStringLiteral("Cannot discover this printer's Bluetooth serial service.") + nothingSent},
        FailureRow{"QueryFails", failing(SerialRequest::query), noSerialPort},
        FailureRow{"NoRecord", [](FakeSerial& world) { world.channel = std::nullopt; }, noSerialPort},
        FailureRow{"ChannelZero", [](FakeSerial& world) { world.channel = 0; }, noSerialPort},
        FailureRow{"OpenRefused", [](FakeSerial& world) { world.openRefused = true; }, cannotConnect},
        FailureRow{"OpenFails", openingFails(SerialOpenResult::failed),
            QStringLiteral("Bluetooth receipt connection failed.") + nothingSent},
        FailureRow{"NoServiceFoundWhileOpening", openingFails(SerialOpenResult::noService), noSerialPort},
        FailureRow{"UnavailableWhileOpening", openingFails(SerialOpenResult::unavailable), cannotConnect},
        FailureRow{"MTUZero", [](FakeSerial& world) { world.mtu = 0; },
            QStringLiteral("Unsupported Bluetooth serial packet size.") + nothingSent},
        FailureRow{"NegativeMTU", [](FakeSerial& world) { world.mtu = -1; },
            QStringLiteral("Unsupported Bluetooth serial packet size.") + nothingSent},
        FailureRow{"FirstWriteRefused", [](FakeSerial& world) { world.writeRefused = true; },
            QStringLiteral("Bluetooth receipt write failed.") + serialPaperWarning},
        FailureRow{"WriteFails", failing(SerialRequest::write),
            QStringLiteral("Bluetooth receipt write failed.") + serialPaperWarning},
        FailureRow{"ClosedAfterTheFirstPacket",
            [](FakeSerial& world) { world.written = [&world] { world.closeByPrinter(); }; },
            QStringLiteral("Bluetooth receipt printer disconnected.") + serialPaperWarning}),
    [](const auto& each) { return each.param.name; });

TEST_P(SerialFails, WithTheStatedSentenceAndTheNextJobPrints)
{
    GetParam().arrange(world);
    EXPECT_EQ(run().message, GetParam().message);
    EXPECT_FALSE(world.open);

    world.answer = [](SerialRequest) { return FakeSerial::Answer{}; };
    world.written = [] {};
    world.queryRefused = world.openRefused = world.writeRefused = false;
    world.channel = 1;
    world.mtu = 1021;
    world.packets.clear();
    EXPECT_EQ(run().message, QString());
    EXPECT_EQ(world.received(), jobBytes(3000));
}

TEST_F(Serial, FailsWhenTheChannelClosesWhileItOpens)
{
    world.answerLate(SerialRequest::open, {1s});
    const auto ended = start();
    clock->advance(500ms);
    world.events()->rfcommChannelClosed();
    EXPECT_EQ(ended->value().message, QStringLiteral("Bluetooth receipt printer disconnected.") + nothingSent);
}

// Pauses that are too long

/// The time from the first of 101 packets of 1021 bytes to the last, when every timer is late by `lateness`, and
/// the tenth by `once` in addition.
SerialQueue::Duration timeFor100Packets(SerialQueue::Duration lateness, SerialQueue::Duration once = {})
{
    const auto clock = std::make_shared<VirtualClock>();
    VirtualQueue inner(clock);
    LateTimers queue(inner, lateness, once);
    VirtualWaiter waiter(*clock);
    FakeSerial world(inner);
    {
        ReceiptSerialBackend backend(queue, lend(world), waiter);
        EXPECT_NO_THROW(backend.print(jobBytes(101 * 1021), serialPort));
    }
    clock->runDue();
    return world.packets.back().time - world.packets.front().time;
}

TEST(SerialPacing, DoesNotAddUpTheLatenessOfItsTimers)
{
    EXPECT_EQ(timeFor100Packets(0ms), 1000ms);
    EXPECT_EQ(timeFor100Packets(1ms), 1001ms);
}

TEST(SerialPacing, MakesUpForNoMoreThanAnEighthOfAPause)
{
    // Each pause is 5 ms late; each but the first makes up for 1.25 ms of what came before.
    EXPECT_EQ(timeFor100Packets(5ms), 100 * 15ms - 99 * 1'250us);
}

TEST(SerialPacing, MakesUpForOneLongDelayOverSeveralPauses)
{
    EXPECT_EQ(timeFor100Packets(0ms, 4ms), 1000ms);
    // No more than a pause is made up for.
    EXPECT_EQ(timeFor100Packets(0ms, 60ms), 1000ms + 60ms - 10ms);
}

TEST_F(Serial, DoesNotMakeUpForThePrintersOwnDelay)
{
    world.answerLate(SerialRequest::write, {100ms});
    EXPECT_EQ(run(jobBytes(3 * 1021)).message, QString());
    ASSERT_EQ(world.packets.size(), 3U);
    EXPECT_EQ(world.packets[1].time - world.packets[0].time, 110ms);
    EXPECT_EQ(world.packets[2].time - world.packets[1].time, 110ms);
}

// The blocking call

TEST_F(Serial, BlocksItsCallerUntilTheJobHasEnded)
{
    EXPECT_EQ(print(jobBytes(3000), serialPort), QString());
    EXPECT_EQ(clock->elapsed(), 30ms);
    world.writeRefused = true;
    EXPECT_EQ(
        print(jobBytes(3000), serialPort), QStringLiteral("Bluetooth receipt write failed.") + serialPaperWarning);
}

TEST_F(Serial, WakesItsCallerWithoutAResultWhenItDiesDuringAJob)
{
    world.written = [this] { backend.reset(); };
    const auto dying = [this] { backend->print(jobBytes(3000), serialPort); };
    try {
        dying();
        FAIL() << "a dead transport printed";
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(), QStringLiteral("No Bluetooth transfer result."));
    }
}

TEST_F(Serial, GivesItsCallerUpAfter52SecondsAndNothingPrintsAfterwards)
{
    {
        LateQueue late(queue, 60s);
        ReceiptSerialBackend lateBackend(late, lend(world), waiter);
        try {
            lateBackend.print(jobBytes(3000), serialPort);
            FAIL() << "a job that never began was printed";
        } catch (const PrinterError& error) {
            EXPECT_EQ(error.message(),
                QStringLiteral(
                    "Bluetooth response timed out. Check the paper before retrying; part may have printed."));
        }
        EXPECT_EQ(clock->elapsed(), 52s);
        clock->advance(120s);
    }
    EXPECT_TRUE(world.packets.empty());
    EXPECT_EQ(world.links, 0);
}

// Discovery

TEST_F(Serial, ListsThePairedDevicesInTheSystemsOrder)
{
    world.devices = {{QStringLiteral("aa-bb-cc-dd-ee-02"), QStringLiteral("Zebra")},
        {QStringLiteral("AA:BB:CC:DD:EE:01"), QStringLiteral("Anvil")}};
    EXPECT_EQ(backend->discover(),
        (std::vector<USBPrinter>{{QStringLiteral("spp:AABBCCDDEE02"), QStringLiteral("Zebra (paired serial)")},
            {QStringLiteral("spp:AABBCCDDEE01"), QStringLiteral("Anvil (paired serial)")}}));
}

TEST_F(Serial, LeavesOutADeviceWhoseAddressIsNot12HexadecimalDigits)
{
    world.devices = {{QString(), QStringLiteral("A")}, {QStringLiteral("AA-BB-CC-DD-EE"), QStringLiteral("B")},
        {QStringLiteral("AA-BB-CC-DD-EE-FF-00"), QStringLiteral("C")},
        {QStringLiteral("AA-BB-CC-DD-EE-FG"), QStringLiteral("D")},
        {QStringLiteral("AA BB CC DD EE FF"), QStringLiteral("E")}};
    EXPECT_TRUE(backend->discover().empty());
}

TEST_F(Serial, LooksAtTheFirst50DevicesOnly)
{
    for (int i = 0; i < 60; ++i)
        world.devices.push_back({QStringLiteral("AA-BB-CC-DD-EE-%1").arg(i, 2, 10, QLatin1Char('0')), {}});
    world.devices[7].address = QStringLiteral("?");
    const auto printers = backend->discover();
    ASSERT_EQ(printers.size(), 49U);
    EXPECT_EQ(printers.back().uri, QStringLiteral("spp:AABBCCDDEE49"));
}

TEST_F(Serial, NamesADeviceWithoutANameAndCleansTheOthers)
{
    world.devices = {{QStringLiteral("AABBCCDDEE01"), {}},
        {QStringLiteral("AABBCCDDEE02"), QStringLiteral("A\n\u200fB ")},
        {QStringLiteral("AABBCCDDEE03"), QStringLiteral("x").repeated(129)}};
    const auto printers = backend->discover();
    ASSERT_EQ(printers.size(), 3U);
    EXPECT_EQ(printers[0].name, QStringLiteral("Paired printer (paired serial)"));
    EXPECT_EQ(printers[1].name, QStringLiteral("AB  (paired serial)"));
    EXPECT_EQ(printers[2].name, QStringLiteral("x").repeated(128) + QStringLiteral(" (paired serial)"));
}

TEST_F(Serial, ListsNothingWhenTheSystemDoesNotAnswerIn5Seconds)
{
    world.devices = {{QStringLiteral("AABBCCDDEE01"), {}}};
    world.answerLate(SerialRequest::devices, {});
    EXPECT_TRUE(backend->discover().empty());
    EXPECT_EQ(clock->elapsed(), 5s);
}

TEST_F(Serial, ListsWithoutBlockingAsWell)
{
    world.devices = {{QStringLiteral("AABBCCDDEE01"), QStringLiteral("Till")}};
    std::vector<USBPrinter> found;
    backend->discover([&found](const std::vector<USBPrinter>& printers) { found = printers; });
    EXPECT_TRUE(found.empty());
    clock->runDue();
    EXPECT_EQ(found.size(), 1U);
}

} // namespace
