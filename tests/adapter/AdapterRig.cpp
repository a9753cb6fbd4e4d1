#include "adapter/AdapterRig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>

namespace adapter {

using namespace harrowmint;

namespace {

constexpr int patience = 20'000;

const char* nameOf(LECentralState state)
{
    switch (state) {
    case LECentralState::unknown:
        return "unknown";
    case LECentralState::resetting:
        return "resetting";
    case LECentralState::unsupported:
        return "unsupported";
    case LECentralState::unauthorised:
        return "unauthorised";
    case LECentralState::poweredOff:
        return "poweredOff";
    case LECentralState::poweredOn:
        return "poweredOn";
    }
    return "";
}

std::string hexOf(GattUuid uuid)
{
    return QString::number(uuid, 16).toUpper().toStdString();
}

} // namespace

bool waitFor(const std::function<bool()>& condition)
{
    QElapsedTimer clock;
    clock.start();
    bool holds = condition();
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        holds = condition();
        if (holds || clock.hasExpired(patience))
            loop.quit();
    });
    poll.start(2);
    if (!holds)
        loop.exec();
    return holds;
}

void letPass(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

int openDescriptors()
{
    return static_cast<int>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::System | QDir::AllEntries).size());
}

BluezInterfaces adapterObject(bool powered)
{
    return {{QStringLiteral("org.bluez.Adapter1"),
        {{QStringLiteral("Address"), QStringLiteral("00:00:00:00:00:01")}, {QStringLiteral("Powered"), powered}}}};
}

BluezInterfaces deviceObject(const QString& address, const QVariantMap& properties)
{
    QVariantMap all{{QStringLiteral("Address"), address},
        {QStringLiteral("Adapter"), QVariant::fromValue(QDBusObjectPath(hci0))}, {QStringLiteral("Connected"), false},
        {QStringLiteral("ServicesResolved"), false}};
    all.insert(properties);
    return {{QStringLiteral("org.bluez.Device1"), all}};
}

BluezInterfaces serviceObject(GattUuid uuid)
{
    return {{QStringLiteral("org.bluez.GattService1"),
        {{QStringLiteral("UUID"), bluez::uuidText(uuid)},
            {QStringLiteral("Device"), QVariant::fromValue(QDBusObjectPath(printerPath))}}}};
}

BluezInterfaces characteristicObject(GattUuid uuid, const QStringList& flags, ushort mtu)
{
    QVariantMap properties{{QStringLiteral("UUID"), bluez::uuidText(uuid)}, {QStringLiteral("Flags"), flags},
        {QStringLiteral("Service"), QVariant::fromValue(QDBusObjectPath(servicePath))}};
    if (mtu != 0)
        properties.insert(QStringLiteral("MTU"), QVariant::fromValue(mtu));
    return {{QStringLiteral("org.bluez.GattCharacteristic1"), properties}};
}

QByteArray pattern(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 256) & 0xFF);
    return bytes;
}

void BluezTest::startWithPrinter(const QStringList& flags, ushort mtu)
{
    m_bluez.add(hci0, adapterObject(true));
    m_bluez.add(printerPath,
        deviceObject(printerAddress,
            {{QStringLiteral("Name"), QStringLiteral("Printer")},
                {QStringLiteral("Alias"), QStringLiteral("Printer")}}));
    m_bluez.stage(servicePath, serviceObject(channel.service));
    m_bluez.stage(writePath, characteristicObject(channel.characteristic, flags, mtu));
    m_bluez.start();
}

// What a central reports

int RecordedEvents::count(const std::string& text) const
{
    return static_cast<int>(std::count(log.begin(), log.end(), text));
}

void RecordedEvents::stateChanged(LECentralState state)
{
    log.emplace_back(nameOf(state));
}

void RecordedEvents::discovered(const LEPeripheral& peripheral, const QString& /*advertisedName*/)
{
    sightings.push_back(peripheral);
    log.push_back("discovered " + peripheral.name.toStdString());
}

void RecordedEvents::connected(const QUuid& /*peripheral*/)
{
    log.emplace_back("connected");
}

void RecordedEvents::failedToConnect(const QUuid& /*peripheral*/)
{
    log.emplace_back("failedToConnect");
}

void RecordedEvents::disconnected(const QUuid& /*peripheral*/)
{
    log.emplace_back("disconnected");
}

void RecordedEvents::servicesDiscovered(const QUuid& /*peripheral*/, bool failed, const std::vector<GattUuid>& services)
{
    std::string text = failed ? "services failed" : "services";
    for (const GattUuid uuid : services)
        text += ' ' + hexOf(uuid);
    log.push_back(text);
}

void RecordedEvents::characteristicsDiscovered(
    const QUuid& /*peripheral*/, GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics)
{
    std::string text = (failed ? "characteristics failed " : "characteristics ") + hexOf(service);
    for (const LECharacteristic& each : characteristics) {
        text += ' ' + hexOf(each.uuid) + (each.write ? " write" : "")
            + (each.writeWithoutResponse ? " writeWithoutResponse" : "");
    }
    log.push_back(text);
}

void RecordedEvents::channelOpened(const QUuid& /*peripheral*/, const LEChannel& /*place*/)
{
    log.emplace_back("opened");
}

void RecordedEvents::valueWritten(const QUuid& /*peripheral*/, const LEChannel& /*place*/, bool failed)
{
    log.emplace_back(failed ? "write failed" : "written");
}

void RecordedEvents::readyToWrite(const QUuid& /*peripheral*/)
{
    log.emplace_back("ready");
}

// The central

void CentralTest::makeCentral()
{
    if (!m_centrals)
        m_centrals = std::make_unique<BluezLECentrals>(m_bus.address(), m_radioLimits);
    if (!m_central)
        m_central = m_centrals->on(m_queue)(m_events);
    else
        m_other = m_centrals->on(m_queue)(m_otherEvents);
}

bool CentralTest::waitForEvent(const std::string& text)
{
    const bool came = waitFor([&] { return m_events.has(text); });
    EXPECT_TRUE(came) << text << " did not come, but " << ::testing::PrintToString(m_events.log)
                      << "; bluetoothd heard " << m_bluez.calls().join(QStringLiteral(", ")).toStdString();
    return came;
}

bool CentralTest::waitForState(LECentralState state)
{
    return waitFor([&] { return m_central->state() == state; });
}

void CentralTest::switchOn()
{
    makeCentral();
    ASSERT_TRUE(waitForState(LECentralState::poweredOn));
}

void CentralTest::switchOnBoth()
{
    switchOn();
    makeCentral();
    ASSERT_TRUE(waitFor([&] { return m_other->state() == LECentralState::poweredOn; }));
}

void CentralTest::connectPrinter()
{
    m_central->connect(printer);
    ASSERT_TRUE(waitForEvent("connected"));
    m_central->discoverServices(printer, {channel.service});
    ASSERT_TRUE(waitForEvent("services 18F0"));
    m_events.log.clear();
}

void CentralTest::openChannel(LEWriteType type)
{
    m_central->openChannel(printer, channel, type);
    ASSERT_TRUE(waitForEvent("opened"));
}

void CentralTest::sendAll(const QByteArray& bytes, int size)
{
    for (qsizetype offset = 0; offset < bytes.size(); offset += size) {
        const int ready = m_events.count("ready");
        if (!m_central->canSendWriteWithoutResponse(printer)) {
            ASSERT_TRUE(waitFor([&] { return m_events.count("ready") > ready; }));
        }
        m_central->write(printer, channel, bytes.mid(offset, size), LEWriteType::withoutResponse);
    }
}

} // namespace adapter
