#pragma once

#include "transports/bluetooth/LECentral.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezLEServices.h"
#include "transports/linux/bluez/BluezLinkUsers.h"

#include <QObject>
#include <optional>

namespace harrowmint {

/// How a link came to its end.
enum class BluezLinkEnd { failedToConnect, disconnected };

/// What a BluezLELink tells the central that owns it, from the queue's own loop.
class BluezLELinkOwner {
public:
    BluezLELinkOwner() = default;
    BluezLELinkOwner(const BluezLELinkOwner&) = delete;
    BluezLELinkOwner& operator=(const BluezLELinkOwner&) = delete;
    virtual ~BluezLELinkOwner() = default;

    /// A link is about to be connected, or no longer. One that is destroyed meanwhile says nothing.
    virtual void setConnecting(bool connecting) = 0;
    /// Whether BlueZ may be asked to connect now: it is much slower beside a search or its end. When that changes, the
    /// links are evaluated.
    [[nodiscard]] virtual bool mayConnect() const = 0;
    /// The link is over and reports nothing more. The owner retires it and tells the central's user.
    virtual void linkEnded(const QUuid& peripheral, BluezLinkEnd end) = 0;
};

/// The link to one peripheral, from the request for it to its end. Decides by BlueZ's properties rather than by its
/// error texts, which say little. Lives on the client's queue; owned by the central, which retires it (never destroys
/// it within one of its events).
class BluezLELink final : public QObject {
public:
    /// What a link needs of its central; all of it outlives the link.
    struct Surroundings {
        SerialQueue& queue;
        BluezClient& client;
        BluezSocketDrain& drain;
        BluezLinkUsers& users;
        BluezLELinkOwner& owner;
        LECentralEvents& events;
    };

    BluezLELink(const Surroundings& surroundings, const QUuid& peripheral);
    /// Ends the link, if it still stands and is this process's own, without waiting.
    ~BluezLELink() override;

    /// Begins to connect.
    void connectDevice();
    /// Ends the link or the attempt; `linkEnded` follows.
    void cancel();
    /// While the link is being cancelled: connects again as soon as it has ended, instead of `linkEnded`.
    void connectAgain();
    /// Forgets the link without a word: Bluetooth as a whole is gone.
    void abandon();
    /// Looks at the device's properties again: something may have changed.
    void evaluate();

    [[nodiscard]] LEPeripheralState state() const;
    /// Whether the link is being let go of and its end not yet reported.
    [[nodiscard]] bool isCancelling() const { return m_phase == Phase::cancelling; }

    /// What the peripheral offers, while the link stands.
    [[nodiscard]] BluezLEServices& services() { return m_services; }

private:
    enum class Phase {
        waiting, ///< to ask BlueZ to connect, which it may not yet, or for the end of an earlier link
        pausing, ///< somebody else is connecting; ask again soon
        connecting, ///< BlueZ was asked
        connected,
        doubtful, ///< it looks lost; what else is lost shows soon
        cancelling, ///< let go of, by the user or after a loss
        ended,
    };

    [[nodiscard]] std::optional<BluezDevice> device() const;
    [[nodiscard]] bool isUp() const;
    [[nodiscard]] bool isEnding() const;
    void tryConnect();
    void askToConnect(const QString& devicePath);
    void setConnecting(bool connecting);
    void connectReplied(const QDBusMessage& reply);
    void askWhetherUp();
    void stayInDoubtOfConnecting();
    void connectLater();
    void becomeConnected();
    void letGo();
    void askToDisconnect(const QString& devicePath);
    void callDevice(const QString& devicePath, const QString& member, const BluezClient::Reply& reply);
    void endIfCancelled();
    void lose();
    void stayInDoubt();
    void end(BluezLinkEnd end);
    bool leaveUsers();
    void channelLost();

    Surroundings m_with;
    QUuid m_peripheral;
    QString m_address;
    Phase m_phase = Phase::waiting;
    bool m_joined = false;
    bool m_connecting = false; ///< as the owner was told
    bool m_ending = false; ///< marked as ending by this one
    bool m_seenDown = false; ///< while doubtful: BlueZ says so, too
    bool m_again = false; ///< a new link was asked for before the end of the old one
    int m_attempt = 0; ///< answers to an earlier attempt's calls are dropped
    int m_pendingCalls = 0; ///< Connect and Disconnect
    BluezLEServices m_services;
    Timer m_timer;
    Timer m_giveUp;
    QueuePost m_post;
};

} // namespace harrowmint
