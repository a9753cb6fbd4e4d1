// Receipts to paired serial printers under random faults at every point.
#include "Dice.h"
#include "SerialRig.h"
#include "Simulation.h"

#include <gtest/gtest.h>
#include <map>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

using Duration = SerialQueue::Duration;
using Tally = std::map<QString, int>;

constexpr Duration deadline = 50s;

const QString messages[] = {
    QString(),
    QStringLiteral("Pair this receipt printer in macOS Bluetooth settings first.") + nothingSent,
    QStringLiteral("Cannot discover this printer's Bluetooth serial service.") + nothingSent,
    QStringLiteral("This paired device does not expose the Bluetooth serial printing service.") + nothingSent,
    QStringLiteral("Cannot connect this Bluetooth receipt printer. Check power and other connected apps.")
        + nothingSent,
    QStringLiteral("Bluetooth receipt connection failed.") + nothingSent,
    QStringLiteral("Unsupported Bluetooth serial packet size.") + nothingSent,
    QStringLiteral("Bluetooth receipt write failed.") + serialPaperWarning,
    QStringLiteral("Bluetooth receipt printer disconnected.") + nothingSent,
    QStringLiteral("Bluetooth receipt printer disconnected.") + serialPaperWarning,
    QStringLiteral("Bluetooth receipt transfer timed out.") + nothingSent,
    QStringLiteral("Bluetooth receipt transfer timed out.") + serialPaperWarning,
};

class SerialRun {
public:
    SerialRun(std::uint64_t seed, Tally& tally)
        : m_dice(seed)
        , m_tally(tally)
        , m_faultPercent(m_dice.percent(10) ? 0 : m_dice.between(1, 40))
    {
        m_world.mtu = m_dice.percent(90) ? m_dice.between(1, 2000) : m_dice.between(-1, 1);
        m_world.channel = m_dice.percent(90) ? std::optional(m_dice.between(0, 30)) : std::nullopt;
        m_world.queryRefused = m_dice.percent(5);
        m_world.openRefused = m_dice.percent(5);
        m_world.losesWrites = true;
        m_world.reportsLateAnswers = m_dice.percent(30);
        m_world.openFailure = m_dice.percent(50)
            ? SerialOpenResult::failed
            : (m_dice.percent(50) ? SerialOpenResult::noService : SerialOpenResult::unavailable);
        m_world.answer = [this](SerialRequest) { return randomAnswer(); };
        m_breakAt = m_dice.percent(40) ? m_dice.below(3000) : -1;
        m_world.written = [this] { breakAfterSomeBytes(); };
    }
    SerialRun(const SerialRun&) = delete;
    SerialRun& operator=(const SerialRun&) = delete;

    ~SerialRun()
    {
        m_backend.reset();
        m_clock->runDue();
    }

    QStringList broken()
    {
        const QByteArray stream = jobBytes(m_dice.between(1, 3000));
        m_start = m_clock->elapsed();
        start(stream);
        for (int i = m_dice.below(10); i > 0; --i) {
            m_clock->advance(m_dice.time());
            if (m_dice.percent(50) && m_world.events() != nullptr)
                inject(*m_world.events());
            m_world.writeRefused = m_dice.percent(5);
        }
        m_clock->advance(deadline);
        check(stream);
        ordinaryJob();
        return m_broken;
    }

private:
    void start(const QByteArray& stream)
    {
        m_world.packets.clear();
        m_results = 0;
        m_backend->start(stream, serialPort, TransferCompletion([this](const TransferOutcome& outcome) {
            ++m_results;
            m_message = outcome ? outcome->message() : QString();
            m_ended = m_clock->elapsed();
        }));
    }

    FakeSerial::Answer randomAnswer()
    {
        if (!m_dice.percent(m_faultPercent))
            return {};
        switch (m_dice.below(6)) {
        case 0:
            return {{}};
        case 1:
            return {{m_dice.time()}};
        case 2: // at the very moment of the deadline, or next to it
            return {{m_start + deadline - m_clock->elapsed() + Duration(m_dice.between(-1, 1))}};
        case 3:
            return {{m_dice.time()}, true};
        case 4:
            return {{0ms, m_dice.time()}};
        default:
            return {{m_dice.time(), m_dice.time()}, m_dice.percent(50)};
        }
    }

