#include "ScriptedCoreBluetooth.h"

namespace harrowmint::test {

namespace {

QString hex(GattUuid number)
{
    return QString::number(number, 16);
}

QString verdict(bool failed)
{
    return failed ? QStringLiteral("failed") : QStringLiteral("well");
}

} // namespace

QUuid printer(int number)
{
    return QUuid::fromString(QStringLiteral("00000000-0000-4000-8000-00000000%1").arg(number, 4, 10, QLatin1Char('0')));
}

QString numberOf(const QUuid& identifier)
{
    return QString::number(identifier.toString(QUuid::WithoutBraces).right(4).toInt());
}

ScriptedCoreBluetooth::ScriptedCoreBluetooth(FrameworkScript& script, CoreBluetoothEvents& events)
    : m_script(script)
{
    m_script.events = &events;
}

ScriptedCoreBluetooth::~ScriptedCoreBluetooth()
{
    m_script.events = nullptr;
    m_script.calls += QStringLiteral("end");
}

void ScriptedCoreBluetooth::startScan(int scan)
{
    m_script.calls += QStringLiteral("scan %1").arg(scan);
}

void ScriptedCoreBluetooth::stopScan()
{
    m_script.calls += QStringLiteral("stop scan");
}

std::vector<LEPeripheral> ScriptedCoreBluetooth::retrieve(const QUuid& identifier)
{
    if (m_script.unknown.count(identifier) != 0)
        return {};
    return {{identifier, QStringLiteral("Printer %1").arg(numberOf(identifier))}};
}

std::vector<LEPeripheral> ScriptedCoreBluetooth::retrieveConnected(const std::vector<GattUuid>& services)
{
    return services.empty() ? std::vector<LEPeripheral>() : retrieve(printer(1));
}

void ScriptedCoreBluetooth::forgetAllBut(const std::vector<QUuid>& kept)
{
    QStringList numbers;
    for (const QUuid& identifier : kept)
        numbers += numberOf(identifier);
    m_script.calls += QStringLiteral("keep [%1]").arg(numbers.join(QLatin1Char(' ')));
}

LEPeripheralState ScriptedCoreBluetooth::peripheralState(const QUuid& peripheral)
{
    const auto found = m_script.states.find(peripheral);
    return found == m_script.states.end() ? LEPeripheralState::disconnected : found->second;
}

bool ScriptedCoreBluetooth::connect(const QUuid& peripheral)
{
    m_script.calls += QStringLiteral("connect %1").arg(numberOf(peripheral));
    if (m_script.unknown.count(peripheral) != 0)
        return false;
    m_script.states[peripheral] = LEPeripheralState::connecting;
    if (m_script.duringConnect)
        m_script.duringConnect();
    return true;
}

void ScriptedCoreBluetooth::cancelConnection(const QUuid& peripheral)
{
    m_script.calls += QStringLiteral("cancel %1").arg(numberOf(peripheral));
}

bool ScriptedCoreBluetooth::discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& /*services*/)
{
    m_script.calls += QStringLiteral("services %1").arg(numberOf(peripheral));
    return m_script.hasService;
}

bool ScriptedCoreBluetooth::discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel)
{
    m_script.calls += QStringLiteral("characteristic %1 %2").arg(numberOf(peripheral), hex(channel.characteristic));
    return m_script.hasService;
}

bool ScriptedCoreBluetooth::hasCharacteristic(const QUuid& /*peripheral*/, const LEChannel& /*channel*/)
{
    return m_script.hasCharacteristic;
}

int ScriptedCoreBluetooth::maximumWriteLength(const QUuid& /*peripheral*/, LEWriteType /*type*/)
{
    return m_script.largestWrite;
}

bool ScriptedCoreBluetooth::canSendWriteWithoutResponse(const QUuid& /*peripheral*/)
{
    ++m_script.roomQuestions;
    return m_script.hasRoom;
}

bool ScriptedCoreBluetooth::write(
    const QUuid& peripheral, const LEChannel& /*channel*/, const QByteArray& bytes, LEWriteType /*type*/)
{
    if (!m_script.hasCharacteristic)
        return false;
    m_script.calls += QStringLiteral("write %1 %2").arg(numberOf(peripheral), QString::fromLatin1(bytes));
    return true;
}

void LEEventRecorder::stateChanged(LECentralState state)
{
    m_lines += QStringLiteral("state %1").arg(static_cast<int>(state));
}

void LEEventRecorder::discovered(const LEPeripheral& peripheral, const QString& advertisedName)
{
    m_lines +=
        QStringLiteral("discovered %1 '%2' '%3'").arg(numberOf(peripheral.identifier), peripheral.name, advertisedName);
}

void LEEventRecorder::connected(const QUuid& peripheral)
{
    m_lines += QStringLiteral("connected %1").arg(numberOf(peripheral));
}

void LEEventRecorder::failedToConnect(const QUuid& peripheral)
{
    m_lines += QStringLiteral("failed %1").arg(numberOf(peripheral));
}

void LEEventRecorder::disconnected(const QUuid& peripheral)
{
    m_lines += QStringLiteral("disconnected %1").arg(numberOf(peripheral));
}

void LEEventRecorder::servicesDiscovered(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services)
{
    QStringList numbers;
    for (const GattUuid service : services)
        numbers += hex(service);
    m_lines += QStringLiteral("services %1 %2 [%3]")
                   .arg(numberOf(peripheral), verdict(failed), numbers.join(QLatin1Char(' ')));
}

void LEEventRecorder::characteristicsDiscovered(
    const QUuid& peripheral, GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics)
{
    m_lines += QStringLiteral("characteristics %1 %2 %3 (%4)")
                   .arg(numberOf(peripheral), hex(service), verdict(failed))
                   .arg(characteristics.size());
}

void LEEventRecorder::channelOpened(const QUuid& peripheral, const LEChannel& channel)
{
    m_lines += QStringLiteral("opened %1 %2").arg(numberOf(peripheral), hex(channel.characteristic));
}

void LEEventRecorder::valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed)
{
    m_lines +=
        QStringLiteral("written %1 %2 %3").arg(numberOf(peripheral), hex(channel.characteristic), verdict(failed));
}

void LEEventRecorder::readyToWrite(const QUuid& peripheral)
{
    m_lines += QStringLiteral("ready %1").arg(numberOf(peripheral));
}

} // namespace harrowmint::test
