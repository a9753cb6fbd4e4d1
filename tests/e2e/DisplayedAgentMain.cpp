// The agent as it is installed, save for its port and the path of its backend program, which are its arguments, and for
// telling a test where its widgets are.
#include "app/Agent.h"
#include "app/AgentServices.h"
#include "app/SystemBluetooth.h"
#include "e2e/WidgetReport.h"
#include "settings/PrinterSettings.h"

#include <QCoreApplication>

using namespace harrowmint;

int main(int argc, char** argv)
{
    return runAgent(argc, argv, PrinterSettings::directory(), [](SerialQueue& main) {
        const QStringList arguments = QCoreApplication::arguments();
        AgentConfiguration configuration;
        addPrinters(configuration, main, arguments.value(2), systemBluetooth());
        addDesktop(configuration, main);
        addLoginItem(configuration);
        configuration.port = arguments.value(1).toUShort();
        test::reportWidgets();
        return configuration;
    });
}
