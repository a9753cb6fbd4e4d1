#include "app/SessionBus.h"
#include "desktop/MuteBus.h"
#include "support/bluez/PrivateBus.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class SessionBuses : public ::testing::Test {
protected:
    SessionBuses() { qputenv("XDG_RUNTIME_DIR", ""); }
    ~SessionBuses() override
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_address);
        qputenv("XDG_RUNTIME_DIR", m_runtime);
    }

    static void expectKept(const QByteArray& address)
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        EXPECT_TRUE(settleSessionBus()) << address.constData();
        EXPECT_EQ(qgetenv("DBUS_SESSION_BUS_ADDRESS"), address);
    }
    static void expectGivenUp(const QByteArray& address)
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(settleSessionBus()) << address.constData();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, sessionBusTime + 1s);
        EXPECT_EQ(qgetenv("DBUS_SESSION_BUS_ADDRESS"), "disabled:");
    }

    QByteArray m_address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    QByteArray m_runtime = qgetenv("XDG_RUNTIME_DIR");
};

TEST_F(SessionBuses, ThatAnswerAreKept)
{
    const PrivateBus bus;
    const QByteArray address = bus.address().toUtf8();
    expectKept(address);
    expectKept(address + ",guid=00000000000000000000000000000000");
    expectKept(address + ";unix:path=/missing");
    QByteArray escaped = address;
    expectKept(escaped.replace("/bus", "/%62us"));
}

TEST_F(SessionBuses, OfAnotherKindAreLeftToTheToolkit)
{
    expectKept("tcp:host=127.0.0.1,port=1");
}

TEST_F(SessionBuses, ThatNeverAnswerAreGivenUp)
{
    const MuteBus mute;
    expectGivenUp(mute.address().toUtf8());
}

TEST_F(SessionBuses, ThatAreFrozenAreGivenUp)
{
    PrivateBus bus;
    bus.freeze(true);
    expectGivenUp(bus.address().toUtf8());
    bus.freeze(false);
    expectKept(bus.address().toUtf8());
}

TEST_F(SessionBuses, ThatAreNotThereAreGivenUp)
{
    expectGivenUp("unix:path=/missing/bus");
    expectGivenUp("unix:abstract=harrowmint-test-missing");
}

TEST_F(SessionBuses, AreNotStartedWhereThereIsNone)
{
    expectGivenUp("");
    expectGivenUp("autolaunch:");
}

TEST_F(SessionBuses, InTheRuntimeDirectoryAreFound)
{
    const MuteBus mute; // its socket has the usual name
    qputenv("XDG_RUNTIME_DIR", mute.directory().toUtf8());
    expectGivenUp("");
    EXPECT_EQ(mute.connections(), 1);
}

} // namespace
