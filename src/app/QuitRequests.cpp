#include "app/QuitRequests.h"

#include <QCoreApplication>
#include <QEvent>

namespace harrowmint {

QuitRequests::QuitRequests(std::function<void()> asked)
    : m_asked(std::move(asked))
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool QuitRequests::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::Quit || watched != QCoreApplication::instance())
        return false;
    event->ignore();
    m_asked();
    return true;
}

} // namespace harrowmint
