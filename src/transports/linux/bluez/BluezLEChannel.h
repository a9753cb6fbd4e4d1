#pragma once

#include "transports/bluetooth/LECentral.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezSocketDrain.h"

#include <QByteArray>
#include <QObject>
#include <functional>
#include <memory>

namespace harrowmint {

/// What a BluezLEChannel reports, from the queue's own loop. The receiver must not destroy the channel within an event;
/// it may close it.
struct BluezLEChannelEvents {
    std::function<void()> opened;
    std::function<void()> ready; ///< `canSend`, or `hasHandedOver`, is true again
    std::function<void(bool failed)> written; ///< one write with response
    std::function<void()> lost; ///< BlueZ has let go of the characteristic; nothing follows
};

/// The writes of one job to one characteristic. Without response they go through the packet socket that AcquireWrite
/// passes, where there is none through WriteValue, one at a time; with response through WriteValue. While somebody else
/// holds the characteristic, the channel waits and tries again until it is closed: another job of this computer is
/// writing there, and its time limit, like this one's, is its owner's.
/// Lives on the client's queue; owned by a link.
class BluezLEChannel final : public QObject {
public:
    /// Begins to open at once. `drain` outlives the channel.
    BluezLEChannel(SerialQueue& queue, BluezClient& client, BluezSocketDrain& drain, QString characteristicPath,
        LEWriteType type, BluezLEChannelEvents events);

    /// Lets go; no event comes afterwards. What was sent is still delivered.
    void close();
    /// In bytes; 0 before `opened`.
    [[nodiscard]] int maximumWriteLength() const { return m_maximumLength; }
    /// Whether a write without response would be taken; `ready` follows a false answer.
    [[nodiscard]] bool canSend();
    /// Whether BlueZ has taken all that was written without response; `ready` follows a false answer.
    [[nodiscard]] bool hasHandedOver();
    /// Sends or queues one packet, at most `maximumWriteLength` long, after the one before has been taken.
    void write(const QByteArray& bytes);

private:
    enum class Phase { opening, open, closed };

    void acquire();
    void acquired(const QDBusMessage& reply);
    void takeSocket(const QDBusMessage& reply);
    void readMtu();
    void open(int mtu);
    void sendPacket();
    void socketWritable();
    void lookWhetherRead();
    void writeValue();
    void valueWritten(const QDBusMessage& reply);
    void packetDone(bool failed);
    void lose();
    [[nodiscard]] BluezCall characteristicCall(const QString& member, const QVariantList& arguments) const;

    SerialQueue& m_queue;
    BluezClient& m_client;
    BluezSocketDrain& m_drain;
    QString m_path;
    LEWriteType m_type;
    BluezLEChannelEvents m_events;
    Phase m_phase = Phase::opening;
    std::unique_ptr<BluezSocket> m_socket;
    QByteArray m_packet; ///< being written; empty when the next may come
    bool m_readyOwed = false;
    int m_maximumLength = 0;
    Timer m_timer;
    QueuePost m_post;
};

} // namespace harrowmint
