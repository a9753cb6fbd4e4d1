#pragma once

#include "transports/linux/usb-backend/UsbDevice.h"

#include <memory>
#include <poll.h>
#include <vector>

namespace harrowmint::usb {

/// The real device. Its thread waits on `descriptors` and then calls `handleEvents`, from which the listener hears.
class LibusbDevice final : public UsbDevice {
public:
    /// Throws std::runtime_error when libusb cannot work here.
    LibusbDevice();
    ~LibusbDevice() override;

    /// Who hears how transfers end; set before the first one, outlives the device's use.
    void listen(TransferListener& listener);

    /// What to wait for.
    [[nodiscard]] std::vector<pollfd> descriptors() const;
    /// Tells what has ended; never waits.
    void handleEvents();

    /// The device id that the opened printer answers: "" when it has none or refuses the request. Nothing when it could
    /// not be asked, or did not answer within 0.5 s.
    [[nodiscard]] std::optional<std::string> readDeviceId();

    [[nodiscard]] UsbResult open(const PrinterLocation& printer) override;
    [[nodiscard]] bool hasKernelDriver() override;
    [[nodiscard]] UsbResult detachKernelDriver() override;
    [[nodiscard]] UsbResult claim() override;
    [[nodiscard]] UsbResult chooseSetting() override;
    [[nodiscard]] UsbResult send(std::span<const std::byte> bytes) override;
    void cancelData() override;
    [[nodiscard]] UsbResult askStatus() override;
    void clearStall() override;
    void release() override;
    void attachKernelDriver() override;

private:
    struct Implementation; // libusb's types stay in one file
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace harrowmint::usb
