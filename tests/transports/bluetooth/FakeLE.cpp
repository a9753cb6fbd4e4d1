#include "FakeLE.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace harrowmint::test {

QByteArray FakePeripheral::received() const
{
    QByteArray all;
    for (const FakeWrite& write : writes)
        all += write.bytes;
    return all;
}

std::vector<int> FakePeripheral::chunkSizes() const
{
    std::vector<int> sizes;
    for (const FakeWrite& write : writes)
        sizes.push_back(static_cast<int>(write.bytes.size()));
    return sizes;
}

class FakeLE::Central final : public LECentral {
public:
    Central(FakeLE& world, LECentralEvents& events)
        : m_world(world)
    {
        m_world.m_events = &events;
        m_world.m_life = std::make_shared<int>(0);
        m_world.m_reportedState = m_world.firstState.value_or(m_world.state);
        if (m_world.m_reportedState != m_world.state)
            m_world.answerTo(LERequest::report, {}, [this](LECentralEvents& to, bool) {
                m_world.m_reportedState = m_world.state;
                to.stateChanged(m_world.state);
            });
    }

    ~Central() override
    {
        m_world.m_events = nullptr;
        m_world.m_life.reset();
        m_world.scanning = false;
    }

    [[nodiscard]] LECentralState state() const override { return m_world.m_reportedState; }

    [[nodiscard]] std::vector<LEPeripheral> knownPeripherals(const QUuid& identifier) const override
    {
        const FakePeripheral& printer = m_world.printer(identifier);
        return printer.known ? std::vector<LEPeripheral>{{identifier, printer.name}} : std::vector<LEPeripheral>{};
    }

    [[nodiscard]] std::vector<LEPeripheral> connectedPeripherals(const std::vector<GattUuid>& services) const override
    {
        std::vector<LEPeripheral> found;
        for (const FakePeripheral& printer : m_world.printers) {
            const bool offers = std::any_of(services.begin(), services.end(),
                [&printer](GattUuid service) { return printer.services.contains(service); });
            if (offers && printer.state == LEPeripheralState::connected)
                found.push_back({printer.identifier, printer.name});
        }
        return found;
    }

    [[nodiscard]] LEPeripheralState peripheralState(const QUuid& peripheral) const override
    {
        return m_world.printer(peripheral).state;
    }

    void startScan() override
    {
        m_world.log += QStringLiteral("scan");
        m_world.scanning = true;
        for (const FakePeripheral& printer : m_world.printers) {
            if (printer.advertising)
                m_world.sight(printer);
        }
    }

    void stopScan() override
    {
        if (m_world.scanning)
            m_world.log += QStringLiteral("stop scan");
        m_world.scanning = false;
    }

    void connect(const QUuid& peripheral) override
    {
        m_world.printer(peripheral).state = LEPeripheralState::connecting;
        m_world.answerTo(
            LERequest::connect, QStringLiteral("connect"), [this, peripheral](LECentralEvents& to, bool failed) {
                FakePeripheral& printer = m_world.printer(peripheral);
                if (printer.state == LEPeripheralState::connecting)
                    printer.state = failed ? LEPeripheralState::disconnected : LEPeripheralState::connected;
                else if (!m_world.reportsLateAnswers)
                    return;
                failed ? to.failedToConnect(peripheral) : to.connected(peripheral);
            });
    }

    void cancelConnection(const QUuid& peripheral) override
    {
        FakePeripheral& target = m_world.printer(peripheral);
        target.state = LEPeripheralState::disconnecting;
        target.open.reset();
        m_world.answerTo(
            LERequest::cancel, QStringLiteral("cancel"), [this, peripheral](LECentralEvents& to, bool failed) {
                FakePeripheral& printer = m_world.printer(peripheral);
                if (printer.state == LEPeripheralState::disconnecting)
                    printer.state = LEPeripheralState::disconnected;
                else if (!m_world.reportsLateAnswers)
                    return;
                failed ? to.failedToConnect(peripheral) : to.disconnected(peripheral);
            });
    }

    void discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) override
    {
        m_world.answerOnLink(LERequest::services, peripheral, QStringLiteral("services"),
            [this, peripheral, services](LECentralEvents& to, bool failed) {
                std::vector<GattUuid> found;
                for (const GattUuid service : services) {
                    if (m_world.printer(peripheral).services.contains(service))
                        found.push_back(service);
                }
                to.servicesDiscovered(peripheral, failed, found);
            });
    }

    void discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) override
    {
        m_world.answerOnLink(LERequest::characteristic, peripheral,
            QStringLiteral("characteristic %1/%2").arg(channel.service, 0, 16).arg(channel.characteristic, 0, 16),
            [this, peripheral, channel](LECentralEvents& to, bool failed) {
                to.characteristicsDiscovered(
                    peripheral, channel.service, failed, m_world.printer(peripheral).services[channel.service]);
            });
    }

    void openChannel(const QUuid& peripheral, const LEChannel& channel, LEWriteType type) override
    {
        m_world.printer(peripheral).open = channel;
        const bool answered = type == LEWriteType::withResponse;
        m_world.answerOnLink(LERequest::open, peripheral,
            answered ? QStringLiteral("open with response") : QStringLiteral("open without response"),
            [peripheral, channel](LECentralEvents& to, bool) { to.channelOpened(peripheral, channel); });
    }

    void closeChannel(const QUuid& peripheral) override
    {
        if (m_world.printer(peripheral).open)
            m_world.log += QStringLiteral("close");
        m_world.printer(peripheral).open.reset();
    }

    [[nodiscard]] int maximumWriteLength(const QUuid& peripheral, LEWriteType type) const override
    {
        const FakePeripheral& printer = m_world.printer(peripheral);
        EXPECT_TRUE(m_world.losesWrites || printer.open) << "the largest write is asked for before the channel is open";
        return type == LEWriteType::withResponse ? printer.maximumWithResponse : printer.maximumWithoutResponse;
    }

    [[nodiscard]] bool canSendWriteWithoutResponse(const QUuid&) override { return !m_world.m_congested; }

    void write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override
    {
        FakePeripheral& printer = m_world.printer(peripheral);
        EXPECT_TRUE(m_world.losesWrites || printer.open == channel) << "a write to a channel that is not open";
        EXPECT_FALSE(!m_world.losesWrites && type == LEWriteType::withoutResponse && m_world.m_congested)
            << "a write that cannot be sent now";
        printer.writes.push_back({m_world.m_queue.clock().elapsed(), bytes, type, channel});
        if (type == LEWriteType::withResponse)
            m_world.answerOnLink(
                LERequest::write, peripheral, {}, [peripheral, channel](LECentralEvents& to, bool failed) {
                    to.valueWritten(peripheral, channel, failed);
                });
        m_world.written(printer);
    }

