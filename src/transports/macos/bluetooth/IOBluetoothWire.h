#pragma once

#include "base/QueuePost.h"
#include "transports/macos/bluetooth/IOBluetoothPort.h"

#include <functional>
#include <list>

namespace harrowmint {

/// The port of one serial link with what the framework may still use after the link is gone: the receiver of its
/// answers and the packet in flight. Main queue.
class IOBluetoothWire final : private IOBluetoothLinkEvents {
public:
    /// Reports to `events` until `close`; each event on `queue`'s own loop.
    IOBluetoothWire(SerialQueue& queue, IOBluetoothPort& bluetooth, SerialLinkEvents& events);
    ~IOBluetoothWire() override = default;

    void findDevice(const QString& address);
    [[nodiscard]] bool startServiceQuery();
    [[nodiscard]] std::optional<int> serialPortChannel() const { return m_port->serialPortChannel(); }
    [[nodiscard]] bool openChannel(int channel);
    [[nodiscard]] int mtu() const { return m_port->mtu(); }
    [[nodiscard]] bool write(const QByteArray& packet);
    /// Closes the channel; no event comes any more. May be called twice.
    void close();

    /// Whether the framework still has an answer to give, or a packet in its hands.
    [[nodiscard]] bool isInUse() const { return m_queries > 0 || m_isWriting; }

private:
    void queryAnswered(bool succeeded) override;
    void channelOpened(bool succeeded) override;
    void packetWritten(bool succeeded) override;
    void channelClosed() override;
    void report(std::function<void(SerialLinkEvents&)> event);

    enum class Channel { none, opening, open, gone };

    SerialLinkEvents* m_events; ///< null once closed
    QByteArray m_packet; ///< of the write in flight
    int m_queries = 0; ///< not answered yet
    bool m_isWriting = false;
    Channel m_channel = Channel::none;
    QueuePost m_post;
    std::unique_ptr<IOBluetoothLinkPort> m_port;
};

/// Keeps the wires of ended links for as long as the framework may use them. Main queue.
class IOBluetoothRetired {
public:
    /// Beyond any time limit of the system's own for a query or a write.
    static constexpr std::chrono::minutes limit{5};
    /// How often the wires are looked at.
    static constexpr std::chrono::seconds interval{1};

    explicit IOBluetoothRetired(SerialQueue& queue)
        : m_queue(queue)
    {
    }

    /// Takes a closed wire.
    void take(std::unique_ptr<IOBluetoothWire> wire);
    /// How many wires there are.
    [[nodiscard]] std::size_t count() const { return m_wires.size(); }

private:
    struct Entry {
        std::unique_ptr<IOBluetoothWire> wire;
        std::chrono::steady_clock::time_point end;
    };

    void watch();

    SerialQueue& m_queue;
    std::list<Entry> m_wires;
    Timer m_timer;
};

} // namespace harrowmint
