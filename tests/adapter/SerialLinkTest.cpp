// Paired devices, and an open serial channel.
#include "adapter/SerialRig.h"

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

class BluezPairedDevices : public SerialTest {
protected:
    SerialBluetooth::Devices pairedDevices()
    {
        std::optional<SerialBluetooth::Devices> found;
        m_serial->pairedDevices([&found](const SerialBluetooth::Devices& devices) { found = devices; });
        EXPECT_FALSE(found) << "not within the call";
        EXPECT_TRUE(waitFor([&found] { return found.has_value(); }));
        return found.value_or(SerialBluetooth::Devices());
    }

    void addDevice(int number, const QVariantMap& properties)
    {
        const QString last = QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
        m_bluez.add(hci0 + QStringLiteral("/dev_00_00_00_00_00_") + last,
            deviceObject(QStringLiteral("00:00:00:00:00:") + last, properties));
    }
};

TEST_F(BluezPairedDevices, ArePairedOrBondedWithTheNameThatTheUserSees)
{
    const QString alias = QStringLiteral("Alias");
    m_bluez.add(hci0, adapterObject(true));
    addDevice(1, {{QStringLiteral("Paired"), true}, {alias, QStringLiteral("Paired one")}});
    addDevice(2, {{QStringLiteral("Paired"), false}, {alias, QStringLiteral("Seen only")}});
    addDevice(3, {{QStringLiteral("Bonded"), true}, {alias, QStringLiteral("Bonded one")}});
    addDevice(4, {{QStringLiteral("Paired"), true}, {alias, QStringLiteral("00-00-00-00-00-04")}});
    addDevice(5, {{QStringLiteral("Paired"), true}, {QStringLiteral("AddressType"), QStringLiteral("random")}});
    m_bluez.start();
    makeSerial();
    const SerialBluetooth::Devices devices = pairedDevices();
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices[0].address, QStringLiteral("00:00:00:00:00:01"));
    EXPECT_EQ(devices[0].name, QStringLiteral("Paired one"));
    EXPECT_EQ(devices[1].address, QStringLiteral("00:00:00:00:00:03"));
    EXPECT_EQ(devices[1].name, QStringLiteral("Bonded one"));
    EXPECT_EQ(devices[2].address, QStringLiteral("00:00:00:00:00:04"));
    EXPECT_EQ(devices[2].name, QString());
}

TEST_F(BluezPairedDevices, ComeInBlueZsOrder)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.start();
    makeSerial();
    EXPECT_TRUE(pairedDevices().empty());
    for (const int number : {7, 3, 5})
        addDevice(number, {{QStringLiteral("Paired"), true}});
    ASSERT_TRUE(waitFor([&] { return pairedDevices().size() == 3; }));
    const SerialBluetooth::Devices devices = pairedDevices();
    EXPECT_EQ(devices[0].address.right(2), QStringLiteral("07"));
    EXPECT_EQ(devices[1].address.right(2), QStringLiteral("03"));
    EXPECT_EQ(devices[2].address.right(2), QStringLiteral("05"));
}

TEST_F(BluezPairedDevices, AreListedOnceThoughTwoAdaptersKnowThem)
{
    startWithSerialPrinter();
    m_bluez.add(QStringLiteral("/org/bluez/hci1/dev_AA_BB_CC_DD_EE_01"),
        deviceObject(printerAddress, {{QStringLiteral("Paired"), true}}));
    makeSerial();
    EXPECT_EQ(pairedDevices().size(), 1U);
}

TEST_F(BluezPairedDevices, AreNoneWithoutBluetoothd)
{
    makeSerial();
    EXPECT_TRUE(pairedDevices().empty());
}

TEST_F(BluezPairedDevices, AreNoneWithoutABus)
{
    m_bus.stop();
    makeSerial();
    EXPECT_TRUE(pairedDevices().empty());
}

TEST_F(BluezPairedDevices, AreNoneWhileBluetoothdIsMute)
{
    m_bluez.behave(QStringLiteral("GetManagedObjects"), {{QStringLiteral("mute"), true}});
    startWithSerialPrinter();
    makeSerial();
    EXPECT_TRUE(pairedDevices().empty());
}

TEST_F(BluezPairedDevices, AreNoneWhenTheBusRefuses)
{
    startWithSerialPrinter();
    m_bus.denyBluez(true);
    makeSerial();
    EXPECT_TRUE(pairedDevices().empty());
}

TEST_F(BluezPairedDevices, AreForgottenWithTheOneWhoAsked)
{
    startWithSerialPrinter();
    makeSerial();
    bool called = false;
    m_serial->pairedDevices([&called](const SerialBluetooth::Devices&) { called = true; });
    m_serial.reset();
    letPass(100ms);
    EXPECT_FALSE(called);
}

