#pragma once

#include "app/TrayHost.h"
#include "base/SerialQueue.h"

#include <QIcon>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

class QMenu;

namespace harrowmint {

/// The agent's icon in the desktop's tray, with its menu. It shows as soon as the desktop has a place for it, be it at
/// once, later or again, and never delays anything: the toolkit's own icon waits for the tray's answer when it is made,
/// and so is only made for a tray that has just answered. Main thread, with a QApplication.
class TrayIcon {
public:
    /// What the user can choose; called on the main thread.
    struct Actions {
        std::function<void()> open; ///< "Open Harrowmint Printer", or a click on the icon
        std::function<void()> printTest; ///< "Print test receipt"
        std::function<void()> quit; ///< "Quit"
    };
    /// Makes the source of the news that there is a place.
    using MakeHost = std::function<std::unique_ptr<TrayHost>(SerialQueue&, std::function<void()>)>;

    TrayIcon(SerialQueue& main, QIcon icon, Actions actions, const MakeHost& makeHost = TrayHost::make);
    ~TrayIcon();
    TrayIcon(const TrayIcon&) = delete;
    TrayIcon& operator=(const TrayIcon&) = delete;

    /// Whether the icon has been given to a tray. Where it never is, the window is reached by starting the program
    /// again.
    [[nodiscard]] bool isShown() const { return m_item != nullptr; }

private:
    void show();
    void activated(QSystemTrayIcon::ActivationReason reason) const;

    QIcon m_icon;
    Actions m_actions;
    // The icon shows the menu and so goes first; the news of a tray make the icon.
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_item;
    std::unique_ptr<TrayHost> m_host;
};

} // namespace harrowmint
