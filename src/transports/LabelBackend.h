#pragma once

#include "documents/LabelDocument.h"
#include "transports/LEPrinterBackend.h"

#include <QString>

namespace harrowmint {

/// Label printers over Bluetooth LE. One long-lived object, owned by the delegate; any thread may call it. Its work is
/// done on `queue` ("com.harrowmint.printer.labels"), which outlives it. Printers are addressed as "ble:" and the
/// peripheral's identifier.
class LabelBackend {
public:
    /// `factory` makes the LE central on `queue` when it is first needed; `waiter` is how `print` blocks.
    LabelBackend(SerialQueue& queue, LECentralFactory factory, Waiter& waiter = Waiter::sleeping());

    /// Looks for printers and hands them to `completion`, on `queue` and sorted by name, about 8 s later: at most 50.
    /// `selected` is the saved printer's address. While a job runs nothing happens, and a discovery that another one
    /// replaces is forgotten: `completion` is then destroyed uncalled. Returns at once.
    void discover(const std::optional<QString>& selected, DiscoveryCompletion completion);
    /// Sends one label, as `LabelDocument::decode` returned it, to the printer at `port`. Blocks until the job has
    /// ended, at most 32 s; throws PrinterError. Never on `queue`.
    void print(const LabelDocument& document, const QString& port);
    /// The same without blocking: `completion` gets the outcome on `queue`, within 30 s. Throws PrinterError for an
    /// address that is none.
    void start(const LabelDocument& document, const QString& port, TransferCompletion completion);
    /// Lets the printer go, unless a job runs. Returns at once.
    void disconnect();

    /// In what labels differ from other jobs over LE.
    [[nodiscard]] static const LEPrinterKind& kind();

private:
    LEPrinterBackend m_backend;
};

} // namespace harrowmint
