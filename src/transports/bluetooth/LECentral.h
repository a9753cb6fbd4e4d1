#pragma once

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace harrowmint {

/// A service or characteristic by its assigned 16-bit number: 0x18F0 stands for
/// 000018f0-0000-1000-8000-00805f9b34fb.
using GattUuid = std::uint16_t;

/// Whether LE can be used. Everything but `poweredOn` means that no other call does anything.
enum class LECentralState {
    unknown, ///< not found out yet; another state follows soon
    resetting, ///< the connection to the system's Bluetooth service was lost and is coming back
    unsupported, ///< this computer has no LE
    unauthorised, ///< the system or the user refuses this program access
    poweredOff, ///< switched off, no adapter, or the system's Bluetooth service is not running
    poweredOn,
};

/// The link to one peripheral.
enum class LEPeripheralState { disconnected, connecting, connected, disconnecting };

/// How a characteristic is written: answered by the peripheral, or not.
enum class LEWriteType { withResponse, withoutResponse };

/// One peripheral that the system knows. A plain value.
struct LEPeripheral {
    QUuid identifier; ///< stable across connections and restarts of the program
    QString name; ///< as the device says it; empty when it has none
};

/// One characteristic of a discovered service, and how it can be written. A plain value.
struct LECharacteristic {
    GattUuid uuid = 0;
    bool write = false; ///< with response
    bool writeWithoutResponse = false;
};

/// A characteristic's place on its peripheral.
struct LEChannel {
    GattUuid service = 0;
    GattUuid characteristic = 0;

    bool operator==(const LEChannel&) const = default;
};

/// What an LECentral reports. Implemented by the central's owner.
///
/// Every function is called on the owner's queue, from the queue's own loop: never within a call of an LECentral
/// function, never before the factory has returned and never after the central's destructor has begun. The receiver may
/// call any function of the central, but must not destroy it. A receiver tolerates repeated, late and unexpected
/// events; a central nevertheless keeps the promises below.
class LECentralEvents {
public:
    LECentralEvents() = default;
    LECentralEvents(const LECentralEvents&) = delete;
    LECentralEvents& operator=(const LECentralEvents&) = delete;
    virtual ~LECentralEvents() = default;

    /// The state is `state` now, one call for every change; `LECentral::state` changes at this moment. A central that
    /// begins with `unknown` reports what it has found out before long. Leaving `poweredOn` ends every scan and every
    /// link; a `disconnected` for those links may follow or not.
    virtual void stateChanged(LECentralState state) = 0;
    /// A peripheral was seen by the running scan. `advertisedName` is the local name of its advertisement, empty when
    /// that carries none; `peripheral.name` is the system's name of it. Once for each peripheral and scan, a second
    /// time when the name becomes known later. Peripherals that the system knew before are reported as well, but only
    /// when this scan has seen them.
    virtual void discovered(const LEPeripheral& peripheral, const QString& advertisedName) = 0;
    /// The connection asked for with `connect` stands; services may be discovered.
    virtual void connected(const QUuid& peripheral) = 0;
    /// The connection asked for with `connect` did not come about. Ends that request.
    virtual void failedToConnect(const QUuid& peripheral) = 0;
    /// A connection has ended, or a `connect` was cancelled: by the peripheral, by the radio or by `cancelConnection`.
    /// Reported once the system can take a new `connect` for it. No other event of the ended connection comes later; a
    /// `connect` that is called while the report is still due takes its place.
    /// While the reason is still in doubt the central first waits a little (100 to 200 ms): when Bluetooth as a whole
    /// went off, `stateChanged` comes first and alone decides.
    virtual void disconnected(const QUuid& peripheral) = 0;
    /// The answer to `discoverServices`: those of the services asked for that the peripheral has, in any order.
    /// `failed`: the services could not be read, which is not the same as having none of them. A connected peripheral
    /// without any service at all counts as failed where the system cannot tell the two apart.
    virtual void servicesDiscovered(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services) = 0;
    /// The answer to `discoverCharacteristic` for `service`: the characteristics found, at most the one asked for being
    /// of interest. `failed`: they could not be read.
    virtual void characteristicsDiscovered(const QUuid& peripheral, GattUuid service, bool failed,
        const std::vector<LECharacteristic>& characteristics) = 0;
    /// The answer to `openChannel`: the largest writes are known now and `write` may be called.
    virtual void channelOpened(const QUuid& peripheral, const LEChannel& channel) = 0;
    /// The answer to one `write` with response; exactly one for each. When the link went down with the write, a
    /// `disconnected` or `stateChanged` comes instead: the central waits a little (100 to 200 ms) before it reports a
    /// failure.
    virtual void valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed) = 0;
    /// `canSendWriteWithoutResponse` has turned true after it had been found false.
    virtual void readyToWrite(const QUuid& peripheral) = 0;
};