class BluezSerialChannel : public SerialTest {
protected:
    void write(const QByteArray& packet)
    {
        m_events.log.clear();
        ASSERT_TRUE(m_link->write(packet));
        EXPECT_TRUE(m_events.log.empty()) << "nothing within the call";
        ASSERT_TRUE(waitForEvent("written"));
    }
};

TEST_F(BluezSerialChannel, TakesPacketsOf1024BytesAndDeliversThem)
{
    startWithSerialPrinter();
    openChannel();
    EXPECT_EQ(m_link->mtu(), 1024);
    const QByteArray bytes = pattern(10 * 1024);
    for (int i = 0; i < 10; ++i)
        write(bytes.mid(i * 1024, 1024));
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath) == bytes; }));
}

TEST_F(BluezSerialChannel, WaitsForAPrinterThatDoesNotKeepUpAndSendsTheRestOfThePacket)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.stall(true);
    const QByteArray bytes = pattern(40 * 1024);
    qsizetype offset = 0;
    m_events.log.clear();
    while (offset < bytes.size()) {
        ASSERT_TRUE(m_link->write(bytes.mid(offset, 1024)));
        offset += 1024;
        letPass(20ms);
        if (m_events.log.empty())
            break; // it waits
        m_events.log.clear();
    }
    ASSERT_LT(offset, 20 * 1024) << "the computer's own buffer is small";
    EXPECT_FALSE(m_link->write("x")) << "one packet at a time";
    letPass(100ms);
    EXPECT_TRUE(m_events.log.empty());
    m_bluez.stall(false);
    ASSERT_TRUE(waitForEvent("written"));
    for (; offset < bytes.size(); offset += 1024)
        write(bytes.mid(offset, 1024));
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath) == bytes; }));
}

TEST_F(BluezSerialChannel, IsClosedWhenThePrinterCloses)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.hangUp(printerPath);
    ASSERT_TRUE(waitForEvent("closed"));
    EXPECT_FALSE(m_link->write("x"));
    letPass(50ms);
    EXPECT_EQ(std::count(m_events.log.begin(), m_events.log.end(), "closed"), 1);
}

TEST_F(BluezSerialChannel, IsClosedWhenWritingFindsThePrinterGone)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.hangUp(printerPath);
    EXPECT_TRUE(m_link->write(pattern(100)));
    ASSERT_TRUE(waitForEvent("closed"));
}

TEST_F(BluezSerialChannel, RefusesNoPacketWhileTheNewsOfItsEndIsOnTheWay)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.hangUp(printerPath);
    EXPECT_TRUE(m_link->write(pattern(100)));
    EXPECT_TRUE(m_link->write(pattern(100))) << "else a printer that closes is told as a failed write";
    ASSERT_TRUE(waitForEvent("closed"));
    EXPECT_FALSE(m_link->write("x"));
}

TEST_F(BluezSerialChannel, IsNotDisturbedByWhatThePrinterSays)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.send(printerPath, pattern(3000));
    letPass(50ms);
    write(pattern(100));
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath) == pattern(100); }));
}

TEST_F(BluezSerialChannel, IsClosedWithBluetoothd)
{
    startWithSerialPrinter();
    openChannel();
    m_bluez.stop();
    ASSERT_TRUE(waitForEvent("closed"));
    m_bluez.start();
    ASSERT_TRUE(waitFor([&] {
        m_link = m_serial->makeLink(m_events);
        m_events.log.clear();
        m_link->findDevice(linkAddress);
        return waitForEvent("paired");
    }));
}

TEST_F(BluezSerialChannel, ReportsNothingAfterItWasClosedHere)
{
    startWithSerialPrinter();
    openChannel();
    m_events.log.clear();
    ASSERT_TRUE(m_link->write(pattern(100)));
    m_link->closeChannel();
    m_link->closeChannel();
    letPass(100ms);
    EXPECT_TRUE(m_events.log.empty());
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath) == pattern(100); }));
}

TEST_F(BluezSerialChannel, CanBeOpenedAgainAndAgainAndLeavesNoDescriptorBehind)
{
    startWithSerialPrinter();
    const int before = openDescriptors();
    for (int job = 0; job < 8; ++job) {
        openChannel();
        write(pattern(200));
        if (job % 2 == 0)
            m_link->closeChannel();
    }
    EXPECT_TRUE(waitFor([&] { return m_bluez.received(printerPath).size() == 8 * 200; }));
    m_link.reset();
    m_serial.reset();
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= before; })) << openDescriptors() - before << " left";
}

} // namespace adapter
