// What a USB device says of itself: whatever it is, its address is one word of printable ASCII that is read back, and
// its listing one line of UTF-8.
#include "transports/linux/usb-backend/PrinterURI.h"

#include <array>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace harrowmint::usb;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

PrinterTexts texts(std::string_view input)
{
    std::array<std::string, 4> parts;
    for (std::string& part : parts) {
        const std::size_t end = input.find('\n');
        part = input.substr(0, end);
        input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
    return {parts[0], parts[1], parts[2], parts[3]};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    static_cast<void>(parsePrinterURI(input));
    const PrinterTexts said = texts(input);
    const PrinterURI uri = printerURI(said, size % 2 == 0 ? 0 : 1);
    const std::string address = encoded(uri);
    for (const char character : address)
        require(character > ' ' && character < 0x7F);
    const auto read = parsePrinterURI(address);
    // A text that looks like an option is read as one, and stays so.
    require(read && (read->model.empty() || parsePrinterURI(encoded(*read)) == read));
    const std::string line = listingLine(uri, said.deviceId);
    require(line.find('\n') == line.size() - 1 && lineText(line.substr(0, line.size() - 1)) + '\n' == line);
    return 0;
}
