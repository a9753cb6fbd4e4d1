#pragma once

#include "transports/macos/bluetooth/CoreBluetoothPort.h"

#include <QStringList>
#include <map>
#include <set>

namespace harrowmint::test {

/// What a test sees and sets of the framework. Outlives the ports.
struct FrameworkScript {
    CoreBluetoothEvents* events = nullptr; ///< of the living port
    QStringList calls; ///< requests, in their order; questions are not among them
    std::map<QUuid, LEPeripheralState> states;
    std::set<QUuid> unknown; ///< peripherals that the framework does not have
    bool hasService = true;
    bool hasCharacteristic = true;
    bool hasRoom = true;
    int largestWrite = 512;
    int roomQuestions = 0;
    std::function<void()> duringConnect; ///< run within the call
};

/// A CoreBluetoothPort that does what its script says.
class ScriptedCoreBluetooth final : public CoreBluetoothPort {
public:
    ScriptedCoreBluetooth(FrameworkScript& script, CoreBluetoothEvents& events);
    ~ScriptedCoreBluetooth() override;

    void startScan(int scan) override;
    void stopScan() override;
    std::vector<LEPeripheral> retrieve(const QUuid& identifier) override;
    std::vector<LEPeripheral> retrieveConnected(const std::vector<GattUuid>& services) override;
    void forgetAllBut(const std::vector<QUuid>& kept) override;
    LEPeripheralState peripheralState(const QUuid& peripheral) override;
    bool connect(const QUuid& peripheral) override;
    void cancelConnection(const QUuid& peripheral) override;
    bool discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) override;
    bool discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) override;
    bool hasCharacteristic(const QUuid& peripheral, const LEChannel& channel) override;
    int maximumWriteLength(const QUuid& peripheral, LEWriteType type) override;
    bool canSendWriteWithoutResponse(const QUuid& peripheral) override;
    bool write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override;

private:
    FrameworkScript& m_script;
};

/// Writes down what a central reports, one line an event.
class LEEventRecorder final : public LECentralEvents {
public:
    void stateChanged(LECentralState state) override;
    void discovered(const LEPeripheral& peripheral, const QString& advertisedName) override;
    void connected(const QUuid& peripheral) override;
    void failedToConnect(const QUuid& peripheral) override;
    void disconnected(const QUuid& peripheral) override;
    void servicesDiscovered(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services) override;
    void characteristicsDiscovered(const QUuid& peripheral, GattUuid service, bool failed,
        const std::vector<LECharacteristic>& characteristics) override;
    void channelOpened(const QUuid& peripheral, const LEChannel& channel) override;
    void valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed) override;
    void readyToWrite(const QUuid& peripheral) override;

    /// The lines since the last call.
    QStringList taken() { return std::exchange(m_lines, {}); }

private:
    QStringList m_lines;
};

/// A printer's identifier, by its number (1 to 9999), and the other way round.
[[nodiscard]] QUuid printer(int number);
[[nodiscard]] QString numberOf(const QUuid& identifier);

} // namespace harrowmint::test
