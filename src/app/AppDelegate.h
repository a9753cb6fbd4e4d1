#pragma once

#include "app/AgentConfiguration.h"
#include "app/JobDispatch.h"
#include "app/QuitRequests.h"
#include "app/SavedSettings.h"
#include "app/Shutdown.h"
#include "app/StorePairing.h"
#include "app/WindowController.h"
#include "app/WorkerJobRunner.h"
#include "base/FileSystem.h"
#include "base/QtQueue.h"
#include "guard/PrintGuard.h"
#include "server/PrinterServer.h"
#include "settings/PrinterSettings.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>

namespace harrowmint {

/// Owns everything and wires it together: settings, guards, status item, window, server, worker, dispatch and pairing.
/// One for the whole process, which has a QApplication; lives on the main queue, which outlives it.
class AppDelegate final : private JobPresentation, private ShutdownEvents {
public:
    AppDelegate(SerialQueue& main, AgentConfiguration configuration, FileSystem& files = FileSystem::local());
    ~AppDelegate() override;

    /// The launch sequence, in its order: settings, guards, status item, window, login box, server, wake, printer
    /// lists; then the window is shown, unless this is a background start with nothing to tell and a printer to print
    /// on. Call once. Never throws: what cannot be loaded or started is told on the status line.
    void applicationDidFinishLaunching();
    /// The program was started again, or its icon was clicked: shows the window, and tries again what failed at the
    /// launch: to listen where the port was taken, and to load a guard. True.
    bool applicationShouldHandleReopen();
    /// Whether the application may end now: not while a job runs, which is then shown.
    [[nodiscard]] bool applicationShouldTerminate();
    /// The user's wish to quit, from a menu: refused while a job runs, which is then shown.
    void quit();
    /// The system's wish (a signal, the end of the session), which is never refused: see Shutdown.
    void endSession() { m_shutdown.request(); }
    /// Whether the agent will end, be it only when its job is over.
    [[nodiscard]] bool isEnding() const { return m_isEnding; }
    /// Whether nothing that blocks is under way, whose end the destructor would wait for. Takes 50 ms at most.
    [[nodiscard]] bool isIdle();
    /// Activates the agent and brings the settings window to the front.
    void showWindow();

    /// The saved settings; the defaults until launch has loaded them, or when they could not be read.
    [[nodiscard]] const PrinterSettings& settings() const { return m_settings.value(); }
    /// The status line's text and whether it is well.
    [[nodiscard]] const QString& statusText() const { return m_statusText; }
    [[nodiscard]] bool statusIsWell() const { return m_statusIsWell; }
    /// The activity line's text.
    [[nodiscard]] const QString& activityText() const { return m_activityText; }
    /// The port that the server listens on. After launch.
    [[nodiscard]] std::uint16_t port() const { return m_server.port(); }
    /// The settings window. After launch.
    [[nodiscard]] SettingsWindow& window() { return m_window->window(); }

private:
    [[nodiscard]] bool busy() const { return m_dispatch && m_dispatch->busy(); }
    void loadGuards();
    void loadMissingGuards();
    void makeStatusItem();
    void buildWindow();
    [[nodiscard]] WindowServices windowServices();
    void setLoginBox();
    void startServer();
    void observeWake();
    void refreshAfterWake();
    [[nodiscard]] bool mayStayHidden() const;
    void printTest(const PrinterSettings& settings, const JobDispatch::Answer& answer);
    void handle(const HTTPRequest& request, const ReplyCallback& reply);
    void print(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply);
    void settingsChanged();
    void serverStatusChanged(const QString& text, bool isWell);
    void showServerStatus();
    void showStatus(const QString& text, bool isWell);
    void showActivity(const QString& text) override;
    void showBusy(bool busy) override;
    void refuseJobs() override { m_isEnding = true; }
    bool cancelPairing() override;
    [[nodiscard]] bool isBusy() const override { return busy(); }
    void end() override;

    SerialQueue& m_main;
    AgentConfiguration m_configuration;
    FileSystem& m_files;
    SavedSettings m_settings;
    QString m_statusText;
    bool m_statusIsWell = false;
    QString m_serverStatusText;
    bool m_serverIsWell = false;
    QString m_activityText;
    bool m_isEnding = false; ///< no new jobs
    std::unique_ptr<PrintGuard> m_guardStore;
    std::unique_ptr<PrintGuard> m_labelGuardStore;
    WorkerQueue m_worker;
    WorkerQueue m_listing; ///< lists printers, so that no job waits for that
    WorkerJobRunner m_runner;
    std::optional<JobDispatch> m_dispatch;
    PrinterServer m_server;
    std::optional<WindowController> m_window;
    std::optional<StorePairing> m_pairing; ///< dies before the server: a page that waits gets its cancellation
    std::optional<QuitRequests> m_quitRequests;
    std::shared_ptr<void> m_statusItem;
    std::shared_ptr<void> m_wakeObservation;
    Shutdown m_shutdown;
    std::shared_ptr<AppDelegate*> m_self;
};

} // namespace harrowmint
