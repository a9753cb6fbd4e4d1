#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/Program.h"
#include "transports/linux/usb-backend/Survey.h"

#include <cerrno>
#include <unistd.h>

namespace harrowmint::usb {

namespace {

bool writeAll(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count < 0 ? 0 : count));
    }
    return true;
}

} // namespace

int list()
{
    std::string lines;
    for (const SurveyedPrinter& printer : survey(connectedPrinters(), {})) {
        if (printer.texts)
            lines += listingLine(printerURI(*printer.texts, printer.location.interface), printer.texts->deviceId);
        else
            say(messages::noAnswer(printer.location.node()));
    }
    return writeAll(lines) ? succeeded : failed;
}

} // namespace harrowmint::usb
