#pragma once

#include "base/SerialQueue.h"
#include "transports/ByteCursor.h"
#include "transports/LEDiscovery.h"
#include "transports/LEPrinterKind.h"
#include "transports/Pace.h"
#include "transports/TransferResult.h"
#include "transports/bluetooth/LECentral.h"

#include <QString>
#include <QStringView>
#include <QUuid>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint {

/// One job for an LE printer.
struct LEJob {
    std::uint64_t number = 0; ///< tells it from every other job of the transport
    QUuid target; ///< the peripheral wanted
    std::shared_ptr<ByteCursor> stream;
    TransferCompletion completion;
};

/// The state machine of an LE printer transport: finds printers, and takes one job at a time to one of them. Made on
/// any thread, then lives on `queue`, where everything else happens, its destruction included. It outlives no queue.
///
/// After a success the printer stays connected for the next job; every failure lets it go. Whatever the central
/// reports, or fails to report, a job ends within its kind's limit and the next one starts afresh.
class LEPrinterLink final : private LECentralEvents {
public:
    /// The central is made by `factory` when it is first needed.
    LEPrinterLink(SerialQueue& queue, LECentralFactory factory, const LEPrinterKind& kind);
    ~LEPrinterLink() override;

    /// Looks for printers for 8 s, or until a job starts or Bluetooth goes off, then calls `completion`. `selected` is
    /// the saved printer's address. Ignored while a job runs, and replaced by a later discovery: `completion` is then
    /// dropped without being called.
    void discover(const std::optional<QString>& selected, DiscoveryCompletion completion);
    /// Runs `job`, or answers at once that another one is running. Ends a running discovery.
    void start(LEJob job);
    /// Ends the job with this number, because its caller has given up; does nothing when it is not running.
    void timeOut(std::uint64_t number);
    /// Lets the printer go, unless a job runs.
    void disconnect();

private:
    enum class Phase { idle, connecting, sending, settling };
    /// What `connecting` waits for.
    enum class Step { none, power, sighting, closing, link, services, characteristic, channel };

    void stateChanged(LECentralState state) override;
    void discovered(const LEPeripheral& peripheral, const QString& advertisedName) override;
    void connected(const QUuid& peripheral) override;
    void failedToConnect(const QUuid& peripheral) override;
    void disconnected(const QUuid& peripheral) override;
    void servicesDiscovered(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services) override;
    void characteristicsDiscovered(const QUuid& peripheral, GattUuid service, bool failed,
        const std::vector<LECharacteristic>& characteristics) override;
    void channelOpened(const QUuid& peripheral, const LEChannel& channel) override;
    void valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed) override;
    void readyToWrite(const QUuid& peripheral) override;

    LECentral& central();
    [[nodiscard]] bool awaits(Step step, const QUuid& peripheral) const
    {
        return m_phase == Phase::connecting && m_step == step && m_peripheral == peripheral;
    }
    [[nodiscard]] bool sendsTo(const QUuid& peripheral) const
    {
        return m_phase == Phase::sending && m_peripheral == peripheral;
    }

    void startScan();
    void finishScan();

    void connectWhenReady();
    void connect(const QUuid& peripheral);
    bool closedByUs(const QUuid& peripheral);
    void discoverChannel();
    void openChannel();
    void configure();

    void pump();
    void schedule(int count);
    void afterPause();
    void endSettling();

    void fail(QStringView message);
    void failWithoutBluetooth(LECentralState state);
    void finish(TransferOutcome outcome, bool release);
    void release();

    SerialQueue& m_queue;
    LECentralFactory m_factory;
    const LEPrinterKind& m_kind;

    std::unique_ptr<LECentral> m_central;
    LECentralState m_state = LECentralState::unknown; ///< as last seen
    std::optional<QUuid> m_peripheral; ///< the printer held or wanted
    std::optional<LEChannel> m_channel; ///< where it is written, once known
    LECharacteristic m_characteristic; ///< of `m_channel`
    LEDiscovery m_discovery;
    std::map<QUuid, std::chrono::steady_clock::time_point> m_closing; ///< cancelled and not reported yet, since when

    Phase m_phase = Phase::idle;
    Step m_step = Step::none;
    std::optional<LEJob> m_job;
    std::size_t m_channelIndex = 0; ///< of the kind's channels, the one being tried
    std::vector<GattUuid> m_services; ///< those that the printer has
    bool m_serviceSeen = false; ///< whether any channel's service was there
    LEWriteType m_writeType = LEWriteType::withoutResponse;
    int m_chunkSize = 0;
    bool m_waiting = false; ///< for the answer to a write
    std::optional<Timer> m_pacing;
    Pace m_pace;
    bool m_afterPause = false; ///< the write under way follows a pause, and nothing else
    Timer m_watchdog;
    Timer m_closingLimit;
};

} // namespace harrowmint
