#pragma once

#include "transports/LEPrinterBackend.h"

#include <QByteArray>
#include <QString>

namespace harrowmint {

/// ESC/POS receipt printers over Bluetooth LE. One long-lived object, owned by the delegate; any thread may call it.
/// Its work is done on `queue` ("com.harrowmint.printer.receipts"), which outlives it. Printers are addressed as "ble:"
/// and the peripheral's identifier.
class ReceiptBLEBackend {
public:
    /// `factory` makes the LE central on `queue` when it is first needed; `waiter` is how `print` blocks.
    ReceiptBLEBackend(SerialQueue& queue, LECentralFactory factory, Waiter& waiter = Waiter::sleeping());

    /// Looks for printers and hands them to `completion`, on `queue` and sorted by name, about 8 s later: at most 50.
    /// `selected` is the saved printer's address. While a job runs nothing happens, and a discovery that another one
    /// replaces is forgotten: `completion` is then destroyed uncalled. Returns at once.
    void discover(const std::optional<QString>& selected, DiscoveryCompletion completion);
    /// Sends `data`, 1 to 900000 bytes, to the printer at `port`. Blocks until the job has ended, at most 52 s; throws
    /// PrinterError. Never on `queue`.
    void print(const QByteArray& data, const QString& port);
    /// The same without blocking: `completion` gets the outcome on `queue`, within 50 s. Throws PrinterError for data
    /// or an address that cannot be printed.
    void start(const QByteArray& data, const QString& port, TransferCompletion completion);
    /// Lets the printer go, unless a job runs. Returns at once.
    void disconnect();

    /// In what receipts differ from other jobs over LE.
    [[nodiscard]] static const LEPrinterKind& kind();

private:
    LEPrinterBackend m_backend;
};

} // namespace harrowmint
