#include "render/Mask.h"

#include <gtest/gtest.h>

namespace harrowmint {
namespace {

TEST(Threshold, MidGreyOfFourHundredAndFiftyIsWhiteAndOneLessIsBlack)
{
    EXPECT_FALSE(printsBlack(150, 150, 150));
    EXPECT_TRUE(printsBlack(149, 150, 150));
    EXPECT_TRUE(printsBlack(150, 149, 150));
    EXPECT_TRUE(printsBlack(150, 150, 149));
    EXPECT_TRUE(printsBlack(255, 194, 0));
    EXPECT_FALSE(printsBlack(255, 195, 0));
    EXPECT_TRUE(printsBlack(0, 0, 0));
    EXPECT_FALSE(printsBlack(255, 255, 255));
}

TEST(Mask, PrintsTheLevelsBelowOneHundredAndFifty)
{
    for (int width = 1; width <= 20; ++width) {
        std::vector<std::uint8_t> levels(std::size_t(width) * 13);
        for (std::size_t i = 0; i < levels.size(); ++i)
            levels[i] = std::uint8_t(i * 37);
        const Mask mask = Mask::fromLevels(-3, 5, width, 13, levels);
        EXPECT_EQ(mask.left, -3);
        EXPECT_EQ(mask.top, 5);
        ASSERT_EQ(mask.bits.size(), std::size_t(mask.stride()) * 13);
        ASSERT_EQ(mask.stride(), (width + 7) / 8);
        for (int y = 0; y < 13; ++y) {
            for (int x = 0; x < mask.stride() * 8; ++x) {
                const bool bit =
                    (mask.bits[std::size_t(y) * std::size_t(mask.stride()) + std::size_t(x) / 8] >> (7 - x % 8) & 1)
                    != 0;
                EXPECT_EQ(bit, x < width && levels[std::size_t(y) * std::size_t(width) + std::size_t(x)] < 150)
                    << width << " " << x << " " << y;
            }
        }
    }
}

} // namespace
} // namespace harrowmint