/// The LE central role of this computer, as one client of the system's Bluetooth service: its scan, its connections and
/// its write channel are its own, so that two centrals in one process do not disturb each other.
///
/// Created by an LECentralFactory on its owner's queue; every function, the destructor included, is called there, and
/// none blocks. All requests are asynchronous: what comes of them arrives as an event. A request that cannot be carried
/// out is answered by the event that reports its failure, never by silence, save that nothing is promised once the
/// state has left `poweredOn`. Time limits are the owner's: a central gives up by itself only where the system does.
/// Destruction ends the scan, the channel and the links that this central has asked for, without waiting.
class LECentral {
public:
    LECentral() = default;
    LECentral(const LECentral&) = delete;
    LECentral& operator=(const LECentral&) = delete;
    virtual ~LECentral() = default;

    /// The current state; `unknown` right after construction unless it can be told at once.
    [[nodiscard]] virtual LECentralState state() const = 0;

    /// The known peripherals with this identifier: one or none. Answers from memory; a peripheral is known when the
    /// system could connect to it without seeing it first.
    [[nodiscard]] virtual std::vector<LEPeripheral> knownPeripherals(const QUuid& identifier) const = 0;
    /// The peripherals that are connected to this computer, by whomever, and have at least one of `services`. Answers
    /// from memory.
    [[nodiscard]] virtual std::vector<LEPeripheral> connectedPeripherals(
        const std::vector<GattUuid>& services) const = 0;
    /// The link to a peripheral; `disconnected` for one that is not known.
    [[nodiscard]] virtual LEPeripheralState peripheralState(const QUuid& peripheral) const = 0;

    /// Begins to look for all advertising peripherals, whatever services they name. When a scan runs already, nothing
    /// changes.
    virtual void startScan() = 0;
    /// Ends the scan; no `discovered` comes afterwards. Does nothing when none runs.
    virtual void stopScan() = 0;

    /// Asks for a connection to a known peripheral or one that a scan has seen. One that is connected already, by this
    /// program or another, is reported as connected. Answered by `connected`, `failedToConnect` or `disconnected`.
    /// The owner does not call it again before one of these has come.
    virtual void connect(const QUuid& peripheral) = 0;
    /// Ends the connection, or the attempt. Answered by `disconnected` (or `failedToConnect` for an attempt) when it is
    /// really over, exactly once; nothing else is reported of this peripheral until then. Does nothing, and is not
    /// answered, when the peripheral's state is `disconnected`.
    virtual void cancelConnection(const QUuid& peripheral) = 0;

    /// Reads which of `services` a connected peripheral has. Answered by `servicesDiscovered`.
    virtual void discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) = 0;
    /// Looks for `channel.characteristic` in the first discovered service with the number `channel.service`. Answered
    /// by `characteristicsDiscovered` for that service.
    virtual void discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) = 0;

    /// Prepares a discovered characteristic for the writes of one job, all of them of `type`; a channel that others
    /// could then not use is held from here to `closeChannel`. Answered by `channelOpened`, or by `disconnected` when
    /// the link is gone. At most one channel is open at a time. Where the system has no such notion it is answered at
    /// once.
    virtual void openChannel(const QUuid& peripheral, const LEChannel& channel, LEWriteType type) = 0;
    /// Ends the use of the open channel, which the end of its connection does as well. Does nothing when none is open.
    /// What was written before still reaches the peripheral, if the connection lasts.
    virtual void closeChannel(const QUuid& peripheral) = 0;
    /// The largest `write` of this type that the peripheral takes in one piece, in bytes; valid while the channel is
    /// open.
    [[nodiscard]] virtual int maximumWriteLength(const QUuid& peripheral, LEWriteType type) const = 0;
    /// Whether a write without response would be taken now. After a false answer `readyToWrite` follows when it would.
    [[nodiscard]] virtual bool canSendWriteWithoutResponse(const QUuid& peripheral) = 0;
    /// Whether the system has taken over all that was written without response. After a false answer `readyToWrite`
    /// follows when it has. Where the system tells only whether it would take another write, that is the answer.
    [[nodiscard]] virtual bool hasHandedOver(const QUuid& peripheral)
    {
        return canSendWriteWithoutResponse(peripheral);
    }
    /// Writes `bytes`, at most `maximumWriteLength`, to the open channel, in the order of the calls. With response: one
    /// at a time, answered by `valueWritten`. Without response: only after `canSendWriteWithoutResponse` said true, not
    /// answered; where the system reports that such a write has failed, the connection counts as lost.
    virtual void write(
        const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) = 0;
};

/// Makes a central that reports to `events`, which outlives it. Called on the owner's queue, when the central is first
/// needed; does not block and does not fail (what is missing shows in `LECentral::state`).
using LECentralFactory = std::function<std::unique_ptr<LECentral>(LECentralEvents& events)>;

} // namespace harrowmint
