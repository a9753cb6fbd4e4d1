#include "transports/macos/bluetooth/CoreBluetoothLink.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

using std::chrono::milliseconds;

/// How long a failure's report waits for the word that Bluetooth as a whole is off.
constexpr milliseconds doubt{150};
/// A cancelled attempt may stay without an answer: its state is looked at this often, until it was twice disconnected.
constexpr milliseconds cancelCheck{500};
/// After so many checks a cancelled connection is taken for ended whatever its state.
constexpr int maximumChecks = 8;
/// The framework may say "no room" after a connection without ever saying that there is some: it is asked again.
constexpr milliseconds roomCheck{20};

bool contains(const std::vector<GattUuid>& services, GattUuid service)
{
    return std::find(services.begin(), services.end(), service) != services.end();
}

} // namespace

CoreBluetoothLink::CoreBluetoothLink(const Surroundings& surroundings, const QUuid& peripheral)
    : m_surroundings(surroundings)
    , m_peripheral(peripheral)
    , m_post(surroundings.queue)
{
    begin();
}

LEPeripheralState CoreBluetoothLink::state() const
{
    switch (m_phase) {
    case Phase::connecting:
        return LEPeripheralState::connecting;
    case Phase::connected:
        return LEPeripheralState::connected;
    case Phase::cancelling:
        return LEPeripheralState::disconnecting;
    case Phase::ended:
        break;
    }
    return LEPeripheralState::disconnected;
}

// The connection

void CoreBluetoothLink::begin()
{
    m_phase = Phase::connecting;
    m_report.cancel();
    if (!m_surroundings.port.connect(m_peripheral))
        m_post([this] { failedToConnect(); });
}

void CoreBluetoothLink::connect()
{
    switch (m_phase) {
    case Phase::connecting:
        return;
    case Phase::connected:
        m_post([this] {
            if (m_phase == Phase::connected)
                m_surroundings.events.connected(m_peripheral);
        });
        return;
    case Phase::cancelling:
        m_connectAgain = true;
        return;
    case Phase::ended:
        begin();
    }
}

void CoreBluetoothLink::cancel()
{
    m_connectAgain = false;
    if (m_phase == Phase::cancelling || m_phase == Phase::ended)
        return;
    m_phase = Phase::cancelling;
    forgetRequests();
    m_checks = 0;
    m_wasDisconnected = false;
    m_surroundings.port.cancelConnection(m_peripheral);
    m_report = m_surroundings.queue.after(cancelCheck, [this] { checkCancelled(); });
}

void CoreBluetoothLink::checkCancelled()
{
    const bool isDisconnected = m_surroundings.port.peripheralState(m_peripheral) == LEPeripheralState::disconnected;
    if ((isDisconnected && m_wasDisconnected) || ++m_checks >= maximumChecks) {
        finishCancelling();
        return;
    }
    m_wasDisconnected = isDisconnected;
    m_report = m_surroundings.queue.after(cancelCheck, [this] { checkCancelled(); });
}

void CoreBluetoothLink::finishCancelling()
{
    m_report.cancel();
    if (std::exchange(m_connectAgain, false))
        begin();
    else
        m_surroundings.ended(m_peripheral, false);
}

void CoreBluetoothLink::endInDoubt(bool failedToConnect)
{
    m_phase = Phase::ended;
    forgetRequests();
    m_report = m_surroundings.queue.after(
        doubt, [this, failedToConnect] { m_surroundings.ended(m_peripheral, failedToConnect); });
}

void CoreBluetoothLink::forgetRequests()
{
    m_askedServices.clear();
    m_askedService.reset();
    m_written.reset();
    m_writeReport.cancel();
    closeChannel();
}

void CoreBluetoothLink::connected()
{
    if (m_phase != Phase::connecting)
        return;
    m_phase = Phase::connected;
    m_surroundings.events.connected(m_peripheral);
}

void CoreBluetoothLink::failedToConnect()
{
    if (m_phase == Phase::cancelling)
        finishCancelling();
    else if (m_phase == Phase::connecting)
        endInDoubt(true);
}

void CoreBluetoothLink::disconnected()
{
    if (m_phase == Phase::cancelling) {
        finishCancelling();
        return;
    }
    // The end of an earlier connection may still be told when the next one is under way.
    const bool isOfThisOne = m_surroundings.port.peripheralState(m_peripheral) == LEPeripheralState::disconnected;
    if (m_phase != Phase::ended && isOfThisOne)
        endInDoubt(false);
}

