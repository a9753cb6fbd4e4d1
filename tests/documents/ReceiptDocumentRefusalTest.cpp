#include "documents/ReceiptBlocks.h"

namespace harrowmint::test {
namespace {

// Refusals: the sentence, and which of two wins.

struct Refusal {
    const char* name;
    QByteArray json;
    const char* message;
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.json.left(300).constData();
}

class ReceiptDocumentRefusal : public testing::TestWithParam<Refusal> { };

TEST_P(ReceiptDocumentRefusal, GivesTheSentence)
{
    EXPECT_EQ(documentFailure(GetParam().json), QString::fromUtf8(GetParam().message));
}

const auto nameOf = [](const auto& test) { return std::string(test.param.name); };

constexpr auto unsupportedFields = "Unsupported receipt document fields.";
constexpr auto unsupportedDocument = "Unsupported or invalid receipt document.";
constexpr auto unsupportedBlock = "Unsupported receipt block. No receipt was printed.";
const Members minimal{{"version", "1"}, {"blocks", array({text.json()})}};

INSTANTIATE_TEST_SUITE_P(Documents, ReceiptDocumentRefusal,
    testing::Values(Refusal{"Null", "null", unsupportedFields}, Refusal{"Array", "[]", unsupportedFields},
        Refusal{"Text", "\"x\"", unsupportedFields}, Refusal{"Number", "1", unsupportedFields},
        Refusal{"AnotherKey", minimal.with("title", "1").json(), unsupportedFields},
        Refusal{"AnotherKeyBeforeNoVersion", minimal.with("title", "1").without("version").json(), unsupportedFields},
        Refusal{"EmptyObject", "{}", unsupportedDocument},
        Refusal{"NoVersion", minimal.without("version").json(), unsupportedDocument},
        Refusal{"Version2", minimal.with("version", "2").json(), "Invalid receipt dimension: version"},
        Refusal{"Version0", minimal.with("version", "0").json(), "Invalid receipt dimension: version"},
        Refusal{"VersionAsText", minimal.with("version", "\"1\"").json(), "Invalid receipt dimension: version"},
        Refusal{"VersionNull", minimal.with("version", "null").json(), "Invalid receipt dimension: version"},
        Refusal{"VersionTrue", minimal.with("version", "true").json(), "Invalid receipt dimension: version"},
        Refusal{"VersionBeforeBlocks", minimal.with("version", "2").without("blocks").json(),
            "Invalid receipt dimension: version"},
        Refusal{"NoBlocks", minimal.without("blocks").json(), unsupportedDocument},
        Refusal{"BlocksNull", minimal.with("blocks", "null").json(), unsupportedDocument},
        Refusal{"BlocksObject", minimal.with("blocks", "{}").json(), unsupportedDocument},
        Refusal{"BlocksEmpty", minimal.with("blocks", "[]").json(), unsupportedDocument},
        Refusal{"BlocksBeforePadding", minimal.with("blocks", "[]").with("bottomPadding", "-1").json(),
            unsupportedDocument},
        Refusal{"PaddingBeforeTheFirstBlock", minimal.with("blocks", "[1]").with("bottomPadding", "-1").json(),
            "Invalid receipt dimension: bottomPadding"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Blocks, ReceiptDocumentRefusal,
    testing::Values(Refusal{"BlockNull", withBlocks({"null"}), "Invalid receipt block."},
        Refusal{"BlockNumber", withBlocks({"1"}), "Invalid receipt block."},
        Refusal{"BlockArray", withBlocks({"[]"}), "Invalid receipt block."},
        Refusal{"SecondBlock", withBlocks({text.json(), "\"text\""}), "Invalid receipt block."},
        Refusal{
            "FirstOfTwoBadBlocks", withBlocks({text.with("size", "1").json(), "1"}), "Invalid receipt dimension: size"},
        Refusal{"NoType", withBlocks({text.without("type").json()}), unsupportedBlock},
        Refusal{"EmptyBlock", withBlocks({"{}"}), unsupportedBlock},
        Refusal{"Barcode", withBlocks({text.with("type", "\"barcode\"").json()}), unsupportedBlock},
        Refusal{"TypeInCapitals", withBlocks({text.with("type", "\"Text\"").json()}), unsupportedBlock},
        Refusal{
            "TypeBeforeKeys", withBlocks({text.with("type", "\"barcode\"").with("x", "1").json()}), unsupportedBlock},
        Refusal{"TypeNumber", withBlocks({text.with("type", "1").json()}), "Invalid receipt text."},
        Refusal{"TypeNull", withBlocks({text.with("type", "null").json()}), "Invalid receipt text."}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Keys, ReceiptDocumentRefusal,
    testing::Values(Refusal{"TextWithHeight", withBlocks({text.with("height", "1").json()}), unsupportedFields},
        Refusal{"TextWithData", withBlocks({text.with("data", "1").json()}), unsupportedFields},
        Refusal{"TextWithWidth", withBlocks({text.with("width", "1").json()}), unsupportedFields},
        Refusal{"PairWithHeight", withBlocks({pair.with("height", "1").json()}), unsupportedFields},
        Refusal{"RuleWithText", withBlocks({rule.with("text", "\"a\"").json()}), unsupportedFields},
        Refusal{"RuleWithWidth", withBlocks({rule.with("width", "8").json()}), unsupportedFields},
        Refusal{"SpaceWithGap", withBlocks({space.with("gap", "0").json()}), unsupportedFields},
        Refusal{"QrWithAlign", withBlocks({qr.with("align", "\"left\"").json()}), unsupportedFields},
        Refusal{"QrWithWidth", withBlocks({qr.with("width", "8").json()}), unsupportedFields},
        Refusal{"ImageWithText", withBlocks({imageOf(8, 1).with("text", "\"\"").json()}), unsupportedFields},
        Refusal{"ImageWithSize", withBlocks({imageOf(8, 1).with("size", "16").json()}), unsupportedFields},
        Refusal{
            "KeysBeforeFields", withBlocks({text.with("height", "1").with("text", "1").json()}), unsupportedFields}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Texts, ReceiptDocumentRefusal,
    testing::Values(Refusal{"NoText", withBlocks({text.without("text").json()}), "Invalid receipt text block."},
        Refusal{"EmptyText", withBlocks({text.with("text", "\"\"").json()}), "Invalid receipt text block."},
        Refusal{"BlankText", withBlocks({text.with("text", "\" \\u200b\\n\"").json()}), "Invalid receipt text block."},
        Refusal{"TextWithRight", withBlocks({text.with("right", "\"1\"").json()}), "Invalid receipt text block."},
        Refusal{"TextWithRightAlone", withBlocks({text.without("text").with("right", "\"1\"").json()}),
            "Invalid receipt text block."},
        Refusal{
            "PairOfNothing", withBlocks({pair.without("text").without("right").json()}), "Invalid receipt text block."},
        Refusal{"PairOfBlanks", withBlocks({pair.with("text", "\" \"").with("right", "\"\\t\"").json()}),
            "Invalid receipt text block."},
        Refusal{"TextNumber", withBlocks({text.with("text", "1").json()}), "Invalid receipt text."},
        Refusal{"TextNull", withBlocks({text.with("text", "null").json()}), "Invalid receipt text."},
        Refusal{"RightTrue", withBlocks({pair.with("right", "true").json()}), "Invalid receipt text."},
        Refusal{
            "BritishAlignment", withBlocks({text.with("align", "\"centre\"").json()}), "Invalid receipt alignment."},
        Refusal{
            "AlignmentInCapitals", withBlocks({text.with("align", "\"Left\"").json()}), "Invalid receipt alignment."},
        Refusal{"AlignmentNumber", withBlocks({text.with("align", "1").json()}), "Invalid receipt text."},
        Refusal{"Bold1", withBlocks({text.with("bold", "1").json()}), "Invalid receipt weight."},
        Refusal{"BoldText", withBlocks({text.with("bold", "\"true\"").json()}), "Invalid receipt weight."},
        Refusal{"BoldNull", withBlocks({text.with("bold", "null").json()}), "Invalid receipt weight."}),
    nameOf);

// Each of these has two faults; the one that is checked first is told.
INSTANTIATE_TEST_SUITE_P(Order, ReceiptDocumentRefusal,
    testing::Values(
        Refusal{"TextBeforeRight", withBlocks({pair.with("text", "1").with("right", quoted(letters(2001))).json()}),
            "Invalid receipt text."},
        Refusal{
            "TextBeforeSize", withBlocks({text.with("text", "1").with("size", "1").json()}), "Invalid receipt text."},
        Refusal{
            "RightBeforeSize", withBlocks({text.with("right", "1").with("size", "1").json()}), "Invalid receipt text."},
        Refusal{"SizeBeforeGap", withBlocks({text.with("gap", "-1").with("size", "1").json()}),
            "Invalid receipt dimension: size"},
        Refusal{"GapBeforeEmptyText", withBlocks({text.with("gap", "-1").with("text", "\"\"").json()}),
            "Invalid receipt dimension: gap"},
        Refusal{"EmptyTextBeforeAlignment", withBlocks({text.with("align", "\"x\"").with("text", "\"\"").json()}),
            "Invalid receipt text block."},
        Refusal{"AlignmentBeforeWeight", withBlocks({text.with("bold", "1").with("align", "\"x\"").json()}),
            "Invalid receipt alignment."},
        Refusal{"WeightBeforeColumns", withBlocks({text.with("rightWidth", "1").with("bold", "1").json()}),
            "Invalid receipt weight."},
        Refusal{"RuleHeightBeforeGap", withBlocks({rule.with("gap", "-1").with("height", "0").json()}),
            "Invalid receipt dimension: height"},
        Refusal{"QrSizeBeforePayload", withBlocks({qr.with("text", "\"\"").with("size", "1").json()}),
            "Invalid receipt dimension: size"},
        Refusal{"QrGapBeforePayload", withBlocks({qr.with("text", "\"\"").with("gap", "25").json()}),
            "Invalid receipt dimension: gap"},
        Refusal{
            "QrTextBeforeSize", withBlocks({qr.with("text", "1").with("size", "1").json()}), "Invalid receipt text."},
        Refusal{"ImageWidthBeforeHeight", withBlocks({imageOf(8, 1).with("height", "0").with("width", "0").json()}),
            "Invalid receipt dimension: width"},
        Refusal{"ImageGapBeforeData", withBlocks({imageOf(8, 1).with("data", "1").with("gap", "25").json()}),
            "Invalid receipt dimension: gap"},
        Refusal{"BlockBeforeTheTextInAll", withBlocks({text.with("text", quoted(letters(2000))).json(), "1"}),
            "Invalid receipt block."}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(QrCodes, ReceiptDocumentRefusal,
    testing::Values(Refusal{"NoPayload", withBlocks({qr.without("text").json()}), "Invalid receipt QR code."},
        Refusal{"EmptyPayload", withBlocks({qr.with("text", "\"\"").json()}), "Invalid receipt QR code."},
        Refusal{"PayloadNumber", withBlocks({qr.with("text", "1").json()}), "Invalid receipt text."}),
    nameOf);

constexpr auto invalidImage = "Invalid receipt image.";

INSTANTIATE_TEST_SUITE_P(Images, ReceiptDocumentRefusal,
    testing::Values(Refusal{"Width12", withBlocks({imageOf(8, 1).with("width", "12").json()}), invalidImage},
        Refusal{"NoWidth", withBlocks({imageOf(8, 1).without("width").json()}), invalidImage},
        Refusal{"NoHeight", withBlocks({imageOf(8, 1).without("height").json()}), invalidImage},
        Refusal{
            "NoWidthNorData", withBlocks({imageOf(8, 1).without("width").with("data", "\"\"").json()}), invalidImage},
        Refusal{
            "NoHeightNorData", withBlocks({imageOf(8, 1).without("height").with("data", "\"\"").json()}), invalidImage},
        Refusal{"NoData", withBlocks({imageOf(8, 1).without("data").json()}), invalidImage},
        Refusal{"DataNull", withBlocks({imageOf(8, 1).with("data", "null").json()}), invalidImage},
        Refusal{"DataNumber", withBlocks({imageOf(8, 1).with("data", "1").json()}), invalidImage},
        Refusal{"DataEmpty", withBlocks({imageOf(8, 1).with("data", "\"\"").json()}), invalidImage},
        Refusal{"DataShort", withBlocks({imageOf(8, 2).with("data", "\"gA==\"").json()}), invalidImage},
        Refusal{"DataLong", withBlocks({imageOf(8, 1).with("data", "\"gIA=\"").json()}), invalidImage},
        Refusal{"DataUnpadded", withBlocks({imageOf(8, 1).with("data", "\"gA\"").json()}), invalidImage},
        Refusal{"DataLineBreak", withBlocks({imageOf(48, 1).with("data", "\"AAAA\\nAAAA\"").json()}), invalidImage},
        Refusal{"DataLineBreakAtTheEnd", withBlocks({imageOf(8, 1).with("data", "\"gA==\\n\"").json()}), invalidImage},
        Refusal{"DataOverTheLimit",
            withBlocks({imageOf(576, 512).with("data", '"' + QByteArray(49156, 'A') + '"').json()}), invalidImage}),
    nameOf);

} // namespace
} // namespace harrowmint::test
