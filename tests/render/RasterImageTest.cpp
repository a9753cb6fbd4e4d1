#include "render/Samples.h"

#include <gtest/gtest.h>
#include <random>

namespace harrowmint::test {
namespace {

const QString unreadable = QStringLiteral("Unable to render receipt image.");

QByteArray randomBytes(int count, unsigned seed)
{
    std::mt19937 random(seed);
    QByteArray result;
    for (int i = 0; i < count; ++i)
        result.append(char(random()));
    return result;
}

struct ImageSize {
    int paper;
    int width;
    int height;
};

class ImageAtItsOwnSize : public ::testing::TestWithParam<ImageSize> { };

TEST_P(ImageAtItsOwnSize, IsPrintedDotForDotInTheMiddle)
{
    const auto& [paper, width, height] = GetParam();
    const int rowBytes = (width + 7) / 8;
    const QByteArray rows = randomBytes(rowBytes * height, unsigned(width));
    const Dots dots = printed(documentOf({ruleBlock(1, 3), imageBlock(width, height, rows)}, 0), paper);
    EXPECT_EQ(dots.height, 24 + 4 + height + 12);
    const int left = (dots.width - width) / 2;
    int black = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool bit = (rows[y * rowBytes + x / 8] >> (7 - x % 8) & 1) != 0;
            ASSERT_EQ(dots.at(left + x, 16 + y), bit) << x << " " << y;
            black += bit ? 1 : 0;
        }
    }
    EXPECT_EQ(dots.count(), black + dots.width - 32);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ImageAtItsOwnSize,
    ::testing::Values(ImageSize{80, 8, 1}, ImageSize{80, 256, 96}, ImageSize{80, 544, 20}, ImageSize{58, 352, 512},
        ImageSize{80, 100, 200}, ImageSize{58, 8, 300}),
    [](const auto& info) {
        return std::to_string(info.param.width) + "x" + std::to_string(info.param.height) + "on"
            + std::to_string(info.param.paper);
    });

struct ScaledCase {
    int paper;
    int width;
    int height;
    int drawnHeight;
};

class ImageWiderThanTheColumn : public ::testing::TestWithParam<ScaledCase> { };

TEST_P(ImageWiderThanTheColumn, IsScaledDownToIt)
{
    const auto& [paper, width, height, drawnHeight] = GetParam();
    const int rowBytes = width / 8;
    const Dots black =
        printed(documentOf({imageBlock(width, height, QByteArray(qsizetype(rowBytes) * height, '\xff'))}, 0), paper);
    EXPECT_EQ(black.height, 24 + drawnHeight + 12);
    EXPECT_EQ(black.ink(), QRect(16, 12, black.width - 32, drawnHeight));
    EXPECT_EQ(black.count(), (black.width - 32) * drawnHeight);
    const Dots white =
        printed(documentOf({imageBlock(width, height, QByteArray(qsizetype(rowBytes) * height, '\0'))}, 0), paper);
    EXPECT_EQ(white.count(), 0);
}

TEST_P(ImageWiderThanTheColumn, KeepsItsPlaces)
{
    const auto& [paper, width, height, drawnHeight] = GetParam();
    QByteArray rows;
    for (int i = 0; i < width / 8 * height; ++i)
        rows.append(i % (width / 8) < width / 16 ? '\xff' : '\0');
    const Dots dots = printed(documentOf({imageBlock(width, height, rows)}, 0), paper);
    const int blackColumns = width / 16 * 8;
    const double middle = 16 + (dots.width - 32) * double(blackColumns) / width;
    EXPECT_NEAR(dots.ink().right() + 1, middle, 2);
    EXPECT_EQ(dots.ink().left(), 16);
    EXPECT_EQ(dots.ink().height(), drawnHeight);
}

INSTANTIATE_TEST_SUITE_P(Table, ImageWiderThanTheColumn,
    ::testing::Values(ScaledCase{58, 1000, 200, 71}, ScaledCase{80, 576, 512, 484}, ScaledCase{80, 552, 1, 1},
        ScaledCase{58, 576, 100, 62}, ScaledCase{58, 360, 45, 44}),
    [](const auto& info) { return std::to_string(info.param.width) + "on" + std::to_string(info.param.paper); });

TEST(RasterImage, IsNeverEnlarged)
{
    const Dots dots = printed(documentOf({imageBlock(8, 2, QByteArray(2, '\xff'))}, 0));
    EXPECT_EQ(dots.ink(), QRect(284, 12, 8, 2));
}

TEST(RasterImage, OfGreyDotsIsSmoothedBeforeTheThreshold)
{
    // Of three dots one is black: an even grey that prints white wherever dots are merged, not a pattern of lines.
    QByteArray rows;
    for (int i = 0; i < 125 * 100; ++i)
        rows.append('\x88');
    const Dots dots = printed(documentOf({imageBlock(1000, 100, rows)}, 0), 58);
    EXPECT_LT(dots.count(), 352 * 36 / 10);
}

class UnreadableImage : public ::testing::TestWithParam<std::pair<const char*, ReceiptBlock>> { };

TEST_P(UnreadableImage, Fails)
{
    EXPECT_EQ(failureOf(documentOf({GetParam().second})), unreadable);
}

ReceiptBlock withData(const QByteArray& data)
{
    ReceiptBlock block = imageBlock(16, 2, {});
    block.data = data;
    return block;
}

INSTANTIATE_TEST_SUITE_P(Table, UnreadableImage,
    ::testing::Values(std::pair{"NoData", withData("")}, std::pair{"TooShort", withData("AAAA")},
        std::pair{"TooLong", withData("AAAAAAA=")}, std::pair{"NotBase64", withData("AAA*AA==")},
        std::pair{"NoWidth", imageBlock(0, 2, {})}, std::pair{"NoHeight", imageBlock(8, 0, {})},
        std::pair{"NegativeWidth", imageBlock(-8, 2, {})}, std::pair{"NegativeHeight", imageBlock(8, -2, {})}),
    [](const auto& info) { return info.param.first; });

} // namespace
} // namespace harrowmint::test
