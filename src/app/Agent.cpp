#include "app/Agent.h"

#include "app/AgentServices.h"
#include "app/AppDelegate.h"
#include "app/Foreground.h"
#include "app/ProcessSettings.h"
#include "app/SessionBus.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignals.h"

#include <QApplication>

namespace harrowmint {

int runAgent(
    int argc, char** argv, const QString& directory, const std::function<AgentConfiguration(SerialQueue&)>& configure)
{
    settleProcess();
    SingleInstance instance(directory);
    const auto outcome = instance.start();
    if (outcome == SingleInstance::Outcome::Shown)
        return 0;
    settleSessionBus();

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Harrowmint Printer"));
    QApplication::setDesktopFileName(QStringLiteral("com.harrowmint.printer"));
    QApplication::setQuitOnLastWindowClosed(false);
    QtQueue main;
    AgentConfiguration configuration = configure(main);
    configuration.directory = directory;
    if (!configuration.log)
        configuration.log = logLine;
    std::unique_ptr<Foreground> foreground;
    configuration.activate = [&foreground] { foreground->activate(); };
    AppDelegate delegate(main, std::move(configuration));
    foreground = Foreground::make(main, [&delegate] { delegate.applicationShouldHandleReopen(); });
    delegate.applicationDidFinishLaunching();
    const TerminationSignals signals([&delegate] { delegate.endSession(); });
    if (outcome == SingleInstance::Outcome::First)
        instance.serve(main, [&delegate] { delegate.applicationShouldHandleReopen(); });
    return QApplication::exec();
}

} // namespace harrowmint
