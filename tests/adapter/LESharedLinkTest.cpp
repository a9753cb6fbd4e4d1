// Links that two centrals of one process share.
#include "adapter/AdapterRig.h"

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

/// Two centrals, of which `m_central` is connected to the printer.
class BluezSharedLinks : public CentralTest {
protected:
    void SetUp() override
    {
        startWithPrinter();
        switchOnBoth();
        connectPrinter();
    }

    void connectOther()
    {
        m_other->connect(printer);
        ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("connected"); }));
    }
};

TEST_F(BluezSharedLinks, OfTwoCentralsEndWithTheLastOfThem)
{
    connectOther();
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 0);
    EXPECT_EQ(m_other->peripheralState(printer), LEPeripheralState::connected);
    m_other->cancelConnection(printer);
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("disconnected"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
}

TEST_F(BluezSharedLinks, WhoseChannelIsLostStayWithTheOtherCentralThatUsesThem)
{
    connectOther();
    openChannel(LEWriteType::withoutResponse);
    m_bluez.hangUp(writePath);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 0);
    m_other->cancelConnection(printer);
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("disconnected"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
}

TEST_F(BluezSharedLinks, TornDownByOneCentralAreNotUsedByAnother)
{
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("delay"), 1000}});
    m_central->cancelConnection(printer);
    letPass(5ms);
    m_other->connect(printer);
    letPass(300ms);
    EXPECT_FALSE(m_otherEvents.has("connected"));
    EXPECT_EQ(m_other->peripheralState(printer), LEPeripheralState::connecting);
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("connected"); }));
    ASSERT_TRUE(waitForEvent("disconnected"));
    letPass(500ms);
    EXPECT_FALSE(m_otherEvents.has("disconnected"));
    EXPECT_EQ(m_other->peripheralState(printer), LEPeripheralState::connected);
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 2);
}

TEST_F(BluezSharedLinks, OfACentralThatIsGoneAreNotUsedByAnotherWhileTheyAreTornDown)
{
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("delay"), 500}});
    m_central.reset();
    m_other->connect(printer);
    letPass(200ms);
    EXPECT_FALSE(m_otherEvents.has("connected"));
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("connected"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Connect")), 2);
}

TEST_F(BluezSharedLinks, ThatOneCentralCouldNotTearDownAreUsedByAnotherAfterTenSeconds)
{
    m_bluez.behave(QStringLiteral("Disconnect"), {{QStringLiteral("mute"), true}});
    m_central->cancelConnection(printer);
    m_other->connect(printer);
    letPass(9'000ms);
    EXPECT_FALSE(m_otherEvents.has("connected"));
    EXPECT_TRUE(waitFor([&] { return m_otherEvents.has("connected"); }));
}

/// Two centrals that are not connected; BlueZ does not answer the first request to connect.
class BluezSharedAttempts : public CentralTest {
protected:
    void SetUp() override
    {
        startWithPrinter();
        switchOnBoth();
        m_bluez.behave(QStringLiteral("Connect"), {{QStringLiteral("mute"), true}, {QStringLiteral("times"), 1}});
    }

    /// Of which all but the first are refused.
    [[nodiscard]] bool asks(int count)
    {
        return waitFor([&] { return m_bluez.callCount(QStringLiteral("Connect")) >= count; });
    }
};

TEST_F(BluezSharedAttempts, EndWithTheLastOfTheCentralsThoughAnotherHadAsked)
{
    m_central->connect(printer);
    ASSERT_TRUE(asks(1));
    m_other->connect(printer);
    ASSERT_TRUE(asks(3));
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 0) << "the other waits for it";
    m_other->cancelConnection(printer);
    ASSERT_TRUE(waitFor([&] { return m_otherEvents.has("disconnected"); }));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 1);
    m_events.log.clear();
    connectPrinter();
}

TEST_F(BluezSharedAttempts, OfAnotherProgramAreWaitedForAndTheirLinkIsLeftAlone)
{
    const BluezLECentrals elsewhere(m_bus.address());
    RecordedEvents elsewhereEvents;
    const auto stranger = elsewhere.on(m_queue)(elsewhereEvents);
    ASSERT_TRUE(waitFor([&] { return stranger->state() == LECentralState::poweredOn; }));
    stranger->connect(printer);
    ASSERT_TRUE(asks(1));
    m_central->connect(printer);
    ASSERT_TRUE(asks(3));
    m_bluez.change(printerPath, QStringLiteral("org.bluez.Device1"), {{QStringLiteral("Connected"), true}});
    ASSERT_TRUE(waitForEvent("connected"));
    m_central->cancelConnection(printer);
    ASSERT_TRUE(waitForEvent("disconnected"));
    EXPECT_EQ(m_bluez.callCount(QStringLiteral("Disconnect")), 0);
}

} // namespace adapter
