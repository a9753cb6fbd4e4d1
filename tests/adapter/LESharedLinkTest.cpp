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
        switchOn();
        makeCentral();
        ASSERT_TRUE(waitFor([&] { return m_other->state() == LECentralState::poweredOn; }));
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

} // namespace adapter
