#include "simulator/VirtualLE.h"

#include "base/QueuePost.h"
#include "simulator/VirtualPaper.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

constexpr int maximumWriteBytes = 182; // at an MTU of 185

/// A printer as one central sees it.
struct Peripheral {
    explicit Peripheral(const VirtualLEPrinter& printer)
        : description(printer)
        , paper(printer.folder, printer.kind)
    {
    }

    [[nodiscard]] LEPeripheral record() const { return {description.identifier, description.name}; }

    VirtualLEPrinter description;
    VirtualPaper paper;
    LEPeripheralState state = LEPeripheralState::disconnected;
    bool isOpen = false;
};

class VirtualLECentral final : public LECentral {
public:
    VirtualLECentral(SerialQueue& queue, LECentralEvents& events, const std::vector<VirtualLEPrinter>& printers)
        : m_events(events)
        , m_peripherals(printers.begin(), printers.end())
        , m_post(queue)
    {
    }

    ~VirtualLECentral() override
    {
        for (Peripheral& peripheral : m_peripherals)
            close(peripheral);
    }

    [[nodiscard]] LECentralState state() const override { return LECentralState::poweredOn; }

    [[nodiscard]] std::vector<LEPeripheral> knownPeripherals(const QUuid& identifier) const override
    {
        return recordsOf([&identifier](const Peripheral& each) { return each.description.identifier == identifier; });
    }

    [[nodiscard]] std::vector<LEPeripheral> connectedPeripherals(const std::vector<GattUuid>& services) const override
    {
        return recordsOf([&services](const Peripheral& each) {
            return each.state == LEPeripheralState::connected && isAmong(services, each.description.channel.service);
        });
    }

    [[nodiscard]] LEPeripheralState peripheralState(const QUuid& identifier) const override
    {
        const auto found = std::find_if(m_peripherals.begin(), m_peripherals.end(),
            [&identifier](const Peripheral& each) { return each.description.identifier == identifier; });
        return found == m_peripherals.end() ? LEPeripheralState::disconnected : found->state;
    }

    void startScan() override
    {
        if (std::exchange(m_scanning, true))
            return;
        m_post([this] {
            for (std::size_t i = 0; m_scanning && i < m_peripherals.size(); ++i)
                m_events.discovered(m_peripherals[i].record(), m_peripherals[i].description.name);
        });
    }

    void stopScan() override { m_scanning = false; }

    void connect(const QUuid& identifier) override
    {
        Peripheral* const peripheral = find(identifier);
        if (!peripheral) {
            m_post([this, identifier] { m_events.failedToConnect(identifier); });
            return;
        }
        peripheral->state = LEPeripheralState::connecting;
        m_post([this, identifier, peripheral] {
            if (peripheral->state != LEPeripheralState::connecting)
                return;
            peripheral->state = LEPeripheralState::connected;
            m_events.connected(identifier);
        });
    }

    void cancelConnection(const QUuid& identifier) override
    {
        Peripheral* const peripheral = find(identifier);
        if (!peripheral || peripheral->state == LEPeripheralState::disconnected)
            return;
        close(*peripheral);
        peripheral->state = LEPeripheralState::disconnecting;
        m_post([this, identifier, peripheral] {
            // A connect that was asked for meanwhile takes the report's place.
            if (peripheral->state != LEPeripheralState::disconnecting)
                return;
            peripheral->state = LEPeripheralState::disconnected;
            m_events.disconnected(identifier);
        });
    }

    void discoverServices(const QUuid& identifier, const std::vector<GattUuid>& services) override
    {
        onLink(identifier, [this, identifier, services](const Peripheral& peripheral) {
            const GattUuid own = peripheral.description.channel.service;
            m_events.servicesDiscovered(
                identifier, false, isAmong(services, own) ? std::vector<GattUuid>{own} : std::vector<GattUuid>{});
        });
    }

    void discoverCharacteristic(const QUuid& identifier, const LEChannel& channel) override
    {
        onLink(identifier, [this, identifier, channel](const Peripheral& peripheral) {
            std::vector<LECharacteristic> found;
            if (peripheral.description.channel == channel)
                found.push_back({.uuid = channel.characteristic, .write = true, .writeWithoutResponse = true});
            m_events.characteristicsDiscovered(identifier, channel.service, false, found);
        });
    }

    void openChannel(const QUuid& identifier, const LEChannel& channel, LEWriteType /*type*/) override
    {
        onLink(identifier, [this, identifier, channel](Peripheral& peripheral) {
            peripheral.isOpen = true;
            m_events.channelOpened(identifier, channel);
        });
    }

    void closeChannel(const QUuid& identifier) override
    {
        if (Peripheral* const peripheral = find(identifier))
            close(*peripheral);
    }

    [[nodiscard]] int maximumWriteLength(const QUuid& /*peripheral*/, LEWriteType /*type*/) const override
    {
        return maximumWriteBytes;
    }

    [[nodiscard]] bool canSendWriteWithoutResponse(const QUuid& identifier) override
    {
        const Peripheral* const peripheral = find(identifier);
        return peripheral && peripheral->isOpen;
    }

    void write(const QUuid& identifier, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override
    {
        Peripheral* const peripheral = find(identifier);
        if (!peripheral || !peripheral->isOpen)
            return;
        peripheral->paper.take(bytes);
        if (type == LEWriteType::withResponse)
            onLink(identifier,
                [this, identifier, channel](const Peripheral&) { m_events.valueWritten(identifier, channel, false); });
    }

private:
    [[nodiscard]] static bool isAmong(const std::vector<GattUuid>& services, GattUuid service)
    {
        return std::find(services.begin(), services.end(), service) != services.end();
    }

    [[nodiscard]] Peripheral* find(const QUuid& identifier)
    {
        const auto found = std::find_if(m_peripherals.begin(), m_peripherals.end(),
            [&identifier](const Peripheral& each) { return each.description.identifier == identifier; });
        return found == m_peripherals.end() ? nullptr : &*found;
    }

    template <class Condition>
    [[nodiscard]] std::vector<LEPeripheral> recordsOf(const Condition& holds) const
    {
        std::vector<LEPeripheral> records;
        for (const Peripheral& each : m_peripherals) {
            if (holds(each))
                records.push_back(each.record());
        }
        return records;
    }

    static void close(Peripheral& peripheral)
    {
        if (std::exchange(peripheral.isOpen, false))
            peripheral.paper.endJob();
    }

    /// Answers a request from the queue's loop, unless the link has gone by then.
    void onLink(const QUuid& identifier, std::function<void(Peripheral&)> answer)
    {
        m_post([this, identifier, answer = std::move(answer)] {
            Peripheral* const peripheral = find(identifier);
            if (peripheral && peripheral->state == LEPeripheralState::connected)
                answer(*peripheral);
        });
    }

    LECentralEvents& m_events;
    std::vector<Peripheral> m_peripherals; ///< never grows: pointers into it stay good
    bool m_scanning = false;
    QueuePost m_post;
};

} // namespace

LECentralFactory virtualLE(SerialQueue& queue, std::vector<VirtualLEPrinter> printers)
{
    return [&queue, printers = std::move(printers)](
               LECentralEvents& events) { return std::make_unique<VirtualLECentral>(queue, events, printers); };
}

} // namespace harrowmint
