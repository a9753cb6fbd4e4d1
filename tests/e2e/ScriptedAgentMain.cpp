// The agent as it is installed, save for the path of its backend program and, with a number as its argument, its port.
#include "app/Agent.h"
#include "app/AgentServices.h"
#include "app/SystemBluetooth.h"
#include "settings/PrinterSettings.h"

#include <QCoreApplication>

using namespace harrowmint;

int main(int argc, char** argv)
{
    return runAgent(argc, argv, PrinterSettings::directory(), [](SerialQueue& main) {
        AgentConfiguration configuration;
        addPrinters(configuration, main, QStringLiteral(SCRIPTED_BACKEND), systemBluetooth());
        addDesktop(configuration, main);
        addLoginItem(configuration);
        if (const auto port = QCoreApplication::arguments().value(1).toUShort())
            configuration.port = port;
        return configuration;
    });
}
