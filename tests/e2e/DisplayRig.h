#pragma once

#include "e2e/AgentProcess.h"

#include <QJsonObject>
#include <functional>
#include <optional>

namespace harrowmint::test {

/// A computer with a screen, a keyboard and a mouse (Xvfb, xdotool), a user who has never started the agent, no session
/// bus, and a virtual printer on USB. Every press goes through the display.
class DisplayRig {
public:
    /// Starts the display. Throws std::runtime_error when it cannot be had.
    DisplayRig();
    ~DisplayRig();
    DisplayRig(const DisplayRig&) = delete;
    DisplayRig& operator=(const DisplayRig&) = delete;

    /// Starts the agent and waits until it listens.
    void startAgent();
    /// Starts the agent's program once more; its exit status.
    [[nodiscard]] int startAgain();

    /// The visible widget of this name (object name, else text); empty when there is none.
    [[nodiscard]] QJsonObject widget(const QString& name);
    /// Waits until that widget is visible and `isSo`. Throws std::runtime_error after a minute.
    QJsonObject waitForWidget(const QString& name, const std::function<bool(const QJsonObject&)>& isSo);
    /// Waits until no widget of this name is visible.
    void waitUntilGone(const QString& name);
    /// Clicks that widget once it can be clicked.
    void click(const QString& name);
    /// Presses a key by its name of the X Window System.
    void press(const QString& key) const;
    /// Gives the keyboard to the settings window, as a window manager would: there is none.
    void focusWindow() const;
    /// Closes the settings window as its frame would.
    void closeWindow();

    [[nodiscard]] HttpResponse request(
        const QByteArray& method, const QByteArray& path, const QByteArray& origin, const QByteArray& body) const;
    [[nodiscard]] QString homePath(const QString& name) const { return m_home.filePath(name); }
    /// What the virtual printer has printed: file names of pictures.
    [[nodiscard]] QStringList papers() const;

    std::optional<AgentProcess> agent;

private:
    [[nodiscard]] AgentPlace place() const;
    void runTool(const QStringList& arguments) const;

    TemporaryDirectory m_home;
    QProcess m_display;
    QString m_displayName;
    std::uint16_t m_port = freePort();
};

} // namespace harrowmint::test
