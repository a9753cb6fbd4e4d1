#include "FakeSerial.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

class FakeSerial::Link final : public SerialLink {
public:
    Link(FakeSerial& world, SerialLinkEvents& events)
        : m_world(world)
        , m_events(&events)
    {
        m_world.m_events = m_events;
        m_world.m_life = std::make_shared<int>(0);
        ++m_world.links;
    }

    ~Link() override
    {
        m_world.open = m_world.open && m_closed;
        --m_world.links;
        if (m_world.m_events == m_events) {
            m_world.m_events = nullptr;
            m_world.m_life.reset();
        }
    }

    void findDevice(const QString& address) override
    {
        m_world.log += QStringLiteral("find ") + address;
        m_world.answerTo(SerialRequest::find, [](SerialLinkEvents& to, bool failed) { to.deviceFound(!failed); });
    }

    [[nodiscard]] bool startServiceQuery() override
    {
        m_world.log += QStringLiteral("query");
        if (m_world.queryRefused)
            return false;
        m_world.answerTo(SerialRequest::query, [](SerialLinkEvents& to, bool failed) { to.sdpQueryComplete(!failed); });
        return true;
    }

    [[nodiscard]] std::optional<int> serialPortChannel() const override { return m_world.channel; }

    [[nodiscard]] bool openChannel(int channel) override
    {
        m_world.log += QStringLiteral("open %1").arg(channel);
        if (m_world.openRefused)
            return false;
        m_world.answerTo(SerialRequest::open, [this](SerialLinkEvents& to, bool failed) {
            m_world.open = !failed && !m_closed;
            to.rfcommChannelOpenComplete(failed ? m_world.openFailure : SerialOpenResult::opened);
        });
        return true;
    }

    [[nodiscard]] int mtu() const override { return m_world.mtu; }

    [[nodiscard]] bool write(const QByteArray& packet) override
    {
        EXPECT_TRUE(m_world.open || m_world.losesWrites) << "a write to a channel that is not open";
        if (m_world.writeRefused)
            return false;
        m_world.packets.push_back({m_world.m_queue.clock().elapsed(), packet});
        m_world.answerTo(
            SerialRequest::write, [](SerialLinkEvents& to, bool failed) { to.rfcommChannelWriteComplete(!failed); });
        m_world.written();
        return true;
    }

    void closeChannel() override
    {
        m_closed = true;
        m_world.open = false;
        m_world.log += QStringLiteral("close");
        if (!m_world.reportsLateAnswers)
            m_world.m_life.reset();
    }

private:
    FakeSerial& m_world;
    SerialLinkEvents* m_events;
    bool m_closed = false;
};

FakeSerial::FakeSerial(VirtualQueue& queue)
    : m_queue(queue)
{
}

void FakeSerial::pairedDevices(std::function<void(const Devices&)> completion)
{
    const Answer how = answer(SerialRequest::devices);
    if (how.delays.empty())
        m_unanswered.push_back(completion);
    for (const SerialQueue::Duration delay : how.delays) {
        m_pending.push_back(std::make_shared<Timer>(m_queue.after(
            delay, [this, completion, failed = how.failed] { completion(failed ? Devices{} : devices); })));
    }
}

std::unique_ptr<SerialLink> FakeSerial::makeLink(SerialLinkEvents& events)
{
    return std::make_unique<Link>(*this, events);
}

void FakeSerial::closeByPrinter()
{
    open = false;
    report({}, [](SerialLinkEvents& to) { to.rfcommChannelClosed(); });
}

void FakeSerial::report(SerialQueue::Duration delay, std::function<void(SerialLinkEvents&)> event)
{
    m_pending.push_back(
        std::make_shared<Timer>(m_queue.after(delay, [this, weak = std::weak_ptr(m_life), event = std::move(event)] {
            if (!weak.expired() && m_events != nullptr)
                event(*m_events);
        })));
}

void FakeSerial::answerLate(SerialRequest late, std::vector<SerialQueue::Duration> delays)
{
    answer = [late, delays = std::move(delays)](
                 SerialRequest request) { return request == late ? Answer{delays} : Answer{}; };
}

void FakeSerial::answerTo(SerialRequest request, const std::function<void(SerialLinkEvents&, bool failed)>& event)
{
    const Answer how = answer(request);
    for (const SerialQueue::Duration delay : how.delays)
        report(delay, [event, failed = how.failed](SerialLinkEvents& to) { event(to, failed); });
}

QByteArray FakeSerial::received() const
{
    QByteArray all;
    for (const Packet& packet : packets)
        all += packet.bytes;
    return all;
}

std::vector<int> FakeSerial::packetSizes() const
{
    std::vector<int> sizes;
    for (const Packet& packet : packets)
        sizes.push_back(static_cast<int>(packet.bytes.size()));
    return sizes;
}

} // namespace harrowmint::test
