#pragma once

#include "ScriptedCoreBluetooth.h"
#include "support/VirtualQueue.h"
#include "transports/macos/bluetooth/CoreBluetoothCentral.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

/// A central on virtual time over a scripted framework.
class CoreBluetoothRig : public testing::Test {
protected:
    static constexpr LEChannel channel{0x18F0, 0x2AF1};
    /// Just within, and just beyond, the time for which a failure's report waits.
    static constexpr std::chrono::milliseconds beforeDoubtEnds{149};
    static constexpr std::chrono::milliseconds step{1};

    CoreBluetoothRig()
        : queue(clock)
        , central(std::make_unique<CoreBluetoothCentral>(queue, recorder,
              [this](CoreBluetoothEvents& events) { return std::make_unique<ScriptedCoreBluetooth>(script, events); }))
    {
    }

    /// The framework's events, and what the owner has been told when all hops are done.
    [[nodiscard]] CoreBluetoothEvents& framework() { return *script.events; }
    QStringList told()
    {
        clock->runDue();
        return recorder.taken();
    }
    QStringList toldAfter(SerialQueue::Duration time)
    {
        clock->advance(time);
        return recorder.taken();
    }
    /// The requests since the last call.
    QStringList asked() { return std::exchange(script.calls, {}); }

    void powerOn() { setState(coreBluetooth::statePoweredOn); }
    void setState(int state)
    {
        framework().managerStateChanged(state, coreBluetooth::authorizationAllowed);
        told();
        asked();
    }
    /// The link to printer 1 stands.
    void connectPrinter()
    {
        central->connect(printer(1));
        script.states[printer(1)] = LEPeripheralState::connected;
        framework().peripheralConnected(printer(1));
        told();
        asked();
    }
    void openChannel()
    {
        connectPrinter();
        central->openChannel(printer(1), channel, LEWriteType::withResponse);
        told();
    }
    /// The framework sees the link to printer 1 go down.
    void dropLink()
    {
        script.states[printer(1)] = LEPeripheralState::disconnected;
        framework().peripheralDisconnected(printer(1));
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue;
    FrameworkScript script;
    LEEventRecorder recorder;
    std::unique_ptr<CoreBluetoothCentral> central;
};

inline QStringList lines(std::initializer_list<const char*> texts)
{
    QStringList list;
    for (const char* const text : texts)
        list += QString::fromUtf8(text);
    return list;
}

} // namespace harrowmint::test
