#pragma once

#include "transports/bluetooth/SerialBluetooth.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezSerialPortProfile.h"
#include "transports/linux/bluez/BluezSocket.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>

namespace harrowmint {

/// The way to one paired device over BlueZ, for one job. BlueZ finds the channel by itself while it connects, so the
/// query answers from its record of the device, and what only then goes wrong shows on opening.
/// When bluetoothd goes, the channel counts as closed, also while it is being opened. Lives on the client's queue; dies
/// before the SerialBluetooth that made it.
class BluezSerialLink final : public QObject, public SerialLink {
public:
    /// What a link needs of its maker; all of it outlives the link.
    struct Surroundings {
        SerialQueue& queue;
        BluezClient& client;
        BluezSerialPortProfile& profile;
        /// Runs the task once it is known whether there is a bluetoothd.
        std::function<void(QObject* context, std::function<void()> task)> whenSettled;
    };

    BluezSerialLink(Surroundings surroundings, SerialLinkEvents& events);
    ~BluezSerialLink() override;

    void findDevice(const QString& address) override;
    [[nodiscard]] bool startServiceQuery() override;
    [[nodiscard]] std::optional<int> serialPortChannel() const override;
    [[nodiscard]] bool openChannel(int channel) override;
    [[nodiscard]] int mtu() const override;
    [[nodiscard]] bool write(const QByteArray& packet) override;
    void closeChannel() override;

    /// The owner of org.bluez has changed.
    void serviceChanged();

private:
    enum class Phase { idle, opening, open, gone, closed };

    [[nodiscard]] std::optional<BluezDevice> device() const;
    void report(const std::function<void(SerialLinkEvents&)>& event);
    void connectProfile();
    void connectReplied(const QDBusMessage& reply);
    void channelArrived(int descriptor);
    void openFailed(const QDBusMessage& reply);
    void endOpening(SerialOpenResult result);
    void pump();
    void channelGone();
    void reportEnd();
    void endChannel();
    void stopExpecting();

    Surroundings m_with;
    SerialLinkEvents& m_events;
    QString m_address;
    QString m_owner; ///< the bluetoothd that was asked for the channel
    QString m_expectedPath;
    Phase m_phase = Phase::idle;
    bool m_connectPending = false;
    int m_attempts = 0;
    std::unique_ptr<BluezSocket> m_socket;
    QByteArray m_packet; ///< being written, from m_offset on; empty when none is
    qsizetype m_offset = 0;
    bool m_endIsOnItsWay = false; ///< a `rfcommChannelClosed` that is not delivered yet
    Timer m_timer;
    QueuePost m_post;
};

} // namespace harrowmint
