#include "documents/ReceiptBlocks.h"

namespace harrowmint::test {
namespace {

// Whole numbers, by type and key.

struct Range {
    const char* name;
    Members block;
    const char* key;
    int minimum;
    int maximum;
    int ReceiptBlock::*field;
};

void PrintTo(const Range& range, std::ostream* out)
{
    *out << range.name;
}

class ReceiptDocumentRange : public testing::TestWithParam<Range> {
protected:
    static int read(const QByteArray& number)
    {
        return block(GetParam().block.with(GetParam().key, number)).*GetParam().field;
    }
    static QString refusal(const QByteArray& number)
    {
        return blockFailure(GetParam().block.with(GetParam().key, number));
    }
    static QString sentence() { return QStringLiteral("Invalid receipt dimension: ") + QLatin1String(GetParam().key); }
};

TEST_P(ReceiptDocumentRange, TakesBothEnds)
{
    EXPECT_EQ(read(QByteArray::number(GetParam().minimum)), GetParam().minimum);
    EXPECT_EQ(read(QByteArray::number(GetParam().maximum)), GetParam().maximum);
    EXPECT_EQ(read(QByteArray::number(GetParam().maximum) + ".0"), GetParam().maximum);
}

TEST_P(ReceiptDocumentRange, RefusesWhatLiesOutside)
{
    EXPECT_EQ(refusal(QByteArray::number(GetParam().minimum - 1)), sentence());
    EXPECT_EQ(refusal(QByteArray::number(GetParam().maximum + 1)), sentence());
    EXPECT_EQ(refusal("1e300"), sentence());
    EXPECT_EQ(refusal("-18446744073709551000.0"), sentence());
}

TEST_P(ReceiptDocumentRange, RefusesWhatIsNotAWholeNumber)
{
    EXPECT_EQ(refusal(QByteArray::number(GetParam().minimum) + ".5"), sentence());
    for (const char* json : {"\"16\"", "true", "false", "null", "[]", "{}"})
        EXPECT_EQ(refusal(json), sentence()) << json;
}

// The image's bitmap has the geometry of the smaller end; only the field under test is looked at.
INSTANTIATE_TEST_SUITE_P(Blocks, ReceiptDocumentRange,
    testing::Values(Range{"TextSize", text, "size", 16, 40, &ReceiptBlock::size},
        Range{"TextGap", text, "gap", 0, 24, &ReceiptBlock::gap},
        Range{"PairSize", pair, "size", 16, 40, &ReceiptBlock::size},
        Range{"PairGap", pair, "gap", 0, 24, &ReceiptBlock::gap},
        Range{"RuleHeight", rule, "height", 1, 4, &ReceiptBlock::height},
        Range{"RuleGap", rule, "gap", 0, 24, &ReceiptBlock::gap},
        Range{"SpaceHeight", space, "height", 0, 160, &ReceiptBlock::height},
        Range{"QrSize", qr, "size", 128, 320, &ReceiptBlock::size},
        Range{"QrGap", qr, "gap", 0, 24, &ReceiptBlock::gap},
        Range{"ImageGap", imageOf(8, 1), "gap", 0, 24, &ReceiptBlock::gap}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ReceiptDocument, ImagesMeasure8To576By1To512Dots)
{
    EXPECT_EQ(block(imageOf(8, 512)).height, 512);
    EXPECT_EQ(block(imageOf(576, 1)).width, 576);
    EXPECT_EQ(blockFailure(imageOf(584, 1)), QStringLiteral("Invalid receipt dimension: width"));
    EXPECT_EQ(blockFailure(imageOf(8, 1).with("width", "7")), QStringLiteral("Invalid receipt dimension: width"));
    EXPECT_EQ(blockFailure(imageOf(8, 513)), QStringLiteral("Invalid receipt dimension: height"));
    EXPECT_EQ(blockFailure(imageOf(8, 1).with("height", "0")), QStringLiteral("Invalid receipt dimension: height"));
    EXPECT_EQ(blockFailure(imageOf(8, 1).with("width", "8.5")), QStringLiteral("Invalid receipt dimension: width"));
}

TEST(ReceiptDocument, SizesAreTakenHoweverTheyAreWritten)
{
    EXPECT_EQ(block(text.with("size", "16.0")).size, 16);
    EXPECT_EQ(block(text.with("size", "1.6e1")).size, 16);
    EXPECT_EQ(blockFailure(text.with("size", "15.0")), QStringLiteral("Invalid receipt dimension: size"));
    EXPECT_EQ(blockFailure(text.with("size", "16.5")), QStringLiteral("Invalid receipt dimension: size"));
}

TEST(ReceiptDocument, BottomPaddingIs0To400)
{
    const Members document{{"version", "1"}, {"blocks", array({text.json()})}};
    const auto padding = [&](const char* json) {
        return decoded<ReceiptDocument>(document.with("bottomPadding", json).json()).bottomPadding;
    };
    EXPECT_EQ(padding("0"), 0);
    EXPECT_EQ(padding("400"), 400);
    for (const char* json : {"-1", "401", "1.5", "null", "\"1\"", "true"}) {
        EXPECT_EQ(documentFailure(document.with("bottomPadding", json).json()),
            QStringLiteral("Invalid receipt dimension: bottomPadding"))
            << json;
    }
}

TEST(ReceiptDocument, RightWidthIsFrom30To70Percent)
{
    EXPECT_EQ(block(pair.with("rightWidth", "0.3")).rightWidth, 0.3);
    EXPECT_EQ(block(pair.with("rightWidth", "0.7")).rightWidth, 0.7);
    for (const char* json :
        {"0.8", "0.29999999999999993", "0.70000000000000007", "1", "0", "-0.5", "true", "\"0.5\"", "null"})
        EXPECT_EQ(blockFailure(pair.with("rightWidth", json)), QStringLiteral("Invalid receipt columns.")) << json;
}

} // namespace
} // namespace harrowmint::test
