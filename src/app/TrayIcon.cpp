#include "app/TrayIcon.h"

#include <QMenu>

namespace harrowmint {

namespace {

const auto toolTip = QStringLiteral("Harrowmint Printer — open settings");
const auto openTitle = QStringLiteral("Open Harrowmint Printer");
const auto printTestTitle = QStringLiteral("Print test receipt");
const auto quitTitle = QStringLiteral("Quit");

} // namespace

TrayIcon::TrayIcon(SerialQueue& main, QIcon icon, Actions actions, const MakeHost& makeHost)
    : m_icon(std::move(icon))
    , m_actions(std::move(actions))
    , m_host(makeHost(main, [this] { show(); }))
{
}

TrayIcon::~TrayIcon() = default;

void TrayIcon::show()
{
    if (m_item) // it finds a tray that comes again by itself
        return;
    m_menu = std::make_unique<QMenu>();
    const auto add = [this](const QString& title, const std::function<void()>& action) {
        QObject::connect(m_menu->addAction(title), &QAction::triggered, m_menu.get(), action);
    };
    add(openTitle, m_actions.open);
    add(printTestTitle, m_actions.printTest);
    add(quitTitle, m_actions.quit);
    m_item = std::make_unique<QSystemTrayIcon>(m_icon);
    m_item->setToolTip(toolTip);
    m_item->setContextMenu(m_menu.get());
    QObject::connect(m_item.get(), &QSystemTrayIcon::activated, m_item.get(),
        [this](QSystemTrayIcon::ActivationReason reason) { activated(reason); });
    m_item->show();
}

/// A double click is also told as a click.
void TrayIcon::activated(QSystemTrayIcon::ActivationReason reason) const
{
    if (reason == QSystemTrayIcon::Trigger)
        m_actions.open();
}

} // namespace harrowmint
