#pragma once

#include "transports/bluetooth/SerialBluetooth.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint {

/// What an IOBluetoothLinkPort reports, as the framework says it: on the main thread, perhaps within one of the port's
/// calls. The receiver only hands over.
class IOBluetoothLinkEvents {
public:
    IOBluetoothLinkEvents() = default;
    IOBluetoothLinkEvents(const IOBluetoothLinkEvents&) = delete;
    IOBluetoothLinkEvents& operator=(const IOBluetoothLinkEvents&) = delete;
    virtual ~IOBluetoothLinkEvents() = default;

    virtual void queryAnswered(bool succeeded) = 0;
    virtual void channelOpened(bool succeeded) = 0;
    virtual void packetWritten(bool succeeded) = 0;
    virtual void channelClosed() = 0;
};

/// One IOBluetoothDevice and its RFCOMM channel, call by call. Main thread; no call waits for the radio. The framework
/// does not keep this object alive: it must outlive the answers that are due (see IOBluetoothWire). A function that
/// returns whether it could begin is false when the framework refuses at once; no event comes then.
class IOBluetoothLinkPort {
public:
    IOBluetoothLinkPort() = default;
    IOBluetoothLinkPort(const IOBluetoothLinkPort&) = delete;
    IOBluetoothLinkPort& operator=(const IOBluetoothLinkPort&) = delete;
    virtual ~IOBluetoothLinkPort() = default;

    /// Whether there is a device with this address (pairs of digits joined by hyphens), and it is paired.
    virtual bool findDevice(const QString& address) = 0;
    virtual bool beginQuery() = 0;
    /// Of the Serial Port service in the record of the last query.
    virtual std::optional<int> serialPortChannel() = 0;
    virtual bool beginOpening(int channel) = 0;
    virtual int mtu() = 0;
    /// `bytes` (1 to `mtu` of them) stay in their place until `packetWritten`, or until this object is gone.
    virtual bool beginWriting(char* bytes, int count) = 0;
    /// Ends the events of the channel and closes it. A query's answer may still come.
    virtual void close() = 0;
};

/// The framework's paired devices. Main thread; outlives the links that it makes.
class IOBluetoothPort {
public:
    IOBluetoothPort() = default;
    IOBluetoothPort(const IOBluetoothPort&) = delete;
    IOBluetoothPort& operator=(const IOBluetoothPort&) = delete;
    virtual ~IOBluetoothPort() = default;

    /// In the system's order.
    virtual std::vector<PairedDevice> pairedDevices() = 0;
    /// `events` outlives the link.
    virtual std::unique_ptr<IOBluetoothLinkPort> makeLink(IOBluetoothLinkEvents& events) = 0;
};

} // namespace harrowmint
