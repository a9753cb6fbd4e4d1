#include "support/VirtualQueue.h"
#include "transports/linux/bluez/BluezRadio.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace adapter {

using namespace harrowmint;
using namespace std::chrono_literals;

class BluezRadioTest : public ::testing::Test {
protected:
    /// Who was told since the last call.
    std::vector<std::string> told()
    {
        m_clock->runDue();
        return std::exchange(m_told, {});
    }

    using Names = std::vector<std::string>;

    std::shared_ptr<test::VirtualClock> m_clock = std::make_shared<test::VirtualClock>();
    test::VirtualQueue m_queue{m_clock};
    std::vector<std::string> m_told;
    BluezRadio m_radio;
    BluezRadioUser m_first{m_radio, m_queue, [this] { m_told.emplace_back("first"); }};
    std::optional<BluezRadioUser> m_second{std::in_place, m_radio, m_queue, [this] { m_told.emplace_back("second"); }};
};

TEST_F(BluezRadioTest, LetsBothSearchOnceTheFirstsRequestIsAnswered)
{
    ASSERT_TRUE(m_first.beginSearch());
    EXPECT_TRUE(m_second->maySearch());
    EXPECT_FALSE(m_second->beginSearch());
    EXPECT_EQ(told(), Names{});
    m_first.endRequest();
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_TRUE(m_second->beginSearch());
}

TEST_F(BluezRadioTest, LetsNobodyEndASearchWhileAnotherRequestIsUnderWay)
{
    ASSERT_TRUE(m_first.beginSearch());
    m_first.endRequest();
    ASSERT_TRUE(m_second->beginSearch());
    EXPECT_FALSE(m_first.beginRequest());
    m_second->endRequest();
    ASSERT_TRUE(m_first.beginRequest());
    EXPECT_FALSE(m_second->beginRequest());
    m_first.endRequest();
    EXPECT_TRUE(m_second->beginRequest());
}

TEST_F(BluezRadioTest, LetsNobodySearchWhileAnotherConnectsAtLeastOnce)
{
    m_first.beginConnecting();
    m_first.beginConnecting();
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_TRUE(m_first.maySearch()) << "its own affair";
    EXPECT_FALSE(m_second->maySearch());
    EXPECT_FALSE(m_second->beginSearch());
    m_first.endConnecting();
    EXPECT_FALSE(m_second->maySearch());
    EXPECT_EQ(told(), Names{});
    m_first.endConnecting();
    EXPECT_EQ(told(), Names{"second"});
    EXPECT_TRUE(m_second->beginSearch());
}

TEST_F(BluezRadioTest, LetsSearchAgainAfterFourSecondsOfConnecting)
{
    m_first.beginConnecting();
    m_clock->advance(3'999ms);
    EXPECT_FALSE(m_second->maySearch());
    m_clock->advance(1ms);
    EXPECT_TRUE(m_second->maySearch());
    EXPECT_TRUE(m_second->beginSearch());
}

TEST_F(BluezRadioTest, LetsConnectOnceTheOthersSearchHasEnded)
{
    ASSERT_TRUE(m_second->beginSearch());
    m_second->endRequest();
    m_first.beginConnecting();
    EXPECT_FALSE(m_first.mayConnect(false));
    told();
    m_second->endSearch();
    EXPECT_TRUE(m_first.mayConnect(false));
    EXPECT_EQ(told(), Names{"first"});
    m_second->endSearch();
    EXPECT_EQ(told(), Names{}) << "it had ended before";
}

TEST_F(BluezRadioTest, LetsConnectOnceItsOwnSearchHasEndedOrAfterTwoSeconds)
{
    m_first.beginConnecting();
    EXPECT_FALSE(m_first.mayConnect(true));
    EXPECT_TRUE(m_first.mayConnect(false));
    m_clock->advance(1'999ms);
    EXPECT_FALSE(m_first.mayConnect(true));
    m_clock->advance(1ms);
    EXPECT_TRUE(m_first.mayConnect(true));
}

TEST_F(BluezRadioTest, LetsConnectBesideItsOwnSearch)
{
    ASSERT_TRUE(m_first.beginSearch());
    m_first.beginConnecting();
    EXPECT_TRUE(m_first.mayConnect(false));
}

TEST_F(BluezRadioTest, LetsConnectAfterTwoSecondsBesideASearchThatDoesNotEnd)
{
    ASSERT_TRUE(m_second->beginSearch());
    m_first.beginConnecting();
    m_clock->advance(1'999ms);
    EXPECT_FALSE(m_first.mayConnect(false));
    m_clock->advance(1ms);
    EXPECT_TRUE(m_first.mayConnect(false));
}

TEST_F(BluezRadioTest, ForgetsWhoIsGone)
{
    ASSERT_TRUE(m_second->beginSearch());
    m_first.beginConnecting();
    EXPECT_TRUE(m_told.empty()) << "never within the call";
    m_second.reset();
    EXPECT_TRUE(m_first.mayConnect(false));
    EXPECT_TRUE(m_first.beginRequest());
    EXPECT_EQ(told(), Names{"first"}) << "the second was gone before it could be told";
    m_first.endConnecting();
    EXPECT_EQ(told(), Names{});
}

} // namespace adapter
