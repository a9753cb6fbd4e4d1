#include "transports/linux/usb-backend/PrinterURI.h"

#include <algorithm>
#include <charconv>

namespace harrowmint::usb {

namespace {

constexpr std::string_view scheme = "usb://";
constexpr std::string_view serialOption = "?serial=";
constexpr std::string_view interfaceOption = "interface=";
/// What stands encoded in a vendor; in model and serial number only the percent sign does.
constexpr std::string_view encodedInVendor = "\"#%/:<>?@[\\]^`{|}";
constexpr std::string_view encodedElsewhere = "%";

/// What is longer is no name: three printers that say as much as they can still fit into a listing of 65536 bytes.
constexpr std::size_t maximumNameBytes = 256;
constexpr std::size_t maximumIdBytes = 1024;

std::string percentEncoded(std::string_view text, std::string_view reserved)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte > 0x20 && byte < 0x7F && reserved.find(character) == std::string_view::npos)
            result += character;
        else
            result.append({'%', digits[byte >> 4U], digits[byte & 0xFU]});
    }
    return result;
}

/// A percent sign that no two hexadecimal digits follow stands for itself.
std::string percentDecoded(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = 0;
        const char* digits = text.data() + i + 1;
        if (text[i] == '%' && i + 2 < text.size() && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            result += static_cast<char>(byte);
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string_view withoutVendor(std::string_view model, std::string_view vendor)
{
    if (model.size() <= vendor.size() || model[vendor.size()] != ' '
        || !equalIgnoringCase(model.substr(0, vendor.size()), vendor))
        return model;
    const std::size_t name = model.find_first_not_of(' ', vendor.size());
    return name == std::string_view::npos ? model : model.substr(name);
}

/// String descriptors as libusb's ASCII reading gives them: a question mark for each UTF-16 unit that is none.
std::string asciiText(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80)
            result += character;
        else if (byte >= 0xF0)
            result += "??"; // a surrogate pair
        else if (byte >= 0xC0)
            result += '?';
    }
    return result;
}

std::string firstOf(const std::string& preferred, const std::string& otherwise)
{
    return preferred.empty() ? otherwise : preferred;
}

/// Takes "interface=N" and the separator before it off the end of `text`.
int takeInterface(std::string_view& text)
{
    const std::size_t at = text.rfind(interfaceOption);
    if (at == std::string_view::npos || at == 0 || (text[at - 1] != '&' && text[at - 1] != '?'))
        return 0;
    const std::string_view digits = text.substr(at + interfaceOption.size());
    int number = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number < 0)
        return 0;
    text = text.substr(0, at - 1);
    return number;
}

std::string withoutQuotes(std::string text)
{
    std::replace(text.begin(), text.end(), '"', '\'');
    return text;
}

std::string withEscapes(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        if (character == '"' || character == '\\')
            result += '\\';
        result += character;
    }
    return result;
}

} // namespace

PrinterURI printerURI(const PrinterTexts& texts, int interface)
{
    PrinterURI result;
    result.vendor = firstOf(deviceIdValue(texts.deviceId, {"MANUFACTURER", "MFG"}), asciiText(texts.manufacturer));
    const std::string model = firstOf(deviceIdValue(texts.deviceId, {"MODEL", "MDL"}), asciiText(texts.product));
    if (equalIgnoringCase(result.vendor, "Hewlett-Packard"))
        result.vendor = "HP";
    else if (equalIgnoringCase(result.vendor, "Lexmark International"))
        result.vendor = "Lexmark";
    else if (result.vendor.empty())
        result.vendor = "Unknown";
    result.model = model.empty() ? std::string("Printer") : std::string(withoutVendor(model, result.vendor));
    result.serial = asciiText(texts.serial);
    for (std::string* text : {&result.vendor, &result.model, &result.serial})
        text->resize(shortened(*text, maximumNameBytes).size());
    result.interface = interface;
    return result;
}

std::string encoded(const PrinterURI& uri)
{
    std::string result(scheme);
    result += percentEncoded(uri.vendor, encodedInVendor) + '/' + percentEncoded(uri.model, encodedElsewhere);
    if (!uri.serial.empty())
        result.append(serialOption) += percentEncoded(uri.serial, encodedElsewhere);
    if (uri.interface > 0)
        result.append(uri.serial.empty() ? "?" : "&").append(interfaceOption) += std::to_string(uri.interface);
    return result;
}

std::optional<PrinterURI> parsePrinterURI(std::string_view text)
{
    if (text.substr(0, scheme.size()) != scheme)
        return std::nullopt;
    text.remove_prefix(scheme.size());
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos || slash == 0 || slash + 1 == text.size())
        return std::nullopt;
    PrinterURI result;
    result.vendor = percentDecoded(text.substr(0, slash));
    text.remove_prefix(slash + 1);
    result.interface = takeInterface(text);
    // A model may hold question marks of its own.
    if (const std::size_t serial = text.find(serialOption); serial != std::string_view::npos) {
        result.serial = percentDecoded(text.substr(serial + serialOption.size()));
        text = text.substr(0, serial);
    }
    result.model = percentDecoded(text);
    return result;
}

bool matches(const PrinterURI& wanted, const PrinterURI& found)
{
    return equalIgnoringCase(wanted.vendor, found.vendor) && equalIgnoringCase(wanted.model, found.model)
        && wanted.serial == found.serial && (wanted.interface == 0 || wanted.interface == found.interface);
}

std::string listingLine(const PrinterURI& uri, std::string_view deviceId)
{
    const std::string name =
        withoutQuotes(std::string(shortened(lineText(uri.vendor + ' ' + uri.model), maximumNameBytes)));
    const std::string id = withEscapes(shortened(lineText(deviceId), maximumIdBytes));
    return "direct " + encoded(uri) + " \"" + name + "\" \"" + name + " USB\" \"" + id + "\" \"\"\n";
}

} // namespace harrowmint::usb
