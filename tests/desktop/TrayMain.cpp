// The tests of the toolkit's own tray icon: it needs a display, which is a virtual one, and this process's session bus.
#include "support/LeakSuppressions.h"
#include "support/bluez/PrivateBus.h"

#include <QApplication>
#include <QProcess>
#include <gtest/gtest.h>

namespace {

/// A virtual display for as long as it lives.
class VirtualDisplay {
public:
    VirtualDisplay()
    {
        constexpr int startLimit = 30'000;
        m_server.start(QStringLiteral("Xvfb"),
            {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"), QStringLiteral("0"),
                QStringLiteral("640x480x24"), QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        QByteArray number;
        while (!number.endsWith('\n') && m_server.waitForReadyRead(startLimit))
            number += m_server.readAllStandardOutput();
        if (!number.endsWith('\n'))
            qFatal("Xvfb does not start: %s", m_server.readAllStandardError().constData());
        qputenv("DISPLAY", ':' + number.trimmed());
    }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    ~VirtualDisplay()
    {
        m_server.terminate();
        m_server.waitForFinished();
    }

private:
    QProcess m_server;
};

} // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const VirtualDisplay display;
    const PrivateBus bus;
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
