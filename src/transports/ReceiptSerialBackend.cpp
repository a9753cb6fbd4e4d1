#include "transports/ReceiptSerialBackend.h"

#include "base/EscPos.h"
#include "transports/BluetoothPort.h"
#include "transports/SerialReceiptSession.h"

#include <algorithm>
#include <map>
#include <utility>

namespace harrowmint {

namespace {

constexpr std::chrono::seconds callerLimit{52};
constexpr std::chrono::seconds discoveryLimit{5};

constexpr QStringView selectPrinter = u"Select a paired Bluetooth receipt printer.";
constexpr QStringView responseTimedOut =
    u"Bluetooth response timed out. Check the paper before retrying; part may have printed.";
constexpr QStringView noResult = u"No Bluetooth transfer result.";
constexpr QStringView unnamed = u"Paired printer";
constexpr QStringView nameSuffix = u" (paired serial)";

std::vector<USBPrinter> printersAmong(const SerialBluetooth::Devices& devices)
{
    std::vector<USBPrinter> printers;
    const std::size_t count = std::min<std::size_t>(devices.size(), BluetoothPort::maximumPrinters);
    for (std::size_t i = 0; i < count; ++i) {
        const PairedDevice& device = devices[i];
        if (const auto port = BluetoothPort::serial(device.address)) {
            const QString name = device.name.isEmpty() ? unnamed.toString() : device.name;
            printers.push_back({*port, BluetoothPort::displayName(name).append(nameSuffix)});
        }
    }
    return printers;
}

} // namespace

/// The running transfers, by job number, and the devices they go to. On the queue.
class ReceiptSerialBackend::Sessions : public std::enable_shared_from_this<Sessions> {
public:
    Sessions(SerialQueue& queue, SerialBluetoothFactory factory)
        : m_queue(queue)
        , m_factory(std::move(factory))
    {
    }

    SerialBluetooth& bluetooth()
    {
        if (!m_bluetooth)
            m_bluetooth = m_factory();
        return *m_bluetooth;
    }

    void start(std::uint64_t number, const QByteArray& data, const QString& port, const TransferCompletion& completion)
    {
        // The session outlives the event that ends it.
        const TransferCompletion callback([this, number, completion](TransferOutcome outcome) {
            m_queue.async([weak = weak_from_this(), number] {
                if (const auto self = weak.lock())
                    self->m_running.erase(number);
            });
            completion(std::move(outcome));
        });
        auto& session = m_running[number];
        session = std::make_unique<SerialReceiptSession>(m_queue, bluetooth(), data, port, callback);
        session->start();
    }

    void timeOut(std::uint64_t number)
    {
        const auto found = m_running.find(number);
        if (found != m_running.end())
            found->second->timeOut();
    }

private:
    SerialQueue& m_queue;
    SerialBluetoothFactory m_factory;
    std::unique_ptr<SerialBluetooth> m_bluetooth; ///< outlives those that run
    std::map<std::uint64_t, std::unique_ptr<SerialReceiptSession>> m_running;
};

ReceiptSerialBackend::ReceiptSerialBackend(SerialQueue& queue, SerialBluetoothFactory factory, Waiter& waiter)
    : m_queue(queue)
    , m_waiter(waiter)
    , m_sessions(std::make_shared<Sessions>(queue, std::move(factory)))
{
}

ReceiptSerialBackend::~ReceiptSerialBackend()
{
    // The sessions and their timers must die on their queue.
    m_queue.async([sessions = std::exchange(m_sessions, {})] {});
}

void ReceiptSerialBackend::submit(
    SerialQueue& queue, const std::weak_ptr<Sessions>& running, std::function<void(Sessions&)> task)
{
    queue.async([running, task = std::move(task)] {
        if (const auto sessions = running.lock())
            task(*sessions);
    });
}

void ReceiptSerialBackend::discover(std::function<void(const std::vector<USBPrinter>&)> completion)
{
    submit(m_queue, m_sessions, [completion = std::move(completion)](Sessions& sessions) {
        sessions.bluetooth().pairedDevices(
            [completion](const SerialBluetooth::Devices& devices) { completion(printersAmong(devices)); });
    });
}

std::vector<USBPrinter> ReceiptSerialBackend::discover()
{
    using Printers = std::vector<USBPrinter>;
    const auto found = std::make_shared<SharedResult<Printers>>();
    discover([answer = SharedResult<Printers>::completion(found)](const Printers& printers) { answer(printers); });
    const bool answered = m_waiter.wait(found->signal(), discoveryLimit);
    return answered ? found->result().value_or(Printers{}) : Printers{};
}

std::uint64_t ReceiptSerialBackend::start(const QByteArray& data, const QString& port, TransferCompletion completion)
{
    if (!BluetoothPort::serialAddress(port) || data.isEmpty() || data.size() > escpos::maximumJobBytes)
        throw PrinterError(selectPrinter.toString());
    const std::uint64_t number = ++m_lastJob;
    submit(m_queue, m_sessions, [number, data, port, completion = std::move(completion)](Sessions& sessions) {
        sessions.start(number, data, port, completion);
    });
    return number;
}

void ReceiptSerialBackend::print(const QByteArray& data, const QString& port)
{
    const auto transfer = std::make_shared<TransferResult>();
    const std::uint64_t number = start(data, port, TransferResult::completion(transfer));
    // From here on this object may die.
    SerialQueue& queue = m_queue;
    const std::weak_ptr running(m_sessions);
    if (!m_waiter.wait(transfer->signal(), callerLimit)) {
        submit(queue, running, [number](Sessions& sessions) { sessions.timeOut(number); });
        throw PrinterError(responseTimedOut.toString());
    }
    throwUnlessSucceeded(*transfer, noResult.toString());
}

} // namespace harrowmint
