#include "app/PrinterDiscovery.h"

#include <exception>

namespace harrowmint {

PrinterDiscovery::Discover discoverOn(
    SerialQueue& worker, SerialQueue& main, std::function<std::vector<USBPrinter>()> discover)
{
    return [&worker, &main, discover = std::move(discover)](PrinterDiscovery::Completion completion) {
        worker.async([&main, discover, completion = std::move(completion)]() mutable {
            std::optional<std::vector<USBPrinter>> printers;
            try {
                printers = discover();
            } catch (const std::exception&) {
                printers.reset(); // the caller tells that it failed
            }
            main.async([completion = std::move(completion), printers = std::move(printers)] { completion(printers); });
        });
    };
}

} // namespace harrowmint
