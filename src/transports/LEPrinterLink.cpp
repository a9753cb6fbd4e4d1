#include "transports/LEPrinterLink.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

using std::chrono::milliseconds;

/// A cancelled connection that is not reported as ended within this time is taken for ended.
constexpr milliseconds closingLimit{5'000};
constexpr int largestChunk = 180;
constexpr int smallestChunk = 8;

constexpr QStringView unauthorised = u"Allow Bluetooth access for Harrowmint Printer in macOS Privacy settings.";

bool isUnusable(LECentralState state)
{
    return state == LECentralState::unsupported || state == LECentralState::unauthorised
        || state == LECentralState::poweredOff;
}

} // namespace

LEPrinterLink::LEPrinterLink(SerialQueue& queue, LECentralFactory factory, const LEPrinterKind& kind)
    : m_queue(queue)
    , m_factory(std::move(factory))
    , m_kind(kind)
    , m_discovery(queue, kind)
{
}

LEPrinterLink::~LEPrinterLink() = default;

LECentral& LEPrinterLink::central()
{
    Q_ASSERT(m_queue.isCurrent());
    if (!m_central) {
        m_central = m_factory(*this);
        m_state = m_central->state();
    }
    return *m_central;
}

// Discovery

void LEPrinterLink::discover(const std::optional<QString>& selected, DiscoveryCompletion completion)
{
    if (m_phase != Phase::idle)
        return;
    central().stopScan();
    m_discovery.begin(selected, std::move(completion), [this] { finishScan(); });
    startScan();
}

void LEPrinterLink::startScan()
{
    if (m_state != LECentralState::poweredOn)
        return;
    if (m_discovery.running())
        m_discovery.addKnown(central());
    central().startScan();
}

void LEPrinterLink::finishScan()
{
    central().stopScan();
    m_discovery.finish();
}

void LEPrinterLink::discovered(const LEPeripheral& peripheral, const QString& advertisedName)
{
    m_discovery.addSighting(peripheral, advertisedName);
    if (m_phase != Phase::connecting || m_step != Step::sighting || m_job->target != peripheral.identifier)
        return;
    central().stopScan();
    connect(peripheral.identifier);
}

// Connecting

void LEPrinterLink::start(LEJob job)
{
    if (m_phase != Phase::idle) {
        job.completion(PrinterError(m_kind.sentences.busy.toString()));
        return;
    }
    finishScan();
    m_job = std::move(job);
    m_waiting = false;
    m_phase = Phase::connecting;
    m_step = Step::power;
    m_watchdog = m_queue.after(m_kind.watchdog, [this] { fail(m_kind.sentences.tooLong); });
    if (isUnusable(m_state))
        failWithoutBluetooth(m_state);
    else
        connectWhenReady();
}

void LEPrinterLink::connectWhenReady()
{
    if (m_phase != Phase::connecting || m_state != LECentralState::poweredOn)
        return;
    const QUuid target = m_job->target;
    if (m_peripheral == target && m_channel && central().peripheralState(target) == LEPeripheralState::connected) {
        openChannel();
        return;
    }
    release();
    if (!central().knownPeripherals(target).empty()) {
        connect(target);
        return;
    }
    m_step = Step::sighting;
    startScan();
}

void LEPrinterLink::connect(const QUuid& peripheral)
{
    m_peripheral = peripheral;
    const auto closing = m_closing.find(peripheral);
    if (closing != m_closing.end()) {
        // The end of the old connection brings the new one; the limit covers a system that never reports it.
        m_step = Step::closing;
        const auto rest = closing->second + closingLimit - m_queue.now();
        m_closingLimit = m_queue.after(rest, [this, peripheral] { disconnected(peripheral); });
        return;
    }
    m_step = Step::link;
    central().connect(peripheral);
}

void LEPrinterLink::connected(const QUuid& peripheral)
{
    if (!awaits(Step::link, peripheral))
        return;
    m_step = Step::services;
    central().discoverServices(peripheral, servicesOf(m_kind));
}

