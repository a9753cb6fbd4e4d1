#include "app/Agent.h"
#include "settings/PrinterSettings.h"

int main(int argc, char** argv)
{
    return harrowmint::runAgent(argc, argv, [] {
        return harrowmint::AgentConfiguration{
            .directory = harrowmint::PrinterSettings::directory(),
            .transports = harrowmint::agentTransports(QStringLiteral(SCRIPTED_BACKEND)),
            .log = {},
        };
    });
}
