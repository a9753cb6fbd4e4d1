#pragma once

#include "transports/linux/usb-backend/PrinterSearch.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace harrowmint::usb {

/// How a call on a device ended.
enum class UsbResult { Done, NoPermission, Absent, Busy, NoPrinter, Failed };

/// How a transfer ended.
enum class TransferEnd { Accepted, Stalled, Unplugged, Cancelled, Failed };

/// Hears how the transfers of a `UsbDevice` ended.
class TransferListener {
public:
    TransferListener() = default;
    TransferListener(const TransferListener&) = delete;
    TransferListener& operator=(const TransferListener&) = delete;
    virtual ~TransferListener() = default;

    /// The data transfer has ended; the device has taken `accepted` of its bytes, however it ended.
    virtual void dataEnded(TransferEnd end, std::size_t accepted) = 0;
    /// The status request has ended; nothing when the device did not answer it.
    virtual void statusEnded(std::optional<std::uint8_t> status) = 0;
};

/// One USB printer as libusb gives it, reduced to what a job needs: the edge at which tests put a scripted one. One
/// thread. Transfers end in a later call, never inside the one that starts or cancels them.
class UsbDevice {
public:
    UsbDevice() = default;
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;
    virtual ~UsbDevice() = default;

    /// Opens the device node and finds the interface's setting with a bulk OUT endpoint (else NoPrinter). Nothing of
    /// the device changes.
    [[nodiscard]] virtual UsbResult open(const PrinterLocation& printer) = 0;
    /// Whether a driver of the kernel has the interface.
    [[nodiscard]] virtual bool hasKernelDriver() = 0;
    [[nodiscard]] virtual UsbResult detachKernelDriver() = 0;
    [[nodiscard]] virtual UsbResult claim() = 0;
    /// Chooses the setting that `open` found, if it is not the one in force.
    [[nodiscard]] virtual UsbResult chooseSetting() = 0;

    /// Starts sending `bytes`, which stay where they are until `dataEnded`. One transfer at a time.
    [[nodiscard]] virtual UsbResult send(std::span<const std::byte> bytes) = 0;
    /// Asks for the transfer's end; it still ends by `dataEnded`.
    virtual void cancelData() = 0;
    /// Starts asking for the port status; it ends within 0.5 s. One request at a time.
    [[nodiscard]] virtual UsbResult askStatus() = 0;

    /// Ends the stall of the data endpoint. This and what follows waits for the device and tells no failure: there is
    /// nothing more that could be done about it.
    virtual void clearStall() = 0;
    virtual void release() = 0;
    virtual void attachKernelDriver() = 0;
};

} // namespace harrowmint::usb
