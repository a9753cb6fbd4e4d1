#pragma once

#include "adapter/SerialRig.h"
#include "support/BorrowedSerial.h"
#include "transports/LabelBackend.h"
#include "transports/ReceiptBLEBackend.h"
#include "transports/ReceiptSerialBackend.h"

#include <optional>

namespace adapter {

inline const QString lePort = QStringLiteral("ble:00000000-0000-0000-0000-AABBCCDDEE01");
inline const QString serialPortName = QStringLiteral("spp:AABBCCDDEE01");

/// How one job ended: an empty sentence on success; nothing while it runs.
using Outcome = std::shared_ptr<std::optional<QString>>;

/// The transports of the agent over the adapters, against the simulated bluetoothd.
class BackendTest : public SerialTest {
protected:
    [[nodiscard]] Outcome printReceipt(const QByteArray& bytes);
    [[nodiscard]] Outcome printSerially(const QByteArray& bytes);
    /// The sentence of a job; waits for its end.
    [[nodiscard]] QString sentence(const Outcome& outcome);
    /// Waits until that many bytes have come to the printer.
    void waitForBytes(const QString& path, int count);
    /// The printer's link is down, as after a restart of bluetoothd.
    void forgetLink();

    harrowmint::BluezLECentrals m_centrals{m_bus.address()};
    std::unique_ptr<harrowmint::ReceiptBLEBackend> m_receipts;
    std::unique_ptr<harrowmint::ReceiptSerialBackend> m_serialReceipts;
};

} // namespace adapter
