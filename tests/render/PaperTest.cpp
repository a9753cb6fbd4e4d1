#include "render/Paper.h"

#include "render/EscPosReader.h"

#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <random>

namespace harrowmint::test {
namespace {

struct Framing {
    int width;
    int height;
    std::vector<int> bands;
    const char* lastHeader;
};

class PaperFraming : public ::testing::TestWithParam<Framing> { };

TEST_P(PaperFraming, HasAHeaderPerBandOfAtMost256Rows)
{
    const auto& [width, height, bands, lastHeader] = GetParam();
    const QByteArray stream = Paper(width, height).take();
    const Dots dots = readReceipt(stream);
    EXPECT_EQ(dots.width, width);
    EXPECT_EQ(dots.height, height);
    EXPECT_EQ(dots.bands, bands);
    EXPECT_EQ(dots.count(), 0);
    const qsizetype lastBand = qsizetype(bands.back()) * width / 8;
    EXPECT_EQ(stream.sliced(stream.size() - 3 - lastBand - 8, 8).toHex(), QByteArray(lastHeader));
    EXPECT_EQ(stream.size(), 5 + qsizetype(bands.size()) * 8 + qsizetype(width) / 8 * height + 3);
}

INSTANTIATE_TEST_SUITE_P(Heights, PaperFraming,
    ::testing::Values(Framing{576, 1, {1}, "1d76300048000100"}, Framing{384, 208, {208}, "1d7630003000d000"},
        Framing{576, 255, {255}, "1d7630004800ff00"}, Framing{576, 256, {256}, "1d76300048000001"},
        Framing{576, 257, {256, 1}, "1d76300048000100"}, Framing{576, 300, {256, 44}, "1d76300048002c00"},
        Framing{384, 512, {256, 256}, "1d76300030000001"}),
    [](const auto& info) { return std::to_string(info.param.width) + "x" + std::to_string(info.param.height); });

TEST(Paper, OfTheGreatestHeightHasFortySevenBands)
{
    const Dots dots = readReceipt(Paper(576, 12000).take());
    EXPECT_EQ(dots.bands.size(), 47u);
    EXPECT_EQ(dots.bands.back(), 12000 - 46 * 256);
}

TEST(Paper, WithoutMemoryForItThrowsBadAlloc)
{
    // The stream of so many rows of one byte is the largest number of bytes that can be told, more than can be had.
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    constexpr qint64 bands = (most - 8) / (256 + 8);
    constexpr qint64 rows = 256 * bands + (most - 8) % (256 + 8) - 8;
    EXPECT_THROW(Paper(8, rows), std::bad_alloc);
}

TEST(Paper, FillsExactlyTheDotsOfAnAreaThatLieOnIt)
{
    for (int left = -3; left < 26; ++left) {
        for (int width = 0; width < 30; ++width) {
            Paper paper(24, 300);
            const QRect area(left, 254, width, 4);
            paper.fill(area);
            const Dots dots = readReceipt(paper.take());
            for (int y = 250; y < 262; ++y) {
                for (int x = 0; x < 24; ++x)
                    ASSERT_EQ(dots.at(x, y), area.contains(x, y)) << left << " " << width << " " << x << " " << y;
            }
        }
    }
}

Mask randomMask(std::mt19937& random)
{
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    const int width = 1 + below(40);
    const int height = 1 + below(40);
    std::vector<std::uint8_t> levels(std::size_t(width * height));
    for (auto& level : levels)
        level = std::uint8_t(below(256));
    return Mask::fromLevels(below(9) - 4, below(9) - 4, width, height, std::move(levels));
}

TEST(Paper, StampsLikeANaivePenOverEdgesBandsAndClips)
{
    constexpr unsigned seed = 20251120;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    for (int round = 0; round < 300; ++round) {
        Paper paper(64, 300);
        std::vector<bool> expected(std::size_t(64) * 300);
        for (int stamp = 0; stamp < 4; ++stamp) {
            const Mask mask = randomMask(random);
            const QPoint place(below(90) - 20, below(340) - 20);
            const QRect clip =
                below(3) == 0 ? QRect(below(40), below(200), below(40), below(200)) : QRect(0, 0, 64, 300);
            paper.stamp(mask, place, clip);
            for (int i = 0; i < mask.width * mask.height; ++i) {
                const QPoint dot = place + QPoint(mask.left + i % mask.width, mask.top + i / mask.width);
                if (mask.levels[std::size_t(i)] < 150 && clip.contains(dot) && QRect(0, 0, 64, 300).contains(dot))
                    expected[std::size_t(dot.y()) * 64 + std::size_t(dot.x())] = true;
            }
        }
        ASSERT_EQ(readReceipt(paper.take()).black, expected) << "round " << round;
    }
}

} // namespace
} // namespace harrowmint::test
