#include "support/VirtualQueue.h"
#include "transports/linux/bluez/BluezRadio.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace adapter {

using namespace harrowmint;

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

TEST_F(BluezRadioTest, LetsOneMakeItsRequestAfterTheOther)
{
    ASSERT_TRUE(m_first.beginRequest());
    EXPECT_FALSE(m_second->beginRequest());
    EXPECT_EQ(told(), Names{});
    m_first.endRequest();
    EXPECT_EQ(told(), Names{"second"});
    ASSERT_TRUE(m_second->beginRequest());
    EXPECT_FALSE(m_first.beginRequest());
    m_second->endRequest();
    EXPECT_EQ(told(), Names{"first"});
    m_second->endRequest();
    EXPECT_EQ(told(), Names{}) << "it was over before";
}

TEST_F(BluezRadioTest, ForgetsWhoIsGone)
{
    ASSERT_TRUE(m_second->beginRequest());
    m_second.reset();
    EXPECT_TRUE(m_told.empty()) << "never within the call";
    EXPECT_TRUE(m_first.beginRequest());
    m_first.endRequest();
    EXPECT_EQ(told(), Names{"first"});
}

} // namespace adapter
