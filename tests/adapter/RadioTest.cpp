#include "support/VirtualQueue.h"
#include "transports/linux/bluez/BluezRadio.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

class BluezRadioTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_radio.join(m_first, m_queue, [this] { m_told.emplace_back("first"); });
        m_radio.join(m_second, m_queue, [this] { m_told.emplace_back("second"); });
    }

    [[nodiscard]] BluezRadio::TimePoint now() const { return m_queue.now(); }
    /// Who was told since the last call.
    std::vector<std::string> told()
    {
        m_clock->runDue();
        return std::exchange(m_told, {});
    }

    using Names = std::vector<std::string>;

    std::shared_ptr<test::VirtualClock> m_clock = std::make_shared<test::VirtualClock>();
    test::VirtualQueue m_queue{m_clock};
    BluezRadio m_radio;
    std::vector<std::string> m_told;
    const BluezRadio::Central m_first = this;
    const BluezRadio::Central m_second = &m_radio;
};

TEST_F(BluezRadioTest, LetsBothSearchAtOnce)
{
    EXPECT_TRUE(m_radio.beginSearch(m_first, now()));
    EXPECT_TRUE(m_radio.beginSearch(m_second, now()));
    EXPECT_EQ(told(), Names{});
}

TEST_F(BluezRadioTest, LetsNobodySearchWhileAnotherConnectsAtLeastOnce)
{
    m_radio.beginConnecting(m_first, now());
    m_radio.beginConnecting(m_first, now());
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_TRUE(m_radio.maySearch(m_first, now())) << "its own affair";
    EXPECT_FALSE(m_radio.maySearch(m_second, now()));
    EXPECT_FALSE(m_radio.beginSearch(m_second, now()));
    m_radio.endConnecting(m_first);
    EXPECT_FALSE(m_radio.maySearch(m_second, now()));
    EXPECT_EQ(told(), Names{});
    m_radio.endConnecting(m_first);
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_TRUE(m_radio.beginSearch(m_second, now()));
}

TEST_F(BluezRadioTest, LetsSearchAgainAfterFourSecondsOfConnecting)
{
    m_radio.beginConnecting(m_first, now());
    EXPECT_FALSE(m_radio.maySearch(m_second, now() + 3'999ms));
    EXPECT_TRUE(m_radio.maySearch(m_second, now() + 4'000ms));
    EXPECT_TRUE(m_radio.beginSearch(m_second, now() + 4'000ms));
}

TEST_F(BluezRadioTest, LetsConnectOnceTheOthersSearchHasEnded)
{
    ASSERT_TRUE(m_radio.beginSearch(m_second, now()));
    m_radio.beginConnecting(m_first, now());
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_FALSE(m_radio.mayConnect(m_first, now()));
    m_radio.endSearch(m_second);
    EXPECT_TRUE(m_radio.mayConnect(m_first, now()));
    EXPECT_EQ(told(), Names{"first"});
    m_radio.endSearch(m_second);
    EXPECT_EQ(told(), Names{}) << "it had ended before";
}

TEST_F(BluezRadioTest, LetsConnectBesideItsOwnSearch)
{
    ASSERT_TRUE(m_radio.beginSearch(m_first, now()));
    m_radio.beginConnecting(m_first, now());
    EXPECT_TRUE(m_radio.mayConnect(m_first, now()));
}

TEST_F(BluezRadioTest, LetsConnectAfterTwoSecondsBesideASearchThatDoesNotEnd)
{
    ASSERT_TRUE(m_radio.beginSearch(m_second, now()));
    m_radio.beginConnecting(m_first, now());
    EXPECT_FALSE(m_radio.mayConnect(m_first, now() + 1'999ms));
    EXPECT_TRUE(m_radio.mayConnect(m_first, now() + 2'000ms));
}

TEST_F(BluezRadioTest, TellsOfTheEndOfASearchOnlyWhoConnects)
{
    ASSERT_TRUE(m_radio.beginSearch(m_second, now()));
    m_radio.endSearch(m_second);
    EXPECT_EQ(told(), Names{});
}

TEST_F(BluezRadioTest, ForgetsWhoLeaves)
{
    ASSERT_TRUE(m_radio.beginSearch(m_second, now()));
    m_radio.beginConnecting(m_first, now());
    EXPECT_TRUE(m_told.empty()) << "never within the call";
    m_radio.leave(m_second);
    EXPECT_TRUE(m_radio.mayConnect(m_first, now()));
    EXPECT_EQ(told(), Names{"first"}) << "the second has left before it could be told";
    m_radio.endConnecting(m_first);
    EXPECT_EQ(told(), Names{});
}

} // namespace adapter
