#pragma once

#include "app/PrinterDiscovery.h"
#include "app/WorkerJobRunner.h"
#include "base/SerialQueue.h"
#include "documents/Receipt.h"
#include "server/PrinterServer.h"

#include <QIcon>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

namespace harrowmint {

class BluetoothTransports;

/// What the status item's menu does; on the main queue.
struct StatusItemActions {
    std::function<void()> open;
    std::function<void()> printTest;
    std::function<void()> quit;
};

/// Whether the process was started with "--background", by the login item. Needs the application object.
[[nodiscard]] bool startedInBackground();

/// What makes one agent differ from another: where its data lives, which printers it reaches, and what its desktop
/// offers. A function that is missing stands for something that this desktop does not have.
struct AgentConfiguration {
    QString directory; ///< the data directory
    /// What `transports` prints on over Bluetooth; null when the agent does without.
    std::shared_ptr<BluetoothTransports> bluetooth = {};
    Transports transports = {};
    std::uint16_t port = PrinterServer::defaultPort;
    /// Gets each change of the status line and of the activity line; content-free sentences, meant for a log.
    std::function<void(const QString&)> log = {};

    /// Makes the discovery of printers. What blocks runs on `listing`, where no job waits for it.
    std::function<PrinterDiscovery(SerialQueue& main, SerialQueue& listing)> discovery = {};
    /// Lets go of the Bluetooth LE printers that no job uses; called on the worker queue.
    std::function<void()> disconnectBluetooth = {};

    /// Makes the icon in the menu bar or tray; it lives as long as what is returned.
    std::function<std::shared_ptr<void>(const StatusItemActions&)> statusItem = {};
    std::function<QIcon()> applicationIcon = {};
    /// Brings the agent before other programs, each time before its window is shown to the user.
    std::function<void()> activate = {};
    /// Calls `woke` on the main queue after each wake of the computer, as long as what is returned lives.
    std::function<std::shared_ptr<void>(std::function<void()> woke)> observeWake = {};
    /// Keeps the system awake during a job.
    std::shared_ptr<ProcessActivity> activity = {};

    /// What "Print test receipt" prints.
    std::function<Receipt()> testReceipt = [] { return Receipt::test(); };

    /// Whether the agent starts at login. May throw.
    std::function<bool()> loginItemExists = {};
    /// Has the agent start at login, or not. May throw.
    std::function<void(bool enabled)> configureLogin = {};
    bool background = startedInBackground();
    /// Ends the event loop; the application's own quit when missing.
    std::function<void()> terminate = {};
};

} // namespace harrowmint
