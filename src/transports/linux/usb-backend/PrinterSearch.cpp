#include "transports/linux/usb-backend/PrinterSearch.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <tuple>
#include <unistd.h>

namespace harrowmint::usb {

namespace {

/// A device id may have 65535 bytes, but an attribute is a page at most.
constexpr std::size_t maximumAttributeBytes = 4096;
constexpr int printerClass = 7;
constexpr int printerSubclass = 1;
constexpr int lastPrinterProtocol = 3; // unidirectional, bidirectional, 1284.4

/// The attribute without its final line feed; "" when there is none.
std::string attribute(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    std::array<char, maximumAttributeBytes> bytes{};
    const ssize_t count = ::read(file, bytes.data(), bytes.size());
    ::close(file);
    std::string result(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (!result.empty() && result.back() == '\n')
        result.pop_back();
    return result;
}

std::optional<int> number(const std::string& text, int base = 10)
{
    const std::size_t first = text.find_first_not_of(' ');
    int result = 0;
    if (first == std::string::npos
        || std::from_chars(text.data() + first, text.data() + text.size(), result, base).ec != std::errc())
        return std::nullopt;
    return result;
}

std::vector<std::string> entries(const std::string& folder)
{
    std::vector<std::string> result;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
    while (directory) {
        const dirent* entry = ::readdir(directory.get());
        if (entry == nullptr)
            break;
        result.emplace_back(entry->d_name);
    }
    return result;
}

bool isPrinter(const std::string& interfaceFolder)
{
    const auto value = [&](const char* name) { return number(attribute(interfaceFolder + name), 16).value_or(0); };
    const int protocol = value("/bInterfaceProtocol");
    return value("/bInterfaceClass") == printerClass && value("/bInterfaceSubClass") == printerSubclass && protocol >= 1
        && protocol <= lastPrinterProtocol;
}

/// The printer at the interface folder `name`, "1-1.2:1.0".
std::optional<PrinterLocation> printerAt(const std::string& folder, const std::string& name)
{
    const std::size_t colon = name.find(':');
    if (colon == std::string::npos || !isPrinter(folder + '/' + name))
        return std::nullopt;
    PrinterLocation result;
    result.port = name.substr(0, colon);
    const std::string device = folder + '/' + result.port;
    const std::optional<int> bus = number(attribute(device + "/busnum"));
    const std::optional<int> address = number(attribute(device + "/devnum"));
    const std::optional<int> interface = number(attribute(folder + '/' + name + "/bInterfaceNumber"), 16);
    if (!bus || !address || !interface)
        return std::nullopt; // it has just been unplugged
    result.bus = *bus;
    result.address = *address;
    result.interface = *interface;
    return result;
}

/// The numbers in a place's name: they, not its letters, put "1-2" before "1-10".
std::vector<int> portNumbers(const std::string& port)
{
    std::vector<int> result;
    const char* end = port.data() + port.size();
    for (const char* at = port.data(); at < end; ++at) {
        int value = 0;
        at = std::from_chars(at, end, value).ptr;
        result.push_back(value);
    }
    return result;
}

} // namespace

std::string PrinterLocation::node() const
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "/dev/bus/usb/%03d/%03d", bus, address);
    return text.data();
}

std::vector<PrinterLocation> connectedPrinters(const std::string& folder)
{
    std::vector<PrinterLocation> result;
    for (const std::string& name : entries(folder)) {
        if (std::optional<PrinterLocation> printer = printerAt(folder, name))
            result.push_back(std::move(*printer));
    }
    const auto place = [](const PrinterLocation& printer) {
        return std::tuple(printer.bus, portNumbers(printer.port), printer.interface);
    };
    std::sort(result.begin(), result.end(), [&](const auto& a, const auto& b) { return place(a) < place(b); });
    const auto sameDevice = [](const auto& a, const auto& b) { return a.bus == b.bus && a.address == b.address; };
    result.erase(std::unique(result.begin(), result.end(), sameDevice), result.end());
    result.resize(std::min(result.size(), maximumPrinters));
    return result;
}

PrinterTexts knownTexts(const PrinterLocation& printer, const std::string& folder)
{
    const std::string device = folder + '/' + printer.port;
    PrinterTexts texts{
        attribute(device + "/manufacturer"), attribute(device + "/product"), attribute(device + "/serial"), {}};
    const std::string configuration = attribute(device + "/bConfigurationValue");
    texts.deviceId = attribute(device + ':' + configuration + '.' + std::to_string(printer.interface) + "/ieee1284_id");
    return texts;
}

} // namespace harrowmint::usb