    void inject(SerialLinkEvents& to)
    {
        switch (m_dice.below(6)) {
        case 0:
            return to.deviceFound(m_dice.percent(50));
        case 1:
            return to.sdpQueryComplete(m_dice.percent(50));
        case 2:
            return to.rfcommChannelOpenComplete(
                m_dice.percent(50) ? SerialOpenResult::opened : SerialOpenResult::failed);
        case 3:
            return to.rfcommChannelWriteComplete(m_dice.percent(50));
        default:
            return m_world.closeByPrinter();
        }
    }

    void breakAfterSomeBytes()
    {
        if (m_breakAt >= 0 && m_world.received().size() > m_breakAt) {
            m_breakAt = -1;
            m_world.closeByPrinter();
        }
    }

    // Promises

    void promise(bool kept, const QString& text)
    {
        if (!kept)
            m_broken += text;
    }

    void check(const QByteArray& stream)
    {
        promise(m_results == 1, QStringLiteral("%1 results for one job").arg(m_results));
        ++m_tally[m_message];
        promise(m_ended - m_start <= deadline, QStringLiteral("the result came too late"));
        promise(std::find(std::begin(messages), std::end(messages), m_message) != std::end(messages),
            QStringLiteral("an unknown message: ") + m_message);
        const QByteArray received = m_world.received();
        promise(stream.startsWith(received), QStringLiteral("bytes were altered or came out of order"));
        if (m_message.isEmpty())
            promise(received == stream, QStringLiteral("success without every byte"));
        else if (!m_message.startsWith(QStringLiteral("Bluetooth receipt write failed.")))
            promise(m_message.endsWith(received.isEmpty() ? nothingSent : serialPaperWarning),
                QStringLiteral("the outcome is wrong: ") + m_message);
        checkPackets(stream);
        promise(!m_world.open, QStringLiteral("the channel stays open"));
    }

    void checkPackets(const QByteArray& stream)
    {
        qsizetype offset = 0;
        for (std::size_t i = 0; i < m_world.packets.size(); ++i) {
            const FakeSerial::Packet& packet = m_world.packets[i];
            const qsizetype largest = std::min(m_world.mtu, 1024);
            promise(packet.bytes.size() == std::min(largest, stream.size() - offset),
                QStringLiteral("a packet has the wrong size"));
            promise(
                i == 0 || packet.time - m_world.packets[i - 1].time >= 10ms, QStringLiteral("a pause was too short"));
            offset += packet.bytes.size();
        }
    }

    /// Nothing that went before may keep the next job from printing.
    void ordinaryJob()
    {
        m_faultPercent = 0;
        m_breakAt = -1;
        m_world.forgetReports();
        m_world.queryRefused = m_world.openRefused = m_world.writeRefused = false;
        m_world.channel = 1;
        m_world.mtu = 1021;
        const QByteArray stream = jobBytes(3000);
        m_start = m_clock->elapsed();
        start(stream);
        m_clock->advance(deadline);
        check(stream);
        promise(m_message.isEmpty(), QStringLiteral("the next job does not print: ") + m_message);
        promise(m_ended - m_start == 30ms, QStringLiteral("the pauses of the next job are not those stated"));
        promise(m_world.links == 0, QStringLiteral("a link is kept"));
    }

    Dice m_dice;
    Tally& m_tally;
    int m_faultPercent;
    int m_breakAt = -1;
    std::shared_ptr<VirtualClock> m_clock = std::make_shared<VirtualClock>();
    VirtualQueue m_queue{m_clock};
    VirtualWaiter m_waiter{*m_clock};
    FakeSerial m_world{m_queue};
    std::unique_ptr<ReceiptSerialBackend> m_backend =
        std::make_unique<ReceiptSerialBackend>(m_queue, lend(m_world), m_waiter);
    Duration m_start{};
    Duration m_ended{};
    int m_results = 0;
    QString m_message;
    QStringList m_broken;
};

TEST(SerialSimulation, KeepsItsPromisesWhateverGoesWrong)
{
    Tally tally;
    simulate("receipts over serial", HARROWMINT_SERIAL_RUNS,
        [&tally](std::uint64_t seed) { return SerialRun(seed, tally).broken(); });
    // A simulation that never gets somewhere proves nothing about it.
    for (const QString& message : messages)
        EXPECT_GT(tally[message], 0) << message.toStdString();
}

} // namespace
