#include "render/RasterDocument.h"

#include "render/Samples.h"

#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

const QString tooLong = QStringLiteral("Receipt is too long to print safely.");

TEST(RasterDocument, TakesPaperOf58And80MillimetresOnly)
{
    const Receipt receipt = documentOf({textBlock(QStringLiteral("x"))});
    EXPECT_EQ(printed(receipt, 58).width, 384);
    EXPECT_EQ(printed(receipt, 80).width, 576);
    for (const int paper : {76, 0, -80, 57, 59, 79, 81, 384})
        EXPECT_EQ(failureOf(receipt, paper), QStringLiteral("Invalid paper width."));
}

TEST(RasterDocument, RefusesThePaperBeforeTheBlocks)
{
    EXPECT_EQ(failureOf(documentOf({block(u"barcode")}), 76), QStringLiteral("Invalid paper width."));
}

TEST(RasterDocument, RefusesAnUnknownBlock)
{
    for (const char16_t* type : {u"barcode", u"", u"Text", u"RULE"})
        EXPECT_EQ(failureOf(documentOf({block(type)})), QStringLiteral("Unsupported receipt block."));
}

TEST(RasterDocument, HasTwentyFourRowsAndItsBottomPaddingBesideItsBlocks)
{
    for (const int padding : {0, 1, 160, 400})
        EXPECT_EQ(printed(documentOf({spaceBlock(40)}, padding)).height, 24 + padding + 40);
}

TEST(RasterDocument, PrintsExactlyTheStreamOfABlankPage)
{
    const QByteArray expected = QByteArray::fromHex("1b401b6100"
                                                    "1d76300030001900")
        + QByteArray(qsizetype(25) * 48, '\0') + QByteArray::fromHex("1b6404");
    EXPECT_EQ(RasterReceipt::render(documentOf({spaceBlock(1)}, 0), 58).bytes(), expected);
}

class RuleOfHeight : public ::testing::TestWithParam<int> { };