private:
    FakeLE& m_world;
};

FakeLE::FakeLE(VirtualQueue& queue)
    : m_queue(queue)
{
}

LECentralFactory FakeLE::factory()
{
    return [this](LECentralEvents& events) {
        log += QStringLiteral("central");
        return std::make_unique<Central>(*this, events);
    };
}

FakePeripheral& FakeLE::addPrinter(int number)
{
    FakePeripheral printer;
    printer.identifier = identifier(number);
    printer.services[0x18F0] = {{.uuid = 0x2AF1, .write = true, .writeWithoutResponse = true}};
    printers.push_back(printer);
    return printers.back();
}

FakePeripheral& FakeLE::printer(const QUuid& identifier)
{
    const auto found = std::find_if(printers.begin(), printers.end(),
        [&identifier](const FakePeripheral& each) { return each.identifier == identifier; });
    if (found != printers.end())
        return *found;
    FakePeripheral stranger;
    stranger.identifier = identifier;
    stranger.known = false;
    printers.push_back(stranger);
    return printers.back();
}

FakePeripheral& FakeLE::printer(int number)
{
    return printer(identifier(number));
}

QUuid FakeLE::identifier(int number)
{
    return QUuid(0x6f1a2b3c, 0x0001, 0x4000, 0x80, 0, 0, 0, 0, 0, 0, static_cast<uchar>(number));
}

void FakeLE::offerOnly(LEWriteType type)
{
    for (FakePeripheral& printer : printers) {
        for (auto& [service, characteristics] : printer.services) {
            characteristics.front().write = type == LEWriteType::withResponse;
            characteristics.front().writeWithoutResponse = type == LEWriteType::withoutResponse;
        }
    }
}

void FakeLE::answerLate(LERequest late, std::vector<SerialQueue::Duration> delays)
{
    answer = [late, delays = std::move(delays)](
                 LERequest request) { return request == late ? FakeAnswer{delays} : FakeAnswer{}; };
}

void FakeLE::report(SerialQueue::Duration delay, std::function<void(LECentralEvents&)> event)
{
    const auto timer = std::make_shared<Timer>();
    *timer = m_queue.after(delay, [this, weak = std::weak_ptr(m_life), event = std::move(event)] {
        if (!weak.expired())
            event(*m_events);
    });
    m_pending.push_back(timer);
}

void FakeLE::answerTo(LERequest request, const QString& entry, const Event& event)
{
    if (!entry.isEmpty())
        log += entry;
    const FakeAnswer how = answer(request);
    for (const SerialQueue::Duration delay : how.delays)
        report(delay, [event, failed = how.failed](LECentralEvents& to) { event(to, failed); });
}

void FakeLE::answerOnLink(LERequest request, const QUuid& identifier, const QString& entry, const Event& event)
{
    answerTo(request, entry, [this, identifier, event](LECentralEvents& to, bool failed) {
        if (reportsLateAnswers || printer(identifier).state == LEPeripheralState::connected)
            event(to, failed);
    });
}

void FakeLE::sight(const FakePeripheral& peripheral)
{
    const FakeAnswer how = answer(LERequest::scan);
    for (const SerialQueue::Duration delay : how.delays)
        report(delay, [this, identifier = peripheral.identifier](LECentralEvents& to) {
            const FakePeripheral& seen = printer(identifier);
            to.discovered({seen.identifier, seen.name}, seen.advertisedName);
        });
}

void FakeLE::setState(LECentralState newState)
{
    state = newState;
    if (newState != LECentralState::poweredOn) {
        scanning = false;
        for (FakePeripheral& each : printers) {
            each.state = LEPeripheralState::disconnected;
            each.open.reset();
        }
    }
    report({}, [this, newState](LECentralEvents& to) {
        m_reportedState = newState;
        to.stateChanged(newState);
    });
}

void FakeLE::dropLink(const QUuid& identifier)
{
    printer(identifier).state = LEPeripheralState::disconnected;
    printer(identifier).open.reset();
    report({}, [identifier](LECentralEvents& to) { to.disconnected(identifier); });
}

void FakeLE::setCongested(bool congested)
{
    m_congested = congested;
    if (!congested)
        report({}, [this](LECentralEvents& to) {
            for (const FakePeripheral& each : printers)
                to.readyToWrite(each.identifier);
        });
}

} // namespace harrowmint::test
