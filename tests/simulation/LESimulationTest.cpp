// Receipts and labels over Bluetooth LE under random faults at every point.
#include "Dice.h"
#include "LERig.h"
#include "LESentences.h"
#include "Simulation.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace harrowmint::test::le;
using namespace std::chrono_literals;

namespace {

using Duration = SerialQueue::Duration;
using Kind = LERig::Kind;

constexpr int printerCount = 2;
const QString paperWarning = QStringLiteral(" Check the paper before retrying; part may have printed.");

/// One job, and what reached a printer while it ran.
struct Job {
    std::shared_ptr<std::optional<Ended>> ended;
    Duration start{};
    QUuid target;
    QByteArray stream;
    int rowBytes = 0; ///< of a label
    std::vector<std::pair<QUuid, FakeWrite>> writes;
};

/// How often each message has ended a job.
using Tally = std::map<QString, int>;

class LERun {
public:
    LERun(std::uint64_t seed, Tally& tally)
        : m_dice(seed)
        , m_kind(m_dice.percent(50) ? Kind::receipts : Kind::labels)
        , m_rig(m_kind)
        , m_tally(tally)
        , m_faultPercent(m_dice.percent(10) ? 0 : m_dice.between(1, 30))
    {
        m_rig.world.addPrinter(printerCount);
        m_rig.world.losesWrites = true;
        m_rig.world.written = [this](FakePeripheral& printer) { noteWrite(printer); };
        m_rig.world.answer = [this](LERequest) { return randomAnswer(); };
        m_rig.world.reportsLateAnswers = m_dice.percent(30);
        if (m_dice.percent(30))
            m_rig.world.firstState = LECentralState::unknown;
        if (m_dice.percent(40))
            m_breakAt = m_dice.below(400);
        for (int number = 1; number <= printerCount; ++number)
            furnish(m_rig.world.printer(number));
    }

    QStringList broken()
    {
        const int actions = m_dice.between(1, 12);
        startJob();
        for (int i = 0; i < actions; ++i) {
            m_rig.clock->advance(m_dice.time());
            act();
        }
        m_rig.world.setCongested(false);
        m_rig.clock->advance(watchdog());
        for (const auto& job : m_jobs)
            check(*job);
        ordinaryJob();
        return m_broken;
    }

private:
    Duration watchdog() const { return m_kind == Kind::receipts ? 50s : 30s; }
    Duration settle() const { return m_kind == Kind::receipts ? 500ms : 4000ms; }

    // The world

    void furnish(FakePeripheral& printer)
    {
        const auto characteristic = [this](GattUuid uuid) {
            LECharacteristic made{
                .uuid = uuid, .write = m_dice.percent(60), .writeWithoutResponse = m_dice.percent(60)};
            return std::vector{made};
        };
        printer.services.clear();
        if (m_dice.percent(50))
            printer.services[0x18F0] = characteristic(0x2AF1);
        if (m_dice.percent(50))
            printer.services[0xFFE0] = characteristic(m_dice.percent(80) ? 0xFFE1 : 0xFFE9);
        if (m_dice.percent(80))
            printer.services[0xFF00] = characteristic(0xFF02);
        printer.known = m_dice.percent(70);
        printer.advertising = m_dice.percent(70);
        printer.maximumWithResponse = m_dice.percent(90) ? m_dice.between(8, 600) : m_dice.between(0, 8);
        printer.maximumWithoutResponse = m_dice.percent(90) ? m_dice.between(8, 600) : m_dice.between(0, 8);
    }

    FakeAnswer randomAnswer()
    {
        if (!m_dice.percent(m_faultPercent))
            return {};
        switch (m_dice.below(6)) {
        case 0:
            return {{}};
        case 1:
            return {{m_dice.time()}};
        case 2: // at the very moment of the watchdog, or next to it
            return {{m_jobs.back()->start + watchdog() - m_rig.clock->elapsed() + Duration(m_dice.between(-1, 1))}};
        case 3:
            return {{m_dice.time()}, true};
        case 4:
            return {{0ms, m_dice.time()}};
        default:
            return {{m_dice.time(), m_dice.time()}, m_dice.percent(50)};
        }
    }

    void act()
    {
        switch (m_dice.below(12)) {
        case 0:
        case 1:
        case 2:
            return startJob();
        case 3:
            return m_rig.world.dropLink(randomPrinter());
        case 4:
            return m_rig.world.setState(static_cast<LECentralState>(m_dice.below(6)));
        case 5:
        case 6:
            return m_rig.world.setState(LECentralState::poweredOn);
        case 7:
            return m_rig.world.setCongested(!m_rig.world.congested());
        case 8:
            return m_rig.disconnect();
        case 9:
            return m_rig.discover(portOf(1));
        default:
            if (m_rig.world.hasCentral())
                inject(m_rig.world.events());
        }
    }

