#include "app/Agent.h"
#include "app/AgentServices.h"
#include "app/SystemBluetooth.h"
#include "settings/PrinterSettings.h"
#include "transports/USBBackend.h"

using namespace harrowmint;

int main(int argc, char** argv)
{
    return runAgent(argc, argv, PrinterSettings::directory(), [](SerialQueue& main) {
        AgentConfiguration configuration;
        addPrinters(configuration, main, USBBackend::path(), systemBluetooth());
        addDesktop(configuration, main);
        addLoginItem(configuration);
        return configuration;
    });
}