TEST_P(RuleOfHeight, FillsTheTopOfItsRowAndLeavesItsGap)
{
    for (const int paper : {58, 80}) {
        for (const int gap : {0, 10, 24}) {
            const Dots dots = printed(documentOf({ruleBlock(GetParam(), gap), ruleBlock(1, 0)}, 0), paper);
            const int width = dots.width - 32;
            EXPECT_EQ(dots.height, 24 + GetParam() + gap + 1);
            EXPECT_EQ(dots.count(QRect(16, 12, width, GetParam())), width * GetParam());
            EXPECT_EQ(dots.count(QRect(16, 12 + GetParam() + gap, width, 1)), width);
            EXPECT_EQ(dots.count(), width * (GetParam() + 1));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Heights, RuleOfHeight, ::testing::Range(1, 5));

TEST(RasterDocument, LeavesASpaceBlank)
{
    const Dots dots = printed(documentOf({ruleBlock(1, 0), spaceBlock(160), ruleBlock(1, 0)}, 0));
    EXPECT_EQ(dots.count(), 2 * 544);
    EXPECT_EQ(dots.ink(), QRect(16, 12, 544, 162));
}

TEST(RasterDocument, AdvancesByATextAndItsGap)
{
    for (const int size : {16, 23, 40}) {
        ReceiptBlock text = textBlock(QStringLiteral("x"), size);
        text.gap = 7;
        const Dots dots = printed(documentOf({text, ruleBlock(1, 0)}, 0));
        EXPECT_EQ(dots.height, 24 + fontLineHeight(size) + 7 + 1);
        EXPECT_EQ(dots.count(QRect(16, 12 + fontLineHeight(size) + 7, 544, 1)), 544);
    }
}

TEST(RasterDocument, GivesAnEmptyTextItsGapOnly)
{
    ReceiptBlock text = textBlock(QString());
    text.gap = 10;
    const Dots dots = printed(documentOf({text, ruleBlock(1, 0)}, 0));
    EXPECT_EQ(dots.ink(), QRect(16, 22, 544, 1));
    EXPECT_EQ(dots.height, 24 + 10 + 1);
}

TEST(RasterDocument, AlignsTextAsToldWhateverItsDirection)
{
    const auto ink = [](const QString& text, const char16_t* align) {
        ReceiptBlock block = textBlock(text);
        block.align = QString::fromUtf16(align);
        return printed(documentOf({block})).ink();
    };
    for (const QString& text : {QStringLiteral("Hello"), QStringLiteral("مرحبا")}) {
        EXPECT_NEAR(ink(text, u"left").left(), 16, 3);
        EXPECT_NEAR(ink(text, u"right").right() + 1, 560, 3);
        EXPECT_NEAR(ink(text, u"center").left() + ink(text, u"center").right() + 1, 576, 4);
    }
    EXPECT_EQ(ink(QStringLiteral("Hello"), u"natural"), ink(QStringLiteral("Hello"), u"left"));
    EXPECT_EQ(ink(QStringLiteral("مرحبا"), u"natural"), ink(QStringLiteral("مرحبا"), u"right"));
    EXPECT_EQ(ink(QStringLiteral("مرحبا"), u"centre"), ink(QStringLiteral("مرحبا"), u"natural"));
}

/// A pair's columns filled to their sides, on a page with a rule below it.
struct Columns {
    QRect left;
    QRect right;
};

Columns filledColumns(double rightWidth, int paper, int leftEnd)
{
    const QString full(400, u'M');
    const Dots dots = printed(documentOf({pairBlock(full, full, rightWidth)}), paper);
    return {
        dots.ink(QRect(0, 0, leftEnd, dots.height)), dots.ink(QRect(leftEnd, 0, dots.width - leftEnd, dots.height))};
}

struct PairCase {
    int paper;
    double share;
    int leftWidth;
    int rightWidth;
};

class PairColumns : public ::testing::TestWithParam<PairCase> { };

TEST_P(PairColumns, TakeTheirSharesWithAGutterBetween)
{
    const auto& [paper, share, leftWidth, rightWidth] = GetParam();
    const int usable = paper == 58 ? 352 : 544;
    ASSERT_EQ(leftWidth + 12 + rightWidth, usable);
    const Columns columns = filledColumns(share, paper, 16 + leftWidth);
    EXPECT_GE(columns.left.left(), 16);
    EXPECT_LE(columns.left.right(), 16 + leftWidth - 1);
    EXPECT_GE(columns.right.left(), 16 + leftWidth + 12);
    EXPECT_LE(columns.right.right(), 16 + usable - 1);
    // An M at 23 dots takes 20, with up to 3 blank at either side: so near its column's end a full line ends.
    EXPECT_LT(leftWidth - columns.left.width(), 26);
    EXPECT_LT(rightWidth - columns.right.width(), 26);
}

INSTANTIATE_TEST_SUITE_P(Table, PairColumns,
    ::testing::Values(PairCase{80, 0.5, 266, 266}, PairCase{80, 0.45, 293, 239}, PairCase{80, 0.3, 373, 159},
        PairCase{80, 0.7, 160, 372}, PairCase{58, 0.5, 170, 170}, PairCase{58, 0.45, 187, 153},
        PairCase{58, 0.3, 238, 102}));

TEST(RasterDocument, AlignsAPairToItsOuterSidesWhateverItsAlignment)
{
    for (const char16_t* align : {u"natural", u"center", u"right"}) {
        ReceiptBlock pair = pairBlock(QStringLiteral("مرحبا"), QStringLiteral("12.50"));
        pair.align = QString::fromUtf16(align);
        const Dots dots = printed(documentOf({pair}));
        EXPECT_NEAR(dots.ink().left(), 16, 3);
        EXPECT_NEAR(dots.ink().right() + 1, 560, 3);
    }
}

TEST(RasterDocument, GivesAPairTheHeightOfItsTallerSide)
{
    const QString two = QStringLiteral("one\u2028two");
    const int row = fontLineHeight(23);
    const auto height = [](const QString& left, const QString& right) {
        return printed(documentOf({pairBlock(left, right)}, 0)).height - 24 - 10;
    };
    EXPECT_EQ(height(two, QStringLiteral("x")), 2 * row);
    EXPECT_EQ(height(QStringLiteral("x"), two), 2 * row);
    EXPECT_EQ(height(QStringLiteral("x"), QStringLiteral("y")), row);
    EXPECT_EQ(height(QString(), QStringLiteral("y")), row);
    EXPECT_EQ(height(QStringLiteral("x"), QString()), row);
    EXPECT_EQ(height(QString(), QString()), 0);
}

TEST(RasterDocument, DrawsBothSidesOfAPairAtTheTopOfItsRow)
{
    const Dots dots = printed(documentOf({pairBlock(QStringLiteral("H\u2028H"), QStringLiteral("H"))}));
    EXPECT_EQ(dots.ink(QRect(0, 0, 200, dots.height)).top(), dots.ink(QRect(400, 0, 176, dots.height)).top());
}

TEST(RasterDocument, UsesBoldAndSizeOnBothSidesOfAPair)
{
    ReceiptBlock pair = pairBlock(QStringLiteral("Total"), QStringLiteral("Total"));
    const int regular = printed(documentOf({pair})).count();
    pair.bold = true;
    const Dots bold = printed(documentOf({pair}));
    EXPECT_GT(bold.count(), regular * 5 / 4);
    EXPECT_EQ(bold.count(QRect(0, 0, 288, bold.height)), bold.count(QRect(288, 0, 288, bold.height)));
}

/// Spaces of `rows` rows in all.
std::vector<ReceiptBlock> spaces(int rows)
{
    std::vector<ReceiptBlock> blocks(std::size_t(rows / 160), spaceBlock(160));
    blocks.push_back(spaceBlock(rows % 160));
    return blocks;
}

TEST(RasterDocument, MayBeTwelveThousandRowsLong)
{
    EXPECT_EQ(printed(documentOf(spaces(12000 - 24), 0)).height, 12000);
    EXPECT_EQ(printed(documentOf(spaces(12000 - 24 - 400), 400)).height, 12000);
}

TEST(RasterDocument, OfOneRowMoreFails)
{
    EXPECT_EQ(failureOf(documentOf(spaces(12001 - 24), 0)), tooLong);
    EXPECT_EQ(failureOf(documentOf(spaces(12001 - 24 - 400), 400)), tooLong);
}

TEST(RasterDocument, ReportsTheFirstBlockThatFails)
{
    std::vector<ReceiptBlock> blocks = spaces(12001 - 24);
    blocks.push_back(block(u"barcode"));
    EXPECT_EQ(failureOf(documentOf(blocks, 0)), tooLong);
    blocks.insert(blocks.begin(), block(u"barcode"));
    EXPECT_EQ(failureOf(documentOf(blocks, 0)), QStringLiteral("Unsupported receipt block."));
}

TEST(RasterDocument, ReportsAnUnreadableImageAfterEverythingIsMeasured)
{
    std::vector<ReceiptBlock> blocks = {imageBlock(8, 8, QByteArray(7, '\0'))};
    EXPECT_EQ(failureOf(documentOf(blocks)), QStringLiteral("Unable to render receipt image."));
    blocks.push_back(block(u"barcode"));
    EXPECT_EQ(failureOf(documentOf(blocks)), QStringLiteral("Unsupported receipt block."));
}

TEST(RasterDocument, TakesTheLargestTextsThatADocumentMayHold)
{
    std::vector<ReceiptBlock> blocks(12, textBlock(QString(2000, u'i'), 16));
    // An i is 569 units of an em of 2048 wide: 122 of them fill a line, 17 lines hold 2000.
    EXPECT_EQ(printed(documentOf(blocks)).height, 24 + 160 + 12 * (17 * fontLineHeight(16) + 10));
    blocks.assign(12, textBlock(QString(2000, u'W'), 40));
    EXPECT_EQ(failureOf(documentOf(blocks)), tooLong);
    blocks.assign(1, textBlock(QString(2000, QChar(0x2028)), 16));
    EXPECT_EQ(failureOf(documentOf(blocks)), tooLong);
}

TEST(RasterDocument, RefusesAStreamAbove900000Bytes)
{
    EXPECT_NO_THROW(RasterDocument::requireSendable(900000));
    try {
        RasterDocument::requireSendable(900001);
        FAIL();
    } catch (const PrinterError& error) {
        EXPECT_EQ(error.message(), QStringLiteral("Receipt is too large to print safely."));
    }
}

} // namespace
} // namespace harrowmint::test