    QUuid randomPrinter() { return FakeLE::identifier(m_dice.between(1, printerCount)); }

    void inject(LECentralEvents& to)
    {
        const QUuid printer = randomPrinter();
        const LEChannel channel = m_dice.percent(50) ? LEChannel{0x18F0, 0x2AF1} : LEChannel{0xFF00, 0xFF02};
        switch (m_dice.below(9)) {
        case 0:
            return to.stateChanged(static_cast<LECentralState>(m_dice.below(6)));
        case 1:
            return to.discovered({printer, QStringLiteral("Late")}, {});
        case 2:
            return to.connected(printer);
        case 3:
            return to.failedToConnect(printer);
        case 4:
            return to.disconnected(printer);
        case 5:
            return to.servicesDiscovered(printer, m_dice.percent(50), {0xFF00, 0x18F0});
        case 6:
            return to.characteristicsDiscovered(printer, channel.service, m_dice.percent(50),
                {{.uuid = channel.characteristic, .write = true, .writeWithoutResponse = true}});
        case 7:
            return to.valueWritten(printer, channel, m_dice.percent(50));
        default:
            return to.readyToWrite(printer);
        }
    }

    // Jobs

    void startJob() { startJobFor(m_dice.percent(80) ? 1 : printerCount); }

    void startJobFor(int number)
    {
        auto job = std::make_shared<Job>();
        m_jobs.push_back(job);
        job->start = m_rig.clock->elapsed();
        job->target = FakeLE::identifier(number);
        if (m_kind == Kind::receipts) {
            job->stream = jobBytes(m_dice.between(1, 1500));
            job->ended = m_rig.start(job->stream, number);
        } else {
            const LabelDocument document = label(8 * m_dice.between(1, 48), m_dice.between(1, 30));
            job->stream = document.bytes();
            job->rowBytes = document.width / 8;
            job->ended = m_rig.start(document, number);
        }
    }

    void noteWrite(FakePeripheral& printer)
    {
        // A refused job ends at once, so the oldest that runs is the one that writes.
        for (const auto& job : m_jobs) {
            if (!job->ended->has_value()) {
                job->writes.emplace_back(printer.identifier, printer.writes.back());
                break;
            }
        }
        m_bytes += static_cast<int>(printer.writes.back().bytes.size());
        if (m_breakAt >= 0 && m_bytes > m_breakAt) {
            m_breakAt = -1;
            if (m_dice.percent(70))
                m_rig.world.dropLink(printer.identifier);
            else
                m_rig.world.setState(LECentralState::poweredOff);
        }
    }

    // Promises

    void promise(bool kept, const QString& text)
    {
        if (!kept)
            m_broken += text;
    }

    void check(const Job& job)
    {
        if (!job.ended->has_value()) {
            promise(false, QStringLiteral("a job has no result"));
            return;
        }
        const Ended& ended = **job.ended;
        ++m_tally[ended.message];
        promise(ended.time - job.start <= watchdog(), QStringLiteral("a result came too late"));
        if (ended.message == capital(m_kind) + QStringLiteral(" printer is busy.")) {
            promise(job.writes.empty(), QStringLiteral("a refused job was sent"));
            promise(anotherRan(job), QStringLiteral("a job was refused though none ran"));
            return;
        }
        checkBytes(job);
        checkPauses(job);
        if (ended.succeeded())
            checkSuccess(job);
        else
            checkFailure(job);
    }

    bool anotherRan(const Job& refused)
    {
        return std::any_of(m_jobs.begin(), m_jobs.end(), [&refused](const auto& other) {
            return other.get() != &refused && other->start <= refused.start && other->ended->has_value()
                && (*other->ended)->time >= refused.start;
        });
    }

    void checkBytes(const Job& job)
    {
        qsizetype offset = 0;
        for (const auto& [printer, write] : job.writes) {
            promise(printer == job.target, QStringLiteral("bytes went to another printer"));
            promise(job.stream.mid(offset, write.bytes.size()) == write.bytes,
                QStringLiteral("bytes were altered or came out of order"));
            promise(write.bytes.size() == expectedChunk(job, offset), QStringLiteral("a chunk has the wrong size"));
            promise(write.channel == job.writes.front().second.channel && write.type == job.writes.front().second.type,
                QStringLiteral("the channel changed on the way"));
            offset += write.bytes.size();
        }
    }