void LEPrinterLink::servicesDiscovered(const QUuid& peripheral, bool failed, const std::vector<GattUuid>& services)
{
    if (!awaits(Step::services, peripheral))
        return;
    if (failed) {
        fail(m_kind.sentences.servicesUnreadable);
        return;
    }
    m_services = services;
    m_serviceSeen = false;
    m_channelIndex = 0;
    discoverChannel();
}

void LEPrinterLink::discoverChannel()
{
    for (; m_channelIndex < m_kind.channels.size(); ++m_channelIndex) {
        const LEChannel& channel = m_kind.channels[m_channelIndex];
        if (std::find(m_services.begin(), m_services.end(), channel.service) == m_services.end())
            continue;
        m_serviceSeen = true;
        m_step = Step::characteristic;
        central().discoverCharacteristic(*m_peripheral, channel);
        return;
    }
    fail(m_serviceSeen ? m_kind.sentences.channelMissing : m_kind.sentences.serviceMissing);
}

void LEPrinterLink::characteristicsDiscovered(
    const QUuid& peripheral, GattUuid service, bool failed, const std::vector<LECharacteristic>& characteristics)
{
    if (!awaits(Step::characteristic, peripheral) || service != m_kind.channels[m_channelIndex].service)
        return;
    const LEChannel& channel = m_kind.channels[m_channelIndex];
    const auto found = std::find_if(characteristics.begin(), characteristics.end(),
        [&channel](const LECharacteristic& each) { return each.uuid == channel.characteristic; });
    if (failed || found == characteristics.end() || (!found->write && !found->writeWithoutResponse)) {
        ++m_channelIndex;
        discoverChannel();
        return;
    }
    m_channel = channel;
    m_characteristic = *found;
    openChannel();
}

void LEPrinterLink::openChannel()
{
    m_step = Step::channel;
    m_writeType = writeTypeFor(m_kind, m_characteristic);
    central().openChannel(*m_peripheral, *m_channel, m_writeType);
}

void LEPrinterLink::channelOpened(const QUuid& peripheral, const LEChannel& channel)
{
    if (awaits(Step::channel, peripheral) && channel == m_channel)
        configure();
}

void LEPrinterLink::configure()
{
    const int largest = std::min(central().maximumWriteLength(*m_peripheral, LEWriteType::withoutResponse),
        central().maximumWriteLength(*m_peripheral, m_writeType));
    m_chunkSize = std::min(largest, largestChunk);
    if (m_chunkSize < smallestChunk) {
        fail(m_kind.sentences.writeSize);
        return;
    }
    m_phase = Phase::sending;
    m_pace = {};
    m_step = Step::none;
    pump();
}

// Sending

void LEPrinterLink::pump()
{
    if (m_phase != Phase::sending || m_pacing || m_waiting)
        return;
    if (m_writeType == LEWriteType::withoutResponse && !central().canSendWriteWithoutResponse(*m_peripheral))
        return;
    const std::optional<QByteArray> chunk = m_job->stream->next(m_chunkSize);
    if (!chunk || chunk->isEmpty()) {
        fail(m_kind.sentences.invalidStream);
        return;
    }
    const int count = static_cast<int>(chunk->size());
    m_job->stream->advance(count);
    m_waiting = m_writeType == LEWriteType::withResponse;
    central().write(*m_peripheral, *m_channel, *chunk, m_writeType);
    if (m_waiting)
        return;
    if (m_afterPause)
        m_pace.written(m_queue.now());
    else
        m_pace.interrupted();
    schedule(count);
}

void LEPrinterLink::readyToWrite(const QUuid& peripheral)
{
    if (sendsTo(peripheral))
        pump();
    else if (m_phase == Phase::settling && !m_pacing && m_peripheral == peripheral)
        endSettling();
}

void LEPrinterLink::valueWritten(const QUuid& peripheral, const LEChannel& channel, bool failed)
{
    if (!sendsTo(peripheral) || channel != m_channel || !m_waiting)
        return;
    m_waiting = false;
    if (failed)
        fail(m_kind.sentences.transferFailed);
    else
        schedule(m_job->stream->lastCount());
}