// Services

void CoreBluetoothLink::discoverServices(const std::vector<GattUuid>& services)
{
    if (m_phase != Phase::connected)
        return;
    m_askedServices = services;
    if (!m_surroundings.port.discoverServices(m_peripheral, services))
        m_post([this] { servicesFound(true, {}); });
}

void CoreBluetoothLink::servicesFound(bool failed, const std::vector<GattUuid>& services)
{
    if (m_askedServices.empty())
        return;
    const std::vector<GattUuid> asked = std::exchange(m_askedServices, {});
    std::vector<GattUuid> found;
    std::copy_if(services.begin(), services.end(), std::back_inserter(found),
        [&asked](GattUuid service) { return contains(asked, service); });
    m_surroundings.events.servicesDiscovered(m_peripheral, failed, found);
}

void CoreBluetoothLink::discoverCharacteristic(const LEChannel& channel)
{
    if (m_phase != Phase::connected)
        return;
    m_askedService = channel.service;
    if (!m_surroundings.port.discoverCharacteristic(m_peripheral, channel))
        m_post([this, service = channel.service] { characteristicsFound(service, true, {}); });
}

void CoreBluetoothLink::characteristicsFound(
    GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics)
{
    if (m_askedService != service)
        return;
    m_askedService.reset();
    m_surroundings.events.characteristicsDiscovered(m_peripheral, service, failed, characteristics);
}

void CoreBluetoothLink::servicesInvalidated(const std::vector<GattUuid>& services)
{
    // What is written there now would reach nobody, and nobody would say so: the connection counts as lost.
    if (m_channel && contains(services, m_channel->service))
        cancel();
}

// Writing

void CoreBluetoothLink::openChannel(const LEChannel& channel)
{
    if (m_phase != Phase::connected)
        return;
    if (!m_surroundings.port.hasCharacteristic(m_peripheral, channel)) {
        cancel(); // it became invalid between two jobs; a new connection finds the new one
        return;
    }
    m_channel = channel;
    m_post([this, channel] {
        if (m_channel == channel)
            m_surroundings.events.channelOpened(m_peripheral, channel);
    });
}

void CoreBluetoothLink::closeChannel()
{
    m_channel.reset();
    m_waitsForRoom = false;
    m_roomCheck.cancel();
}

int CoreBluetoothLink::maximumWriteLength(LEWriteType type) const
{
    return m_channel ? m_surroundings.port.maximumWriteLength(m_peripheral, type) : 0;
}

bool CoreBluetoothLink::canSend()
{
    if (!m_channel)
        return false;
    const bool can = m_surroundings.port.canSendWriteWithoutResponse(m_peripheral);
    if (can)
        m_waitsForRoom = false;
    else
        waitForRoom();
    return can;
}

void CoreBluetoothLink::waitForRoom()
{
    m_waitsForRoom = true;
    m_roomCheck = m_surroundings.queue.after(roomCheck, [this] {
        if (!m_waitsForRoom)
            return;
        if (m_surroundings.port.canSendWriteWithoutResponse(m_peripheral))
            roomFound();
        else
            waitForRoom();
    });
}

void CoreBluetoothLink::roomFound()
{
    m_waitsForRoom = false;
    m_surroundings.events.readyToWrite(m_peripheral);
}

void CoreBluetoothLink::readyToWrite()
{
    if (m_waitsForRoom)
        roomFound();
}

void CoreBluetoothLink::write(const LEChannel& channel, const QByteArray& bytes, LEWriteType type)
{
    if (m_phase != Phase::connected)
        return;
    const bool isWritten = m_channel == channel && m_surroundings.port.write(m_peripheral, channel, bytes, type);
    if (type == LEWriteType::withResponse) {
        m_written = channel;
        if (!isWritten)
            failWrite();
    } else if (!isWritten) {
        cancel();
    }
}

void CoreBluetoothLink::valueWritten(const LEChannel& channel, bool failed)
{
    if (m_written != channel)
        return;
    if (failed) {
        failWrite();
        return;
    }
    m_written.reset();
    m_surroundings.events.valueWritten(m_peripheral, channel, false);
}

void CoreBluetoothLink::failWrite()
{
    m_writeReport = m_surroundings.queue.after(doubt, [this] {
        if (const auto channel = std::exchange(m_written, std::nullopt))
            m_surroundings.events.valueWritten(m_peripheral, *channel, true);
    });
}

} // namespace harrowmint
