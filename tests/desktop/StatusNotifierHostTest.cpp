#include "app/linux/StatusNotifierHost.h"
#include "adapter/AdapterRig.h"
#include "desktop/FakeWatcher.h"
#include "desktop/MuteBus.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;
using adapter::letPass;
using adapter::waitFor;

namespace {

class StatusNotifierHosts : public ::testing::Test {
protected:
    std::unique_ptr<StatusNotifierHost> makeHost(const QString& address)
    {
        return std::make_unique<StatusNotifierHost>(m_queue, address, [this] { ++m_appearances; });
    }

    PrivateBus m_bus;
    QtQueue m_queue;
    int m_appearances = 0;
};

TEST_F(StatusNotifierHosts, AppearWhereTheyAreAlready)
{
    FakeWatcher watcher(m_bus.address());
    watcher.start();
    const auto host = makeHost(m_bus.address());
    EXPECT_EQ(m_appearances, 0) << "not within the constructor";
    EXPECT_TRUE(waitFor([&] { return m_appearances == 1; }));
    letPass(50ms);
    EXPECT_EQ(m_appearances, 1);
}

TEST_F(StatusNotifierHosts, AppearWhenTheDesktopComesAfterTheAgent)
{
    FakeWatcher watcher(m_bus.address());
    const auto host = makeHost(m_bus.address());
    letPass(100ms);
    EXPECT_EQ(m_appearances, 0);
    watcher.start();
    EXPECT_TRUE(waitFor([&] { return m_appearances == 1; }));
}

TEST_F(StatusNotifierHosts, DoNotAppearWithAWatcherAlone)
{
    FakeWatcher watcher(m_bus.address());
    watcher.setHost(false);
    watcher.start();
    const auto host = makeHost(m_bus.address());
    letPass(100ms);
    EXPECT_EQ(m_appearances, 0);
    watcher.setHost(true);
    EXPECT_TRUE(waitFor([&] { return m_appearances == 1; }));
}

TEST_F(StatusNotifierHosts, AppearAgainAfterTheyWereGone)
{
    FakeWatcher watcher(m_bus.address());
    watcher.start();
    const auto host = makeHost(m_bus.address());
    ASSERT_TRUE(waitFor([&] { return m_appearances == 1; }));
    watcher.stop();
    watcher.start();
    EXPECT_TRUE(waitFor([&] { return m_appearances == 2; }));
    const int reads = watcher.reads();
    watcher.setHost(false);
    ASSERT_TRUE(waitFor([&] { return watcher.reads() > reads; }));
    watcher.setHost(true);
    EXPECT_TRUE(waitFor([&] { return m_appearances == 3; }));
}

TEST_F(StatusNotifierHosts, AppearOnABusThatComesAfterTheAgent)
{
    m_bus.stop();
    const auto host = makeHost(m_bus.address());
    letPass(100ms);
    m_bus.start();
    FakeWatcher watcher(m_bus.address());
    watcher.start();
    EXPECT_TRUE(waitFor([&] { return m_appearances == 1; }));
}

TEST_F(StatusNotifierHosts, DoNotAppearWithAWatcherThatNeverAnswers)
{
    FakeWatcher watcher(m_bus.address());
    watcher.setMute(true);
    watcher.start();
    const auto host = makeHost(m_bus.address());
    ASSERT_TRUE(waitFor([&] { return watcher.reads() > 0; }));
    letPass(50ms);
    EXPECT_EQ(m_appearances, 0);
    watcher.setMute(false);
    watcher.setHost(true);
    EXPECT_TRUE(waitFor([&] { return m_appearances == 1; }));
}

TEST_F(StatusNotifierHosts, DelayNothingOnABusThatNeverAnswers)
{
    MuteBus mute;
    const auto begin = std::chrono::steady_clock::now();
    {
        const auto host = makeHost(mute.address());
        ASSERT_TRUE(waitFor([&] { return mute.connections() > 0; }));
        letPass(50ms);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(m_appearances, 0);
}

class BusAddress : public ::testing::Test {
protected:
    BusAddress()
    {
        for (const char* name : names)
            m_before.push_back(qgetenv(name));
    }
    ~BusAddress() override
    {
        for (std::size_t i = 0; i < m_before.size(); ++i)
            qputenv(names[i], m_before[i]);
    }

    static constexpr const char* names[] = {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "DBUS_SYSTEM_BUS_ADDRESS"};
    std::vector<QByteArray> m_before;
};

TEST_F(BusAddress, IsWhatTheSessionSays)
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session/bus");
    EXPECT_EQ(BusService::sessionBusAddress(), QStringLiteral("unix:path=/session/bus"));
}

TEST_F(BusAddress, IsInTheRuntimeDirectoryWhereTheSessionSaysNothing)
{
    const TemporaryDirectory runtime;
    qputenv("DBUS_SESSION_BUS_ADDRESS", "");
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    EXPECT_EQ(BusService::sessionBusAddress(), QString());
    QFile socket(runtime.filePath(QStringLiteral("bus")));
    ASSERT_TRUE(socket.open(QIODevice::WriteOnly));
    EXPECT_EQ(BusService::sessionBusAddress(), QStringLiteral("unix:path=") + socket.fileName());
}

TEST_F(BusAddress, IsNoneWhereABusWouldHaveToBeStarted)
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
    EXPECT_EQ(BusService::sessionBusAddress(), QString());
}

TEST_F(BusAddress, OfTheSystemIsWhatItSaysOrTheUsualOne)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/system/bus");
    EXPECT_EQ(BusService::systemBusAddress(), QStringLiteral("unix:path=/system/bus"));
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "");
    EXPECT_EQ(BusService::systemBusAddress(), QStringLiteral("unix:path=/var/run/dbus/system_bus_socket"));
}

} // namespace
