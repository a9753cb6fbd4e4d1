#pragma once

#include "base/SerialQueue.h"
#include "transports/TransferResult.h"
#include "transports/USBPrinter.h"
#include "transports/bluetooth/SerialBluetooth.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace harrowmint {

/// Paired classic Bluetooth receipt printers (Serial Port over RFCOMM), addressed as "spp:" and 12 upper-case
/// hexadecimal digits. Any thread may call it; its work is done on `queue`, the agent's main one, which outlives it.
/// Keeps nothing between jobs but its way to the devices.
class ReceiptSerialBackend {
public:
    /// `factory` makes the devices on `queue` when they are first needed; they die there, after the links to them.
    /// `waiter` is how `print` blocks.
    ReceiptSerialBackend(SerialQueue& queue, SerialBluetoothFactory factory, Waiter& waiter = Waiter::sleeping());
    ReceiptSerialBackend(const ReceiptSerialBackend&) = delete;
    ReceiptSerialBackend& operator=(const ReceiptSerialBackend&) = delete;
    ~ReceiptSerialBackend();

    /// The paired devices, in the system's order: of the first 50 those whose address makes a port. Their names end in
    /// " (paired serial)". Blocks until the system has answered, at most 5 s (then there are none). Never on `queue`.
    [[nodiscard]] std::vector<USBPrinter> discover();
    /// The same without blocking; `completion` is called on `queue`, or dropped when this dies first.
    void discover(std::function<void(const std::vector<USBPrinter>&)> completion);
    /// Sends `data`, 1 to 900000 bytes, to the printer at `port`. Blocks until the job has ended, at most 52 s; throws
    /// PrinterError. Never on `queue`.
    void print(const QByteArray& data, const QString& port);
    /// The same without blocking: `completion` gets the outcome on `queue`, within 50 s. Throws PrinterError for data
    /// or an address that cannot be printed. Returns a number that names the job.
    std::uint64_t start(const QByteArray& data, const QString& port, TransferCompletion completion);

private:
    class Sessions;
    /// Runs `task` on the queue, if the sessions still exist then.
    static void submit(SerialQueue& queue, const std::weak_ptr<Sessions>& running, std::function<void(Sessions&)> task);

    SerialQueue& m_queue;
    Waiter& m_waiter;
    std::shared_ptr<Sessions> m_sessions; ///< those that run, and the devices; lives on the queue
    std::atomic<std::uint64_t> m_lastJob = 0;
};

} // namespace harrowmint
