#pragma once

#include "transports/macos/bluetooth/IOBluetoothPort.h"

#include <QStringList>
#include <functional>
#include <utility>

namespace harrowmint::test {

/// What a test sees and sets of the framework. Outlives the ports.
struct SerialScript {
    IOBluetoothLinkEvents* events = nullptr; ///< of the link that was made last, while its port lives
    QStringList calls;
    std::vector<PairedDevice> devices;
    bool isPaired = true;
    bool takesQuery = true;
    bool takesOpening = true;
    bool takesWriting = true;
    std::optional<int> channel = 3;
    int mtu = 127;
    const char* packet = nullptr; ///< where the bytes of the last write are
    std::function<void()> duringOpening; ///< run within the call
    std::function<void()> duringWriting;
};

/// An IOBluetoothLinkPort that does what its script says.
class ScriptedSerialLink final : public IOBluetoothLinkPort {
public:
    ScriptedSerialLink(SerialScript& script, IOBluetoothLinkEvents& events)
        : m_script(script)
    {
        m_script.events = &events;
    }
    ~ScriptedSerialLink() override
    {
        m_script.events = nullptr;
        m_script.calls += QStringLiteral("end");
    }

    bool findDevice(const QString& address) override
    {
        m_script.calls += QStringLiteral("find %1").arg(address);
        return m_script.isPaired;
    }
    bool beginQuery() override
    {
        m_script.calls += QStringLiteral("query");
        return m_script.takesQuery;
    }
    std::optional<int> serialPortChannel() override { return m_script.channel; }
    bool beginOpening(int channel) override
    {
        m_script.calls += QStringLiteral("open %1").arg(channel);
        if (m_script.duringOpening)
            m_script.duringOpening();
        return m_script.takesOpening;
    }
    int mtu() override { return m_script.mtu; }
    bool beginWriting(char* bytes, int count) override
    {
        m_script.calls += QStringLiteral("write %1").arg(QString::fromLatin1(bytes, count));
        m_script.packet = bytes;
        if (m_script.duringWriting)
            m_script.duringWriting();
        return m_script.takesWriting;
    }
    void close() override { m_script.calls += QStringLiteral("close"); }

private:
    SerialScript& m_script;
};

class ScriptedIOBluetooth final : public IOBluetoothPort {
public:
    explicit ScriptedIOBluetooth(SerialScript& script)
        : m_script(script)
    {
    }

    std::vector<PairedDevice> pairedDevices() override { return m_script.devices; }
    std::unique_ptr<IOBluetoothLinkPort> makeLink(IOBluetoothLinkEvents& events) override
    {
        return std::make_unique<ScriptedSerialLink>(m_script, events);
    }

private:
    SerialScript& m_script;
};

/// Writes down what a link reports, one line an event, and may do something about it.
class SerialEventRecorder final : public SerialLinkEvents {
public:
    void deviceFound(bool paired) override { note("device", paired); }
    void sdpQueryComplete(bool succeeded) override { note("query", succeeded); }
    void rfcommChannelOpenComplete(SerialOpenResult result) override
    {
        note("open", result == SerialOpenResult::opened);
    }
    void rfcommChannelWriteComplete(bool succeeded) override { note("written", succeeded); }
    void rfcommChannelClosed() override { note("closed", true); }

    QStringList taken() { return std::exchange(m_lines, {}); }
    std::function<void()> onEvent;

private:
    void note(const char* event, bool isWell)
    {
        m_lines += QString::fromLatin1(event) + (isWell ? QStringLiteral(" well") : QStringLiteral(" failed"));
        if (onEvent)
            onEvent();
    }

    QStringList m_lines;
};

} // namespace harrowmint::test
