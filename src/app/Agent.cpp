#include "app/Agent.h"

#include "app/AgentServices.h"
#include "app/AppDelegate.h"
#include "app/Foreground.h"
#include "app/ProcessSettings.h"
#include "app/SessionBus.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignals.h"
#include "app/UnfinishedJobs.h"

#include <QApplication>
#include <QSessionManager>
#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace harrowmint {

namespace {

/// A start in the background is content with an agent that runs.
SingleInstance::Wish wishOf(int argc, char** argv)
{
    const bool background = std::any_of(argv + 1, argv + std::max(argc, 1),
        [](const char* argument) { return std::string_view(argument) == "--background"; });
    return background ? SingleInstance::Wish::Nothing : SingleInstance::Wish::ShowWindow;
}

/// Half a receipt on paper is worth less than a moment's wait, however the process comes to its end.
void finishJobsAtExit(std::shared_ptr<UnfinishedJobs> jobs)
{
    static std::shared_ptr<UnfinishedJobs> atExit; // an exit handler has no argument
    atExit = std::move(jobs);
    std::atexit([] {
        if (atExit->waitUntilNone(Shutdown::jobTime))
            std::_Exit(EXIT_SUCCESS);
    });
}

/// Whether the agent starts at login is the user's choice in its window, not the session manager's.
void stayOutOfSavedSessions(QGuiApplication& application)
{
    const auto neverRestart = [](QSessionManager& manager) { manager.setRestartHint(QSessionManager::RestartNever); };
    QObject::connect(
        &application, &QGuiApplication::commitDataRequest, &application, neverRestart, Qt::DirectConnection);
    QObject::connect(
        &application, &QGuiApplication::saveStateRequest, &application, neverRestart, Qt::DirectConnection);
}

} // namespace

int runAgent(
    int argc, char** argv, const QString& directory, const std::function<AgentConfiguration(SerialQueue&)>& configure)
{
    settleProcess();
    SingleInstance instance(directory);
    const auto outcome = instance.start(wishOf(argc, argv));
    if (outcome == SingleInstance::Outcome::Shown)
        return 0;
    settleSessionBus();

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Harrowmint Printer"));
    QApplication::setDesktopFileName(QStringLiteral("com.harrowmint.printer"));
    QApplication::setQuitOnLastWindowClosed(false);
    stayOutOfSavedSessions(application);
    QtQueue main;
    AgentConfiguration configuration = configure(main);
    configuration.directory = directory;
    if (!configuration.log)
        configuration.log = logLine;
    const auto jobs = std::make_shared<UnfinishedJobs>(configuration.activity);
    configuration.activity = jobs;
    finishJobsAtExit(jobs);

    std::unique_ptr<Foreground> foreground;
    configuration.activate = [&foreground] { foreground->activate(); };
    AppDelegate* running = nullptr;
    const TerminationSignals signals([&running] { running->endSession(); });
    AppDelegate delegate(main, std::move(configuration));
    running = &delegate;
    foreground = Foreground::make(main, [&delegate] { delegate.applicationShouldHandleReopen(); });
    delegate.applicationDidFinishLaunching();
    if (outcome == SingleInstance::Outcome::First)
        instance.serve(
            main, [&delegate] { delegate.applicationShouldHandleReopen(); },
            [&delegate] { return delegate.isEnding(); });
    const int status = QApplication::exec();
    if (!delegate.isIdle())
        std::_Exit(status); // the delegate's end would wait for what blocks
    return status;
}

} // namespace harrowmint
