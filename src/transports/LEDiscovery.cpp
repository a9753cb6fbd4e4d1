#include "transports/LEDiscovery.h"

#include "transports/BluetoothPort.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

constexpr std::chrono::seconds scanTime{8};

} // namespace

LEDiscovery::LEDiscovery(SerialQueue& queue, const LEPrinterKind& kind)
    : m_queue(queue)
    , m_kind(kind)
{
}

void LEDiscovery::begin(
    const std::optional<QString>& selected, DiscoveryCompletion completion, SerialQueue::Task timeIsUp)
{
    m_candidates.clear();
    m_completion = std::move(completion);
    m_selected = selected ? BluetoothPort::identifierAfterPrefix(*selected) : std::nullopt;
    m_timer = m_queue.after(scanTime, std::move(timeIsUp));
}

void LEDiscovery::addKnown(const LECentral& central)
{
    if (m_selected)
        addAll(central.knownPeripherals(*m_selected), m_kind.names.saved);
    addAll(central.connectedPeripherals(servicesOf(m_kind)), m_kind.names.connected);
}

void LEDiscovery::addAll(const std::vector<LEPeripheral>& peripherals, QStringView nameOfUnnamed)
{
    for (const LEPeripheral& each : peripherals)
        add(each.identifier, each.name.isEmpty() ? nameOfUnnamed.toString() : each.name);
}

void LEDiscovery::addSighting(const LEPeripheral& peripheral, const QString& advertisedName)
{
    if (running())
        add(peripheral.identifier, advertisedName.isEmpty() ? peripheral.name : advertisedName);
}

void LEDiscovery::add(const QUuid& identifier, const QString& name)
{
    if (m_candidates.size() >= BluetoothPort::maximumPrinters || name.isEmpty())
        return;
    m_candidates.insert_or_assign(
        identifier, USBPrinter{BluetoothPort::le(identifier), BluetoothPort::displayName(name)});
}

std::vector<USBPrinter> LEDiscovery::sorted() const
{
    std::vector<USBPrinter> printers;
    printers.reserve(m_candidates.size());
    for (const auto& [identifier, printer] : m_candidates)
        printers.push_back(printer);
    std::stable_sort(printers.begin(), printers.end(),
        [](const USBPrinter& left, const USBPrinter& right) { return left.name < right.name; });
    return printers;
}

void LEDiscovery::finish()
{
    m_timer.cancel();
    if (const DiscoveryCompletion completion = std::exchange(m_completion, {}))
        completion(sorted());
}

} // namespace harrowmint
