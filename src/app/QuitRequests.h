#pragma once

#include <QObject>
#include <functional>

namespace harrowmint {

/// Hears when the system or the toolkit asks the application to quit (the session's manager, the application menu), and
/// decides in its place: without it every such wish would be granted. Needs the application object, which outlives it.
class QuitRequests final : public QObject {
public:
    explicit QuitRequests(std::function<void()> asked);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<void()> m_asked;
};

} // namespace harrowmint
