#include "transports/linux/usb-backend/LibusbDevice.h"

#include <algorithm>
#include <array>
#include <libusb.h>
#include <stdexcept>

namespace harrowmint::usb {

namespace {

constexpr unsigned controlTimeout = 500; // ms
// Universal Serial Bus Device Class Definition for Printing Devices 1.1, 4.2: requests to the interface.
constexpr std::uint8_t requestType = 0xA1; // device to host, class, interface
constexpr std::uint8_t getDeviceId = 0;
constexpr std::uint8_t getPortStatus = 1;
constexpr std::size_t lengthBytes = 2; // before a device id
constexpr std::size_t maximumDeviceIdBytes = 4096;
constexpr int printerSubclass = 1;
constexpr int lastPrinterProtocol = 3;

UsbResult result(int code)
{
    switch (code) {
    case LIBUSB_SUCCESS:
        return UsbResult::Done;
    case LIBUSB_ERROR_ACCESS:
        return UsbResult::NoPermission;
    case LIBUSB_ERROR_NO_DEVICE:
    case LIBUSB_ERROR_NOT_FOUND:
        return UsbResult::Absent;
    case LIBUSB_ERROR_BUSY:
        return UsbResult::Busy;
    default:
        return UsbResult::Failed;
    }
}

TransferEnd end(libusb_transfer_status status)
{
    switch (status) {
    case LIBUSB_TRANSFER_COMPLETED:
        return TransferEnd::Accepted;
    case LIBUSB_TRANSFER_STALL:
        return TransferEnd::Stalled;
    case LIBUSB_TRANSFER_NO_DEVICE:
        return TransferEnd::Unplugged;
    case LIBUSB_TRANSFER_CANCELLED:
        return TransferEnd::Cancelled;
    default:
        return TransferEnd::Failed;
    }
}

bool isPrinter(const libusb_interface_descriptor& setting)
{
    return setting.bInterfaceClass == LIBUSB_CLASS_PRINTER && setting.bInterfaceSubClass == printerSubclass
        && setting.bInterfaceProtocol >= 1 && setting.bInterfaceProtocol <= lastPrinterProtocol;
}

/// The address of the bulk OUT endpoint; 0 when there is none.
std::uint8_t dataEndpoint(const libusb_interface_descriptor& setting)
{
    const std::span endpoints(setting.endpoint, setting.bNumEndpoints);
    const auto found = std::find_if(endpoints.begin(), endpoints.end(), [](const libusb_endpoint_descriptor& endpoint) {
        return (endpoint.bEndpointAddress & LIBUSB_ENDPOINT_DIR_MASK) == LIBUSB_ENDPOINT_OUT
            && (endpoint.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK) == LIBUSB_TRANSFER_TYPE_BULK;
    });
    return found == endpoints.end() ? 0 : found->bEndpointAddress;
}

struct TransferRelease {
    void operator()(libusb_transfer* transfer) const { libusb_free_transfer(transfer); }
};
using Transfer = std::unique_ptr<libusb_transfer, TransferRelease>;

Transfer newTransfer()
{
    Transfer transfer(libusb_alloc_transfer(0));
    if (!transfer)
        throw std::runtime_error("no memory");
    return transfer;
}

} // namespace

struct LibusbDevice::Implementation {
    libusb_context* context = nullptr;
    libusb_device_handle* handle = nullptr;
    TransferListener* listener = nullptr;
    int interface = 0;
    int setting = 0;
    std::uint8_t endpoint = 0;
    Transfer data = newTransfer();
    Transfer status = newTransfer();
    bool dataInFlight = false;
    bool statusInFlight = false;
    std::array<unsigned char, LIBUSB_CONTROL_SETUP_SIZE + 1> statusBytes{};

    [[nodiscard]] bool findEndpoint(libusb_device* device);
    [[nodiscard]] std::uint16_t index() const { return static_cast<std::uint16_t>(interface << 8 | setting); }

    static void LIBUSB_CALL dataEnded(libusb_transfer* transfer)
    {
        auto& self = *static_cast<Implementation*>(transfer->user_data);
        self.dataInFlight = false;
        self.listener->dataEnded(end(transfer->status), static_cast<std::size_t>(transfer->actual_length));
    }

