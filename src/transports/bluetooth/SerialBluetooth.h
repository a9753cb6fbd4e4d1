#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint {

/// A device that the user has paired in the system's Bluetooth settings. A plain value.
struct PairedDevice {
    QString address; ///< the system's own form; hyphens or colons between the pairs, either case
    QString name; ///< empty when it has none
};

/// How a request to open a channel ended.
enum class SerialOpenResult {
    opened,
    failed, ///< the printer refused or the connection broke
    noService, ///< only now was it found that the device offers no Serial Port, or cannot be asked
    unavailable, ///< the system could not try: Bluetooth is off, another program has the port, a try is under way
};

/// What a SerialLink reports. Implemented by the link's owner.
///
/// Every function is called on the owner's queue, from the queue's own loop: never within a call of a SerialLink
/// function and never after the link's destructor has begun. Each concerns the link's one device and one channel; what
/// the system reports of others is dropped by the link. The receiver may call any function of the link, but must not
/// destroy it within an event.
/// A receiver tolerates repeated, late and unexpected events; a link nevertheless keeps the promises below.
class SerialLinkEvents {
public:
    SerialLinkEvents() = default;
    SerialLinkEvents(const SerialLinkEvents&) = delete;
    SerialLinkEvents& operator=(const SerialLinkEvents&) = delete;
    virtual ~SerialLinkEvents() = default;

    /// The answer to `findDevice`: whether the system knows the device and it is paired. False, too, when there is no
    /// Bluetooth or the system's Bluetooth service is not running.
    virtual void deviceFound(bool paired) = 0;
    /// The answer to `startServiceQuery`. `succeeded`: `serialPortChannel` may be asked.
    virtual void sdpQueryComplete(bool succeeded) = 0;
    /// The answer to `openChannel`, once.
    virtual void rfcommChannelOpenComplete(SerialOpenResult result) = 0;
    /// The answer to `write`, once for each: the system has taken the whole packet, or never will.
    virtual void rfcommChannelWriteComplete(bool succeeded) = 0;
    /// The open channel is gone: closed by the printer, by the radio or by the system. Not reported after
    /// `closeChannel`. At most once.
    virtual void rfcommChannelClosed() = 0;
};

/// The way to one paired device for the length of one job: find it, ask for its Serial Port service, open the RFCOMM
/// channel, write. Lives on the owner's queue, which also destroys it; no function blocks. The calls come in the order
/// of their declaration, each after the one before was answered. Time limits are the owner's.
/// Destruction closes the channel, without waiting, and ends all events.
class SerialLink {
public:
    SerialLink() = default;
    SerialLink(const SerialLink&) = delete;
    SerialLink& operator=(const SerialLink&) = delete;
    virtual ~SerialLink() = default;

    /// Looks up the device with this address: six pairs of upper-case hexadecimal digits joined by hyphens. Answered by
    /// `deviceFound`.
    virtual void findDevice(const QString& address) = 0;
    /// Begins to ask the found device for its services. False when that cannot even be begun (no answer comes then);
    /// else answered by `sdpQueryComplete`.
    [[nodiscard]] virtual bool startServiceQuery() = 0;
    /// The RFCOMM channel of the device's Serial Port service (0x1101), from memory; nothing when it has no such
    /// service or names no channel. Where the system finds the channel by itself on opening, any number from 1 to 30
    /// says that the service is there.
    [[nodiscard]] virtual std::optional<int> serialPortChannel() const = 0;
    /// Begins to open the channel. False when that cannot even be begun (no answer comes then); else answered by
    /// `rfcommChannelOpenComplete`.
    [[nodiscard]] virtual bool openChannel(int channel) = 0;
    /// The largest packet of the open channel, in bytes.
    [[nodiscard]] virtual int mtu() const = 0;
    /// Writes one packet of 1 to `mtu` bytes; the link keeps its own hold on them. One at a time. False when it is
    /// refused at once (no answer comes then); else answered by `rfcommChannelWriteComplete`, or by
    /// `rfcommChannelClosed`.
    [[nodiscard]] virtual bool write(const QByteArray& packet) = 0;
    /// Closes the channel, or gives up opening it; nothing is reported of this link afterwards. What was written and
    /// confirmed before still reaches the printer. May be called at any time, also twice.
    virtual void closeChannel() = 0;
};

/// The paired classic devices of this computer. Lives on its owner's queue (the agent's main queue) and outlives the
/// links that it makes. No function blocks; all are called on that queue.
class SerialBluetooth {
public:
    using Devices = std::vector<PairedDevice>;

    SerialBluetooth() = default;
    SerialBluetooth(const SerialBluetooth&) = delete;
    SerialBluetooth& operator=(const SerialBluetooth&) = delete;
    virtual ~SerialBluetooth() = default;

    /// Hands the paired devices, in the system's order, to `completion`: once, on the owner's queue, never within this
    /// call. Without Bluetooth, or when the system does not answer, the list is empty. Dropped, unanswered, when this
    /// object dies first.
    virtual void pairedDevices(std::function<void(const Devices&)> completion) = 0;
    /// A link for one job that reports to `events`, which outlives it. Does not fail; what is missing shows in the
    /// link's answers.
    [[nodiscard]] virtual std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) = 0;
};

/// Makes the devices of one owner. Called on the owner's queue, when they are first needed; does not block and does not
/// fail (what is missing shows in the answers).
using SerialBluetoothFactory = std::function<std::unique_ptr<SerialBluetooth>()>;

} // namespace harrowmint
