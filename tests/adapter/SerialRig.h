#pragma once

#include "adapter/AdapterRig.h"
#include "transports/linux/bluez/BluezSerialBluetooth.h"

#include <optional>

namespace adapter {

inline const QString serialPort = QStringLiteral("00001101-0000-1000-8000-00805f9b34fb");
inline const QString linkAddress = QStringLiteral("AA-BB-CC-DD-EE-01");

/// Keeps what a link reports, as short texts in order.
class RecordedLinkEvents final : public harrowmint::SerialLinkEvents {
public:
    std::vector<std::string> log;

    void deviceFound(bool paired) override { log.emplace_back(paired ? "paired" : "not paired"); }
    void sdpQueryComplete(bool succeeded) override { log.emplace_back(succeeded ? "query" : "query failed"); }
    void rfcommChannelOpenComplete(harrowmint::SerialOpenResult result) override
    {
        static const char* const names[] = {"opened", "open failed", "no service", "unavailable"};
        log.emplace_back(names[static_cast<int>(result)]);
    }
    void rfcommChannelWriteComplete(bool succeeded) override
    {
        log.emplace_back(succeeded ? "written" : "not written");
    }
    void rfcommChannelClosed() override { log.emplace_back("closed"); }
};

/// A paired serial printer, and links to it.
class SerialTest : public BluezTest {
protected:
    /// Starts bluetoothd with one adapter and the printer, paired.
    void startWithSerialPrinter(bool powered = true)
    {
        m_bluez.add(hci0, adapterObject(powered));
        m_bluez.add(printerPath,
            deviceObject(printerAddress,
                {{QStringLiteral("Paired"), true}, {QStringLiteral("Alias"), QStringLiteral("Serial Printer")},
                    {QStringLiteral("UUIDs"), QStringList{serialPort}}}));
        m_bluez.start();
    }

    void makeSerial() { m_serial.emplace(m_queue, m_bus.address()); }

    [[nodiscard]] bool waitForEvent(const std::string& text)
    {
        return waitFor([&] { return !m_events.log.empty() && m_events.log.back() == text; });
    }

    /// A new link that knows its device.
    void findPrinter()
    {
        if (!m_serial)
            makeSerial();
        m_link.reset();
        m_link = m_serial->makeLink(m_events);
        m_link->findDevice(linkAddress);
        ASSERT_TRUE(waitForEvent("paired"));
    }

    /// A new link with an open channel.
    void openChannel()
    {
        findPrinter();
        ASSERT_TRUE(m_link->openChannel(1));
        ASSERT_TRUE(waitForEvent("opened"));
    }

    void behaveWithError(const char* member, const char* error, const char* text, int times = -1)
    {
        m_bluez.behave(QLatin1String(member),
            {{QStringLiteral("error"), QString::fromLatin1(error)}, {QStringLiteral("text"), QString::fromLatin1(text)},
                {QStringLiteral("times"), times}});
    }

    RecordedLinkEvents m_events;
    std::optional<harrowmint::BluezSerialBluetooth> m_serial;
    std::unique_ptr<harrowmint::SerialLink> m_link;
};

} // namespace adapter
