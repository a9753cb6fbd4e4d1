#pragma once

#include "app/WorkerJobRunner.h"
#include "base/QtQueue.h"
#include "transports/LabelBackend.h"
#include "transports/ReceiptBLEBackend.h"
#include "transports/ReceiptSerialBackend.h"

#include <functional>
#include <memory>

namespace harrowmint {

/// How a platform, or a simulator, makes the Bluetooth ports. Copyable; neither function blocks, and no connection to
/// the system is made before a printer is first needed.
struct BluetoothPorts {
    /// The factory of LE centrals for the owner that lives on `queue`, whose thread runs a Qt event loop.
    std::function<LECentralFactory(SerialQueue& queue)> lowEnergy;
    /// Makes the paired serial devices for the owner that lives on `queue`; called there.
    std::function<std::unique_ptr<SerialBluetooth>(SerialQueue& queue)> serial;
};

/// The three Bluetooth transports of one agent and the queues of the LE ones. The ports are opened with the first job
/// or discovery, and opened again by themselves when the system's service comes and goes.
///
/// Made and destroyed on the main queue's thread; that queue outlives it, and it outlives the worker that runs the
/// jobs: a job under way ends without a result when its backend dies. The backends may be called on any thread, as
/// their headers say.
class BluetoothTransports {
public:
    /// Throws std::system_error when there can be no thread.
    BluetoothTransports(SerialQueue& main, const BluetoothPorts& ports);

    /// Receipt printers over LE; on the queue "com.harrowmint.printer.receipts".
    [[nodiscard]] ReceiptBLEBackend& receipts() { return m_receipts; }
    /// Label printers over LE; on the queue "com.harrowmint.printer.labels".
    [[nodiscard]] LabelBackend& labels() { return m_labels; }
    /// Paired serial receipt printers; on the main queue.
    [[nodiscard]] ReceiptSerialBackend& serialReceipts() { return m_serialReceipts; }

    /// Lets the LE printers go that no job uses: their links do not survive a sleep of the computer. Returns at once.
    void disconnect();
    /// Sets the Bluetooth calls of `transports` to those of this object, which outlives them.
    void addTo(Transports& transports);

private:
    // The queues outlive what lives on them.
    WorkerQueue m_receiptQueue;
    WorkerQueue m_labelQueue;
    ReceiptBLEBackend m_receipts;
    LabelBackend m_labels;
    ReceiptSerialBackend m_serialReceipts;
};

} // namespace harrowmint
