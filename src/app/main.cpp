#include "app/Agent.h"
#include "app/SystemBluetooth.h"
#include "settings/PrinterSettings.h"
#include "transports/USBBackend.h"

using namespace harrowmint;

int main(int argc, char** argv)
{
    return runAgent(argc, argv, [](SerialQueue& main) {
        return agentConfiguration(main, PrinterSettings::directory(), USBBackend::path(), systemBluetooth());
    });
}
