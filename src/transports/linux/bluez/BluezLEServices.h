#pragma once

#include "transports/bluetooth/LECentral.h"
#include "transports/linux/bluez/BluezClient.h"
#include "transports/linux/bluez/BluezLEChannel.h"
#include "transports/linux/bluez/BluezRetired.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint {

/// What a central's user asks of one peripheral while its link stands: services, characteristics, and the channel that
/// is written. Lives on the client's queue; owned by the link, which says when it stands and is never destroyed within
/// one of the events.
class BluezLEServices final : public QObject {
public:
    /// What it needs of the central; all of it outlives the link.
    struct Surroundings {
        SerialQueue& queue;
        BluezClient& client;
        BluezSocketDrain& drain;
        LECentralEvents& events;
    };

    /// `channelLost` is called when BlueZ has let go of the channel, or does not have the characteristic for one.
    BluezLEServices(const Surroundings& surroundings, const QUuid& peripheral, std::function<void()> channelLost);

    /// The link stands.
    void begin();
    /// It is lost or let go of: nothing more is reported.
    void end();
    /// Looks at the device's properties again: something may have changed.
    void evaluate();

    /// The answer, `servicesDiscovered`, comes once BlueZ has resolved the services.
    void discover(const std::vector<GattUuid>& services);
    void discoverCharacteristic(const LEChannel& channel);
    void openChannel(const LEChannel& channel, LEWriteType type);
    void closeChannel();
    /// The open channel; none: nothing can be written.
    [[nodiscard]] BluezLEChannel* channel() const { return m_channel.get(); }

private:
    [[nodiscard]] std::optional<BluezDevice> connectedDevice() const;
    [[nodiscard]] bool hasResolved() const;
    void awaitAll();
    void answer();

    Surroundings m_with;
    QUuid m_peripheral;
    QString m_address;
    std::function<void()> m_channelLost;
    bool m_stands = false;
    int m_link = 0; ///< answers to questions about an earlier one are dropped
    std::optional<std::vector<GattUuid>> m_wanted;
    bool m_awaitsAll = false; ///< they are resolved, but perhaps not all are known here
    LEChannel m_place;
    std::unique_ptr<BluezLEChannel> m_channel;
    BluezRetired<BluezLEChannel> m_retiredChannels;
    QueuePost m_post;
};

} // namespace harrowmint
