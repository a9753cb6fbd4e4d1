// The services of a desktop that the agent uses: bench_desktop BUS_ADDRESS plays a tray and logind on that bus, says
// "ready" and stays.
#include "desktop/FakeWatcher.h"

#include <QCoreApplication>
#include <QDBusUnixFileDescriptor>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

using namespace harrowmint::test;

namespace {

/// A lock is a descriptor, as logind's are.
QDBusMessage inhibit(const QDBusMessage& call)
{
    std::array<int, 2> ends{-1, -1};
    if (call.member() != QLatin1String("Inhibit") || ::pipe2(ends.data(), O_CLOEXEC) != 0)
        return call.createErrorReply(QDBusError::UnknownMethod, call.member());
    const QDBusUnixFileDescriptor lock(ends[1]);
    for (const int end : ends)
        ::close(end);
    return call.createReply(QVariant::fromValue(lock));
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QString bus = QCoreApplication::arguments().value(1);
    FakeWatcher tray(bus);
    tray.start();
    FakeService logind(bus, QStringLiteral("/org/freedesktop/login1"), inhibit);
    logind.claim(QStringLiteral("org.freedesktop.login1"));
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
