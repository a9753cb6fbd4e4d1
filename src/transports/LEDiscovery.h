#pragma once

#include "base/SerialQueue.h"
#include "transports/LEPrinterKind.h"
#include "transports/USBPrinter.h"
#include "transports/bluetooth/LECentral.h"

#include <QString>
#include <QUuid>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace harrowmint {

/// Receives the printers of one discovery; called on the transport's queue.
using DiscoveryCompletion = std::function<void(const std::vector<USBPrinter>&)>;

/// The printers of the running discovery, at most 50, and its end. Belongs to an LEPrinterLink and lives on its queue;
/// whether the central scans is the link's business.
class LEDiscovery {
public:
    LEDiscovery(SerialQueue& queue, const LEPrinterKind& kind);

    [[nodiscard]] bool running() const { return static_cast<bool>(m_completion); }
    /// Begins afresh; the completion of a discovery that runs is dropped. `selected` is the saved printer's address.
    /// After 8 s `timeIsUp` is called, unless `finish` was.
    void begin(const std::optional<QString>& selected, DiscoveryCompletion completion, SerialQueue::Task timeIsUp);
    /// Adds what the system knows without a scan: the saved printer and the connected ones.
    void addKnown(const LECentral& central);
    /// Adds what the scan has seen.
    void addSighting(const LEPeripheral& peripheral, const QString& advertisedName);
    /// Hands the printers, in ascending order of their names, to the completion. Does nothing when none runs.
    void finish();

private:
    void add(const QUuid& identifier, const QString& name);
    void addAll(const std::vector<LEPeripheral>& peripherals, QStringView nameOfUnnamed);
    [[nodiscard]] std::vector<USBPrinter> sorted() const;

    SerialQueue& m_queue;
    const LEPrinterKind& m_kind;
    std::optional<QUuid> m_selected;
    std::map<QUuid, USBPrinter> m_candidates;
    DiscoveryCompletion m_completion; ///< set while a discovery runs
    Timer m_timer;
};

} // namespace harrowmint