    qsizetype expectedChunk(const Job& job, qsizetype offset)
    {
        const FakePeripheral& printer = m_rig.world.printer(job.target);
        const int maximum = job.writes.front().second.type == LEWriteType::withResponse
            ? std::min(printer.maximumWithResponse, printer.maximumWithoutResponse)
            : printer.maximumWithoutResponse;
        qsizetype chunk = std::min(maximum, 180);
        if (m_kind == Kind::labels && offset < 10)
            return offset == 0 ? 2 : 8;
        if (m_kind == Kind::labels && job.rowBytes <= chunk)
            chunk = chunk / job.rowBytes * job.rowBytes;
        return std::min(chunk, job.stream.size() - offset);
    }

    void checkPauses(const Job& job)
    {
        qsizetype offset = 0;
        for (std::size_t i = 1; i < job.writes.size(); ++i) {
            const FakeWrite& before = job.writes[i - 1].second;
            offset += before.bytes.size();
            auto pause = std::max(2ms, std::chrono::milliseconds((before.bytes.size() + 11) / 12));
            if (before.type == LEWriteType::withResponse)
                pause = 2ms;
            if (m_kind == Kind::labels && offset == 2)
                pause = 40ms;
            promise(job.writes[i].second.time - before.time >= pause, QStringLiteral("a pause was too short"));
            if (m_faultPercent == 0 && m_calm)
                promise(job.writes[i].second.time - before.time == pause, QStringLiteral("a pause was too long"));
        }
    }

    void checkSuccess(const Job& job)
    {
        qsizetype sent = 0;
        for (const auto& [printer, write] : job.writes)
            sent += write.bytes.size();
        promise(sent == job.stream.size(), QStringLiteral("success without every byte"));
        promise(!job.writes.empty() && (*job.ended)->time - job.writes.back().second.time >= settle(),
            QStringLiteral("success before the printer has settled"));
    }

    void checkFailure(const Job& job)
    {
        QString sentence = (*job.ended)->message;
        const QString outcome =
            job.writes.empty() ? QStringLiteral(" No %1 data was sent.").arg(noun(m_kind)) : paperWarning;
        promise(sentence.endsWith(outcome), QStringLiteral("the outcome is wrong: ") + sentence);
        sentence.chop(outcome.size());
        promise(sentences(m_kind).contains(sentence), QStringLiteral("an unknown sentence: ") + sentence);
    }

    /// Nothing that went before may keep the next job from printing.
    void ordinaryJob()
    {
        FakeLE& world = m_rig.world;
        m_calm = true;
        m_breakAt = -1;
        m_faultPercent = 0;
        world.answer = [](LERequest) { return FakeAnswer{}; };
        world.forgetReports();
        FakePeripheral& printer = world.printer(1);
        printer.services = {{0xFF00, {{.uuid = 0xFF02, .writeWithoutResponse = true}}}};
        printer.maximumWithResponse = printer.maximumWithoutResponse = 182;
        printer.advertising = true;
        world.setCongested(false);
        world.setState(LECentralState::resetting);
        world.setState(LECentralState::poweredOn);
        if (m_dice.percent(50))
            m_rig.clock->advance(m_dice.time());
        m_rig.clock->runDue();
        m_jobs.clear();
        startJobFor(1);
        m_rig.clock->advance(watchdog());
        const Job& job = *m_jobs.back();
        check(job);
        promise(job.ended->has_value() && (*job.ended)->succeeded(),
            QStringLiteral("the next job does not print: ")
                + (job.ended->has_value() ? (*job.ended)->message : QString()));
    }

    Dice m_dice;
    Kind m_kind;
    LERig m_rig;
    Tally& m_tally;
    int m_faultPercent;
    bool m_calm = false;
    int m_bytes = 0;
    int m_breakAt = -1;
    std::vector<std::shared_ptr<Job>> m_jobs;
    QStringList m_broken;
};

TEST(LESimulation, KeepsItsPromisesWhateverGoesWrong)
{
    Tally tally;
    simulate("receipts and labels over LE", HARROWMINT_LE_RUNS,
        [&tally](std::uint64_t seed) { return LERun(seed, tally).broken(); });
    // A simulation that never gets somewhere proves nothing about it.
    for (const Kind kind : {Kind::receipts, Kind::labels}) {
        const QString nothingSent = QStringLiteral(" No %1 data was sent.").arg(noun(kind));
        for (const QString& sentence : sentences(kind)) {
            const bool afterAWrite = sentence.endsWith(QStringLiteral("transfer failed."));
            EXPECT_GT(tally[sentence + (afterAWrite ? paperWarning : nothingSent)], 0) << sentence.toStdString();
        }
        for (const char* end : {" printer disconnected.", " printer did not finish in time."})
            EXPECT_GT(tally[capital(kind) + QLatin1String(end) + paperWarning], 0) << end;
        EXPECT_GT(tally[capital(kind) + QStringLiteral(" printer is busy.")], 0);
    }
    EXPECT_GT(tally[QString()], 0);
}

} // namespace