void LEPrinterLink::schedule(int count)
{
    SerialQueue::Duration pause = pauseAfter(m_kind, m_writeType, count, m_job->stream->offset());
    if (m_job->stream->finished()) {
        m_phase = Phase::settling;
        pause = m_kind.settlePause;
    } else {
        pause = m_pace.begin(m_queue.now(), pause);
    }
    m_pacing = m_queue.after(pause, [this] { afterPause(); });
}

void LEPrinterLink::afterPause()
{
    m_pacing.reset();
    if (m_phase == Phase::settling) {
        endSettling();
        return;
    }
    m_afterPause = true;
    pump();
    m_afterPause = false;
}

/// Nobody answers a write without response: as long as the system keeps some of it back, nothing is certain.
void LEPrinterLink::endSettling()
{
    if (m_writeType == LEWriteType::withResponse || central().hasHandedOver(*m_peripheral))
        finish(std::nullopt, false);
}

// Ends

void LEPrinterLink::timeOut(std::uint64_t number)
{
    if (m_phase != Phase::idle && m_job->number == number)
        fail(m_kind.sentences.responseTimedOut);
}

void LEPrinterLink::disconnect()
{
    if (m_phase == Phase::idle)
        release();
}

void LEPrinterLink::stateChanged(LECentralState state)
{
    if (std::exchange(m_state, state) == state)
        return;
    if (state == LECentralState::poweredOn) {
        if (m_discovery.running())
            startScan();
        connectWhenReady();
    } else if (isUnusable(state)) {
        if (m_phase == Phase::idle) {
            release();
            finishScan();
        } else {
            failWithoutBluetooth(state);
        }
    }
}

void LEPrinterLink::failedToConnect(const QUuid& peripheral)
{
    if (closedByUs(peripheral))
        return;
    if (awaits(Step::link, peripheral))
        fail(m_kind.sentences.connectFailed);
}

void LEPrinterLink::disconnected(const QUuid& peripheral)
{
    if (closedByUs(peripheral) || m_peripheral != peripheral)
        return;
    if (m_phase == Phase::idle) {
        m_peripheral.reset();
        m_channel.reset();
    } else {
        fail(m_kind.sentences.disconnected);
    }
}

/// Whether the connection that has ended is one that was cancelled here; the job that waits for its end goes on.
bool LEPrinterLink::closedByUs(const QUuid& peripheral)
{
    if (m_closing.erase(peripheral) == 0)
        return false;
    if (awaits(Step::closing, peripheral)) {
        m_closingLimit.cancel();
        connect(peripheral);
    }
    return true;
}

void LEPrinterLink::fail(QStringView message)
{
    if (m_phase != Phase::idle)
        finish(transferError(message, m_job->stream->offset() > 0 ? partMayHavePrinted : m_kind.sentences.nothingSent),
            true);
}

void LEPrinterLink::failWithoutBluetooth(LECentralState state)
{
    fail(state == LECentralState::unauthorised ? unauthorised : m_kind.sentences.turnOn);
}

void LEPrinterLink::finish(TransferOutcome outcome, bool releaseConnection)
{
    m_watchdog.cancel();
    m_closingLimit.cancel();
    m_pacing.reset();
    central().stopScan();
    if (m_peripheral)
        central().closeChannel(*m_peripheral);
    const LEJob job = std::move(*m_job);
    m_job.reset();
    m_phase = Phase::idle;
    m_step = Step::none;
    m_waiting = false;
    if (releaseConnection)
        release();
    job.completion(std::move(outcome));
}

void LEPrinterLink::release()
{
    if (m_peripheral && central().peripheralState(*m_peripheral) != LEPeripheralState::disconnected
        && !m_closing.contains(*m_peripheral)) {
        m_closing.emplace(*m_peripheral, m_queue.now());
        central().cancelConnection(*m_peripheral);
    }
    m_peripheral.reset();
    m_channel.reset();
}

} // namespace harrowmint
