#include "ScriptedCoreBluetooth.h"
#include "base/QtQueue.h"
#include "transports/macos/bluetooth/CoreBluetoothCentral.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace harrowmint::test {

namespace {

/// A framework with a thread of its own that never stops talking until the port goes.
class TalkativeCoreBluetooth final : public CoreBluetoothPort {
public:
    explicit TalkativeCoreBluetooth(CoreBluetoothEvents& events)
        : m_thread([this, &events] { talk(events); })
    {
    }
    ~TalkativeCoreBluetooth() override
    {
        m_isEnding = true;
        m_thread.join();
    }

    void startScan(int /*scan*/) override { }
    void stopScan() override { }
    std::vector<LEPeripheral> retrieve(const QUuid& /*identifier*/) override { return {}; }
    std::vector<LEPeripheral> retrieveConnected(const std::vector<GattUuid>& /*services*/) override { return {}; }
    void forgetAllBut(const std::vector<QUuid>& /*kept*/) override { }
    LEPeripheralState peripheralState(const QUuid& /*peripheral*/) override { return LEPeripheralState::connected; }
    bool connect(const QUuid& /*peripheral*/) override { return true; }
    void cancelConnection(const QUuid& /*peripheral*/) override { }
    bool discoverServices(const QUuid& /*peripheral*/, const std::vector<GattUuid>& /*services*/) override
    {
        return true;
    }
    bool discoverCharacteristic(const QUuid& /*peripheral*/, const LEChannel& /*channel*/) override { return true; }
    bool hasCharacteristic(const QUuid& /*peripheral*/, const LEChannel& /*channel*/) override { return true; }
    int maximumWriteLength(const QUuid& /*peripheral*/, LEWriteType /*type*/) override { return 20; }
    bool canSendWriteWithoutResponse(const QUuid& /*peripheral*/) override { return true; }
    bool write(const QUuid& /*peripheral*/, const LEChannel& /*channel*/, const QByteArray& /*bytes*/,
        LEWriteType /*type*/) override
    {
        return true;
    }

private:
    void talk(CoreBluetoothEvents& events) const
    {
        while (!m_isEnding) {
            events.managerStateChanged(coreBluetooth::statePoweredOn, coreBluetooth::authorizationAllowed);
            events.peripheralConnected(printer(1));
            events.peripheralDiscovered(1, {printer(2), QStringLiteral("Till")}, QStringLiteral("MTP-2"));
            events.servicesFound(printer(1), false, {0x18F0});
            events.peripheralDisconnected(printer(1));
            events.managerStateChanged(coreBluetooth::statePoweredOff, coreBluetooth::authorizationAllowed);
            std::this_thread::yield();
        }
    }

    std::atomic<bool> m_isEnding = false;
    std::thread m_thread;
};

/// Runs `task` on the queue and waits for it.
void runOn(SerialQueue& queue, const std::function<void()>& task)
{
    std::promise<void> done;
    queue.async([&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

TEST(CoreBluetoothThreads, CentralsMayDieWhileTheFrameworkTalksOnItsOwnThread)
{
    WorkerQueue queue(QStringLiteral("com.harrowmint.printer.receipts"));
    for (int round = 0; round < 20; ++round) {
        LEEventRecorder recorder;
        std::unique_ptr<CoreBluetoothCentral> central;
        runOn(queue, [&] {
            central = std::make_unique<CoreBluetoothCentral>(queue, recorder,
                [](CoreBluetoothEvents& events) { return std::make_unique<TalkativeCoreBluetooth>(events); });
        });
        const auto hasHeard = [&] {
            bool heard = false;
            runOn(queue, [&] { heard = central->state() != LECentralState::unknown; });
            return heard;
        };
        while (!hasHeard())
            std::this_thread::yield();
        runOn(queue, [&] {
            central->connect(printer(1));
            central->startScan();
        });
        QStringList heardLater;
        runOn(queue, [&] {
            central.reset();
            recorder.taken();
        });
        runOn(queue, [&] { heardLater = recorder.taken(); });
        EXPECT_EQ(heardLater, QStringList());
    }
}

} // namespace

} // namespace harrowmint::test