    static void LIBUSB_CALL statusEnded(libusb_transfer* transfer)
    {
        auto& self = *static_cast<Implementation*>(transfer->user_data);
        self.statusInFlight = false;
        const bool answered = transfer->status == LIBUSB_TRANSFER_COMPLETED && transfer->actual_length == 1;
        self.listener->statusEnded(
            answered ? std::optional<std::uint8_t>(self.statusBytes.back()) : std::optional<std::uint8_t>());
    }
};

bool LibusbDevice::Implementation::findEndpoint(libusb_device* device)
{
    libusb_config_descriptor* read = nullptr;
    if (libusb_get_active_config_descriptor(device, &read) != LIBUSB_SUCCESS)
        return false;
    const std::unique_ptr<libusb_config_descriptor, void (*)(libusb_config_descriptor*)> configuration(
        read, libusb_free_config_descriptor);
    for (const libusb_interface& candidate : std::span(configuration->interface, configuration->bNumInterfaces)) {
        for (const auto& alternative :
            std::span(candidate.altsetting, static_cast<std::size_t>(candidate.num_altsetting))) {
            if (alternative.bInterfaceNumber != interface || !isPrinter(alternative))
                continue;
            setting = alternative.bAlternateSetting;
            endpoint = dataEndpoint(alternative);
            if (endpoint != 0)
                return true;
        }
    }
    return false;
}

LibusbDevice::LibusbDevice()
    : m_implementation(std::make_unique<Implementation>())
{
    if (const int code = libusb_init(&m_implementation->context); code != LIBUSB_SUCCESS)
        throw std::runtime_error(libusb_error_name(code));
}

LibusbDevice::~LibusbDevice()
{
    if (m_implementation->handle != nullptr)
        libusb_close(m_implementation->handle);
    // Freeing what is still in flight would have libusb write into freed memory.
    if (m_implementation->dataInFlight)
        static_cast<void>(m_implementation->data.release());
    if (m_implementation->statusInFlight)
        static_cast<void>(m_implementation->status.release());
    if (!m_implementation->dataInFlight && !m_implementation->statusInFlight)
        libusb_exit(m_implementation->context);
}

void LibusbDevice::listen(TransferListener& listener)
{
    m_implementation->listener = &listener;
}

std::vector<pollfd> LibusbDevice::descriptors() const
{
    std::vector<pollfd> result;
    const libusb_pollfd** watched = libusb_get_pollfds(m_implementation->context);
    for (const libusb_pollfd** one = watched; one != nullptr && *one != nullptr; ++one)
        result.push_back({(*one)->fd, (*one)->events, 0});
    libusb_free_pollfds(watched);
    return result;
}

void LibusbDevice::handleEvents()
{
    timeval none{};
    libusb_handle_events_timeout_completed(m_implementation->context, &none, nullptr);
}

UsbResult LibusbDevice::open(const PrinterLocation& printer)
{
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(m_implementation->context, &devices);
    if (count < 0)
        return result(static_cast<int>(count));
    const auto release = [](libusb_device** list) { libusb_free_device_list(list, 1); };
    const std::unique_ptr<libusb_device*, decltype(release)> owner(devices, release);
    const std::span list(devices, static_cast<std::size_t>(count));
    const auto found = std::find_if(list.begin(), list.end(), [&printer](libusb_device* device) {
        return libusb_get_bus_number(device) == printer.bus && libusb_get_device_address(device) == printer.address;
    });
    if (found == list.end())
        return UsbResult::Absent;
    m_implementation->interface = printer.interface;
    if (!m_implementation->findEndpoint(*found))
        return UsbResult::NoPrinter;
    return result(libusb_open(*found, &m_implementation->handle));
}

std::optional<std::string> LibusbDevice::readDeviceId()
{
    std::array<unsigned char, maximumDeviceIdBytes> bytes{};
    const int count = libusb_control_transfer(m_implementation->handle, requestType, getDeviceId, 0,
        m_implementation->index(), bytes.data(), static_cast<std::uint16_t>(bytes.size()), controlTimeout);
    if (count < 0 && count != LIBUSB_ERROR_PIPE)
        return std::nullopt;
    if (count <= static_cast<int>(lengthBytes))
        return std::string();
    // The length before the text is wrong in enough printers; what has come is the text.
    return std::string(
        reinterpret_cast<const char*>(bytes.data()) + lengthBytes, static_cast<std::size_t>(count) - lengthBytes);
}

bool LibusbDevice::hasKernelDriver()
{
    return libusb_kernel_driver_active(m_implementation->handle, m_implementation->interface) == 1;
}

UsbResult LibusbDevice::detachKernelDriver()
{
    const int code = libusb_detach_kernel_driver(m_implementation->handle, m_implementation->interface);
    return code == LIBUSB_ERROR_NOT_FOUND ? UsbResult::Done : result(code); // it has just gone by itself
}

UsbResult LibusbDevice::claim()
{
    return result(libusb_claim_interface(m_implementation->handle, m_implementation->interface));
}

UsbResult LibusbDevice::chooseSetting()
{
    if (m_implementation->setting == 0)
        return UsbResult::Done; // the kernel leaves every interface in this one
    return result(libusb_set_interface_alt_setting(
        m_implementation->handle, m_implementation->interface, m_implementation->setting));
}

UsbResult LibusbDevice::send(std::span<const std::byte> bytes)
{
    // libusb only reads what it sends.
    auto* start = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(bytes.data()));
    libusb_fill_bulk_transfer(m_implementation->data.get(), m_implementation->handle, m_implementation->endpoint, start,
        static_cast<int>(bytes.size()), Implementation::dataEnded, m_implementation.get(), 0);
    const UsbResult submitted = result(libusb_submit_transfer(m_implementation->data.get()));
    m_implementation->dataInFlight = submitted == UsbResult::Done;
    return submitted;
}

void LibusbDevice::cancelData()
{
    libusb_cancel_transfer(m_implementation->data.get());
}

UsbResult LibusbDevice::askStatus()
{
    libusb_fill_control_setup(m_implementation->statusBytes.data(), requestType, getPortStatus, 0,
        static_cast<std::uint16_t>(m_implementation->interface), 1);
    libusb_fill_control_transfer(m_implementation->status.get(), m_implementation->handle,
        m_implementation->statusBytes.data(), Implementation::statusEnded, m_implementation.get(), controlTimeout);
    const UsbResult submitted = result(libusb_submit_transfer(m_implementation->status.get()));
    m_implementation->statusInFlight = submitted == UsbResult::Done;
    return submitted;
}

void LibusbDevice::clearStall()
{
    libusb_clear_halt(m_implementation->handle, m_implementation->endpoint);
}

void LibusbDevice::release()
{
    libusb_release_interface(m_implementation->handle, m_implementation->interface);
}

void LibusbDevice::attachKernelDriver()
{
    libusb_attach_kernel_driver(m_implementation->handle, m_implementation->interface);
}

} // namespace harrowmint::usb
