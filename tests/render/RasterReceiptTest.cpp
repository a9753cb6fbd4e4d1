#include "render/Samples.h"

#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

constexpr int shortestReceipt = 24 + 24 + 160;

TEST(RasterReceipt, WithoutLinesAndWebsiteIs208BlankRows)
{
    const QByteArray expected = QByteArray::fromHex("1b401b6100"
                                                    "1d7630004800d000")
        + QByteArray(qsizetype(208) * 72, '\0') + QByteArray::fromHex("1b6404");
    EXPECT_EQ(RasterReceipt::render(receiptOf({}), 80).bytes(), expected);
}

TEST(RasterReceipt, OnNarrowPaperWithoutLinesIs208BlankRowsOf48Bytes)
{
    const QByteArray expected = QByteArray::fromHex("1b401b6100"
                                                    "1d7630003000d000")
        + QByteArray(qsizetype(208) * 48, '\0') + QByteArray::fromHex("1b6404");
    EXPECT_EQ(RasterReceipt::render(receiptOf({}), 58).bytes(), expected);
}

class PaperOf : public ::testing::TestWithParam<std::pair<int, int>> { };

TEST_P(PaperOf, MillimetresIsAsWideAsStated)
{
    EXPECT_EQ(printed(receiptOf({line(QStringLiteral("width"))}), GetParam().first).width, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Widths, PaperOf,
    ::testing::Values(std::pair{58, 384}, std::pair{80, 576}, std::pair{0, 576}, std::pair{76, 576}, std::pair{57, 576},
        std::pair{59, 576}, std::pair{-58, 576}, std::pair{1000000, 576}));

TEST(RasterReceipt, OfThreeHundredRowsHasABandOf256AndOneOf44)
{
    // 92 rows of lines: one text line of size 37 and one rule.
    ASSERT_EQ(fontLineHeight(37) + 10 + 12, 66);
    const QByteArray bytes =
        RasterReceipt::render(receiptOf({line(QStringLiteral("a"), 37), rule(), line(QString(), 13)}), 80).bytes();
    ASSERT_EQ(66 + fontLineHeight(13) + 10, 92);
    EXPECT_EQ(readReceipt(bytes).bands, (std::vector<int>{256, 44}));
    EXPECT_EQ(bytes.sliced(5, 8).toHex(), "1d76300048000001");
    EXPECT_EQ(bytes.sliced(5 + 8 + 256 * 72, 8).toHex(), "1d76300048002c00");
}

class LineOfSize : public ::testing::TestWithParam<int> { };

TEST_P(LineOfSize, AdvancesByItsRoundedUpHeightAndTen)
{
    for (const bool bold : {false, true}) {
        const ReceiptLine sample{QStringLiteral("Line gjÅ"), double(GetParam()), bold, false, false};
        EXPECT_EQ(printed(receiptOf({sample})).height, shortestReceipt + fontLineHeight(GetParam()) + 10);
    }
}

TEST_P(LineOfSize, TakesTheSameHeightWhenItsTextIsEmpty)
{
    EXPECT_EQ(
        printed(receiptOf({line(QString(), GetParam())})).height, shortestReceipt + fontLineHeight(GetParam()) + 10);
}

TEST_P(LineOfSize, AdvancesByTwelveWhenItIsARule)
{
    ReceiptLine sized = rule();
    sized.size = GetParam();
    EXPECT_EQ(printed(receiptOf({sized})).height, shortestReceipt + 12);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LineOfSize, ::testing::Values(16, 19, 20, 21, 23, 27, 29, 32, 40));

TEST(RasterReceipt, RoundsAFractionalSizeToWholeDots)
{
    const auto bytes = [](double size) {
        return RasterReceipt::render(receiptOf({line(QStringLiteral("Size"), size)}), 80).bytes();
    };
    EXPECT_EQ(bytes(22.5), bytes(23));
    EXPECT_EQ(bytes(23.4), bytes(23));
    EXPECT_NE(bytes(22.4), bytes(23));
}

TEST(RasterReceipt, DrawsARuleAsTwoRowsOneDotBelowItsTop)
{
    for (const int paper : {58, 80}) {
        const Dots dots = printed(receiptOf({rule()}), paper);
        EXPECT_EQ(dots.ink(), QRect(16, 13, dots.width - 32, 2));
        EXPECT_EQ(dots.count(), (dots.width - 32) * 2);
    }
}

TEST(RasterReceipt, PutsRulesTwelveRowsApart)
{
    const Dots dots = printed(receiptOf({rule(), rule(), rule()}));
    EXPECT_EQ(dots.height, shortestReceipt + 36);
    EXPECT_EQ(dots.count(), 3 * 2 * 544);
    for (const int top : {13, 25, 37})
        EXPECT_EQ(dots.count(QRect(16, top, 544, 2)), 2 * 544);
}

TEST(RasterReceipt, MeasuresALineThatDiffersFromARuleByOneCharacterAsText)
{
    const QString text(28, QChar(0x2500));
    for (const QString& almost : {text.first(27), text + QChar(0x2500), text.first(27) + u'-', text + u' '}) {
        const Dots dots = printed(receiptOf({line(almost, 19)}));
        EXPECT_EQ(dots.height, shortestReceipt + fontLineHeight(19) + 10);
        EXPECT_GT(dots.count(), 0);
        EXPECT_LT(dots.ink().width(), 544);
    }
}

TEST(RasterReceipt, StartsTheFirstLineAtRowTwelve)
{
    // A full block fills its cell from the ascender to the descender.
    const Dots dots = printed(receiptOf({line(QStringLiteral("\u2588"), 32), rule()}));
    EXPECT_GE(dots.ink().top(), 12 - 1);
    EXPECT_LE(dots.ink().top(), 12 + 1);
    EXPECT_EQ(dots.ink(QRect(200, 0, 100, dots.height)).top(), 12 + fontLineHeight(32) + 10 + 1);
}

TEST(RasterReceipt, LeavesTheMarginsBlank)
{
    const std::vector<QString> texts = {QStringLiteral("jjjj fffj ÅÅÅ %1").arg(QString(300, u'j')),
        QStringLiteral("WWWWWW %1").arg(QString(90, u'W')),
        QStringLiteral("شكراً لزيارتكم وووو رررر %1").arg(QString(200, u'ج')),
        QStringLiteral("\ufdfa\ufdfa\ufdfa\ufdfa\ufdfa\ufdfa"), QStringLiteral("𝕎\u0338a\u0333\u0333 😀😀")};
    for (const int paper : {58, 80}) {
        for (const QString& text : texts) {
            for (const bool center : {false, true}) {
                const Dots dots =
                    printed(receiptOf({{text, 40, true, center, true}, {text, 21, false, center, false}}), paper);
                EXPECT_GT(dots.count(), 0);
                EXPECT_EQ(dots.count(QRect(0, 0, 16, dots.height)), 0) << text.toStdString();
                EXPECT_EQ(dots.count(QRect(dots.width - 16, 0, 16, dots.height)), 0) << text.toStdString();
            }
        }
    }
}

TEST(RasterReceipt, CentresALineBetweenTheMargins)
{
    for (const int paper : {58, 80}) {
        const Dots dots = printed(receiptOf({centered(QStringLiteral("Thank you!"))}), paper);
        const QRect ink = dots.ink();
        EXPECT_NEAR(ink.left() + ink.right() + 1, dots.width, 4);
    }
}

TEST(RasterReceipt, AlignsALineByItsDirection)
{
    const QRect left = printed(receiptOf({line(QStringLiteral("Hello مرحبا"))})).ink();
    EXPECT_NEAR(left.left(), 16, 3);
    EXPECT_LT(left.right(), 300);
    const QRect right = printed(receiptOf({line(QStringLiteral("مرحبا Hello"))})).ink();
    EXPECT_NEAR(right.right() + 1, 560, 3);
    EXPECT_GT(right.left(), 300);
}

TEST(RasterReceipt, DrawsFreeTextLikeOtherText)
{
    const QString text = QStringLiteral("A free text that is long enough to be wrapped into two lines or more مرحبا");
    for (const bool center : {false, true}) {
        const auto bytes = [&](bool full) {
            return RasterReceipt::render(receiptOf({{text, 21, false, center, full}}), 80).bytes();
        };
        EXPECT_EQ(bytes(true), bytes(false));
    }
}

TEST(RasterReceipt, TakesAFreeTextEqualToTheRuleForARule)
{
    ReceiptLine free = rule();
    free.fullTextLayout = true;
    EXPECT_EQ(
        RasterReceipt::render(receiptOf({free}), 80).bytes(), RasterReceipt::render(receiptOf({rule()}), 80).bytes());
}

/// Lines that add `rows` to the height: rules of 12 rows and text lines of 37.
std::vector<ReceiptLine> linesOf(int rows)
{
    std::vector<ReceiptLine> lines;
    for (; rows % 12 != 0; rows -= 37)
        lines.push_back(line(QStringLiteral("x")));
    lines.insert(lines.end(), std::size_t(rows / 12), rule());
    return lines;
}

TEST(RasterReceipt, MayBeTwelveThousandRowsLong)
{
    EXPECT_EQ(printed(receiptOf(linesOf(12000 - shortestReceipt))).height, 12000);
}

TEST(RasterReceipt, OfOneRowMoreFails)
{
    EXPECT_EQ(
        failureOf(receiptOf(linesOf(12001 - shortestReceipt))), QStringLiteral("Receipt is too long to print safely."));
}

TEST(RasterReceipt, ReportsTheStoreCodeBeforeTheLength)
{
    const QString website = QStringLiteral("https://") + QString(2000, u'a');
    EXPECT_EQ(failureOf(receiptOf(linesOf(13001), website)), QStringLiteral("Store QR code is too large."));
}

TEST(RasterReceipt, CountsTheStoreCodeInTheLength)
{
    // 25 modules at 8 dots and the gap are 276 rows.
    const QString website = QStringLiteral("https://shop.example.com/");
    EXPECT_EQ(printed(receiptOf(linesOf(12000 - shortestReceipt - 276), website)).height, 12000);
    EXPECT_EQ(failureOf(receiptOf(linesOf(12001 - shortestReceipt - 276), website)),
        QStringLiteral("Receipt is too long to print safely."));
}

TEST(RasterReceipt, WithADocumentIsTheDocument)
{
    Receipt receipt = documentOf({textBlock(QStringLiteral("Document"))});
    const QByteArray bytes = RasterReceipt::render(receipt, 80).bytes();
    receipt.lines = {line(QStringLiteral("ignored"))};
    receipt.website = QStringLiteral("https://shop.example.com/");
    EXPECT_EQ(RasterReceipt::render(receipt, 80).bytes(), bytes);
    EXPECT_EQ(failureOf(receipt, 76), QStringLiteral("Invalid paper width."));
}

TEST(RasterReceipt, IsTheSameEachTime)
{
    const Receipt receipt =
        receiptOf({line(QStringLiteral("Same شكراً")), rule()}, QStringLiteral("https://shop.example/"));
    EXPECT_EQ(RasterReceipt::render(receipt, 80).bytes(), RasterReceipt::render(receipt, 80).bytes());
}

} // namespace
} // namespace harrowmint::test
