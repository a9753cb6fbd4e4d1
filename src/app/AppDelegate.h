#pragma once

#include "app/JobDispatch.h"
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

class BluetoothTransports;

/// What makes one agent differ from another: where its data lives and which printers it reaches.
struct AgentConfiguration {
    QString directory; ///< the data directory
    /// What `transports` prints on over Bluetooth; null when the agent does without.
    std::shared_ptr<BluetoothTransports> bluetooth;
    Transports transports;
    std::uint16_t port = PrinterServer::defaultPort;
    /// Gets each change of the status line and of the activity line; content-free sentences, meant for a log.
    std::function<void(const QString&)> log;
};

/// Owns everything and wires it together: settings, guards, server, worker and dispatch. One for the whole process;
/// lives on the main queue, which outlives it.
class AppDelegate final : private JobPresentation {
public:
    AppDelegate(SerialQueue& main, AgentConfiguration configuration, FileSystem& files = FileSystem::local());
    ~AppDelegate() override;

    /// The launch sequence: loads settings and guards and starts the server. Call once. Never throws: what cannot be
    /// loaded or started is told on the status line.
    void applicationDidFinishLaunching();

    /// The saved settings; the defaults until launch has loaded them, or when they could not be read.
    [[nodiscard]] const PrinterSettings& settings() const { return m_settings; }
    /// The status line's text and whether it is well.
    [[nodiscard]] const QString& statusText() const { return m_statusText; }
    [[nodiscard]] bool statusIsWell() const { return m_statusIsWell; }
    /// The activity line's text.
    [[nodiscard]] const QString& activityText() const { return m_activityText; }
    /// The port that the server listens on. After launch.
    [[nodiscard]] std::uint16_t port() const { return m_server.port(); }

private:
    void loadSettings();
    [[nodiscard]] std::unique_ptr<PrintGuard> loadGuard(bool labels);
    void startServer();
    void handle(const HTTPRequest& request, const ReplyCallback& reply);
    void print(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply);
    void pair(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply);
    void showStatus(const QString& text, bool isWell);
    void showActivity(const QString& text) override;
    void showBusy(bool busy) override;

    SerialQueue& m_main;
    AgentConfiguration m_configuration;
    FileSystem& m_files;
    PrinterSettings m_settings;
    bool m_settingsAreReadable = true;
    QString m_statusText;
    bool m_statusIsWell = false;
    QString m_activityText = QStringLiteral("Starting");
    std::unique_ptr<PrintGuard> m_guardStore;
    std::unique_ptr<PrintGuard> m_labelGuardStore;
    WorkerQueue m_worker;
    WorkerJobRunner m_runner;
    std::optional<JobDispatch> m_dispatch;
    PrinterServer m_server;
};

} // namespace harrowmint
