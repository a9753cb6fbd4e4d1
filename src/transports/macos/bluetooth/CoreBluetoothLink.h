#pragma once

#include "base/QueuePost.h"
#include "transports/macos/bluetooth/CoreBluetoothPort.h"

#include <functional>
#include <optional>
#include <vector>

namespace harrowmint {

/// One peripheral between `connect` and the report that its connection is over: keeps the promises that LECentral makes
/// of it over a framework that reports more, less and in another order. Lives on the central's queue. The functions in
/// past tense take the port's events, on that queue.
class CoreBluetoothLink {
public:
    /// The connection is over, and whether it never stood; destroys the link.
    using Ended = std::function<void(const QUuid& peripheral, bool failedToConnect)>;

    /// What a link works with; all of it outlives the link.
    struct Surroundings {
        SerialQueue& queue;
        CoreBluetoothPort& port;
        LECentralEvents& events;
        const Ended& ended;
    };

    CoreBluetoothLink(const Surroundings& surroundings, const QUuid& peripheral);
    CoreBluetoothLink(const CoreBluetoothLink&) = delete;
    CoreBluetoothLink& operator=(const CoreBluetoothLink&) = delete;
    ~CoreBluetoothLink() = default;

    [[nodiscard]] LEPeripheralState state() const;
    [[nodiscard]] bool isCancelling() const { return m_phase == Phase::cancelling; }

    void connect();
    void cancel();
    void discoverServices(const std::vector<GattUuid>& services);
    void discoverCharacteristic(const LEChannel& channel);
    void openChannel(const LEChannel& channel);
    void closeChannel();
    [[nodiscard]] int maximumWriteLength(LEWriteType type) const;
    [[nodiscard]] bool canSend();
    void write(const LEChannel& channel, const QByteArray& bytes, LEWriteType type);

    void connected();
    void failedToConnect();
    void disconnected();
    void servicesFound(bool failed, const std::vector<GattUuid>& services);
    void servicesInvalidated(const std::vector<GattUuid>& services);
    void characteristicsFound(GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics);
    void valueWritten(const LEChannel& channel, bool failed);
    void readyToWrite();

private:
    enum class Phase {
        connecting,
        connected,
        cancelling, ///< until the framework says that it is over
        ended, ///< over, but the report waits for a word about Bluetooth as a whole
    };

    void begin();
    void checkCancelled();
    void finishCancelling();
    void endInDoubt(bool failedToConnect);
    void forgetRequests();
    void waitForRoom();
    void roomFound();
    void failWrite();

    Surroundings m_surroundings;
    QUuid m_peripheral;
    Phase m_phase = Phase::ended;
    bool m_connectAgain = false; ///< asked for while cancelling
    int m_checks = 0; ///< of a cancelled connection
    bool m_wasDisconnected = false; ///< at the last check
    std::vector<GattUuid> m_askedServices; ///< empty: none asked for
    std::optional<GattUuid> m_askedService; ///< whose characteristic is asked for
    std::optional<LEChannel> m_channel; ///< the open one
    std::optional<LEChannel> m_written; ///< whose answer is due
    bool m_waitsForRoom = false;
    Timer m_report; ///< of the end, or the next check of a cancelled connection
    Timer m_writeReport;
    Timer m_roomCheck;
    QueuePost m_post;
};

} // namespace harrowmint
