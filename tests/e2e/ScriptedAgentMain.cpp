// The agent as it is installed, save for the path of its backend program and, with a number as its argument, its port.
#include "app/Agent.h"
#include "app/SystemBluetooth.h"
#include "settings/PrinterSettings.h"

#include <QCoreApplication>

using namespace harrowmint;

int main(int argc, char** argv)
{
    return runAgent(argc, argv, [](SerialQueue& main) {
        auto configuration =
            agentConfiguration(main, PrinterSettings::directory(), QStringLiteral(SCRIPTED_BACKEND), systemBluetooth());
        if (const auto port = QCoreApplication::arguments().value(1).toUShort())
            configuration.port = port;
        return configuration;
    });
}
