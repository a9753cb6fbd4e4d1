// Prints on USB printers without root (CUPS backend conventions, backend(7)). Without arguments it lists the printers
// that are connected; with five it sends standard input to the printer that DEVICE_URI names.
#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/Program.h"

#include <csignal>
#include <cstdlib>
#include <exception>

namespace {

using namespace harrowmint::usb;

constexpr int printArguments = 5;

int run(int count)
{
    const bool hasError = settleStreams();
    std::signal(SIGPIPE, SIG_IGN);
    if (count == 1) {
        std::signal(SIGCHLD, SIG_IGN); // nobody waits for the processes of a survey
        return list();
    }
    if (!hasError)
        return failed;
    const char* text = std::getenv("DEVICE_URI");
    const auto uri = parsePrinterURI(text != nullptr ? text : "");
    if (count != 1 + printArguments || !uri) {
        say(count != 1 + printArguments ? messages::usage : messages::invalidURI);
        return failed;
    }
    return guard([&uri](int stop, int report) { print(*uri, stop, report); });
}

} // namespace

int main(int argc, char** /*argv*/)
{
    try {
        return run(argc);
    } catch (const std::exception& error) {
        say(std::string(messages::cannotWork) + error.what());
        return failed;
    }
}
