#include "app/Display.h"

#include <QByteArrayList>
#include <QtGlobal>

namespace harrowmint {

void settleDisplay()
{
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return;
    // In this order, because only X11 lets a program bring its own window to the front. One that cannot be reached, or
    // whose plug-in is not installed, is passed over: the toolkit would else abort.
    QByteArrayList platforms;
    if (!qEnvironmentVariableIsEmpty("DISPLAY"))
        platforms.append("xcb");
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        platforms.append("wayland");
    platforms.append("offscreen");
    qputenv("QT_QPA_PLATFORM", platforms.join(';'));
}

} // namespace harrowmint
