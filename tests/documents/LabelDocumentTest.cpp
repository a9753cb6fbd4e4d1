#include "documents/LabelDocument.h"
#include "documents/Samples.h"

#include <gtest/gtest.h>
#include <random>

namespace harrowmint::test {
namespace {

const Members smallest{{"version", "1"}, {"width", "8"}, {"height", "1"}, {"data", "\"gA==\""}};

QByteArray base64Of(qsizetype bytes)
{
    return quoted(QString::fromLatin1(QByteArray(bytes, '\x5a').toBase64()));
}

Members sized(int width, int height)
{
    return Members{{"version", "1"}, {"width", QByteArray::number(width)}, {"height", QByteArray::number(height)},
        {"data", base64Of(width / 8 * height)}};
}

TEST(LabelDocument, DecodesTheSmallestLabel)
{
    const auto label = decoded<LabelDocument>(smallest.json());
    EXPECT_EQ(label.version, 1);
    EXPECT_EQ(label.width, 8);
    EXPECT_EQ(label.height, 1);
    EXPECT_EQ(label.rows, QByteArray("gA=="));
}

TEST(LabelDocument, DecodesTheLargestLabel)
{
    const auto label = decoded<LabelDocument>(sized(384, 800).json());
    EXPECT_EQ(label.rows.size(), 51200);
    EXPECT_EQ(label.bytes().size(), 10 + 38400);
}

TEST(LabelDocument, TakesWholeNumbersHoweverTheyAreWritten)
{
    const auto label =
        decoded<LabelDocument>(smallest.with("version", "1.0").with("width", "0.8e1").with("height", "10e-1").json());
    EXPECT_EQ(label, decoded<LabelDocument>(smallest.json()));
}

TEST(LabelDocument, TakesTheLastOfDuplicateKeys)
{
    const QByteArray json = "{\"version\":2,\"width\":8,\"height\":1,\"data\":\"gA==\",\"version\":1}";
    EXPECT_EQ(decoded<LabelDocument>(json), decoded<LabelDocument>(smallest.json()));
}

TEST(LabelDocument, KeepsThePixelsInCanonicalBase64)
{
    // The four unused bits of the last character are set in the request.
    EXPECT_EQ(decoded<LabelDocument>(smallest.with("data", "\"gP==\"").json()).rows, QByteArray("gA=="));
    EXPECT_EQ(decoded<LabelDocument>(smallest.with("data", "\"\\u0067A=\\u003d\"").json()).rows, QByteArray("gA=="));
}

struct Refusal {
    const char* name;
    QByteArray json;
    const char* message;
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.json.left(200).constData();
}

constexpr auto unsupported = "Unsupported label document.";
constexpr auto geometry = "Invalid label geometry.";
constexpr auto pixels = "Invalid label pixels.";

class LabelDocumentRefusal : public testing::TestWithParam<Refusal> { };

TEST_P(LabelDocumentRefusal, GivesTheSentence)
{
    const QString failure = failureOf([] { (void)decoded<LabelDocument>(GetParam().json); });
    EXPECT_EQ(failure, QString::fromUtf8(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(Keys, LabelDocumentRefusal,
    testing::Values(Refusal{"Null", "null", unsupported}, Refusal{"Text", "\"label\"", unsupported},
        Refusal{"Array", "[]", unsupported}, Refusal{"EmptyObject", "{}", unsupported},
        Refusal{"NoVersion", smallest.without("version").json(), unsupported},
        Refusal{"NoWidth", smallest.without("width").json(), unsupported},
        Refusal{"NoHeight", smallest.without("height").json(), unsupported},
        Refusal{"NoData", smallest.without("data").json(), unsupported},
        Refusal{"AnotherKey", smallest.with("title", "1").json(), unsupported},
        Refusal{"AnotherKeyInPlaceOfOne", smallest.without("data").with("rows", "\"gA==\"").json(), unsupported},
        Refusal{"KeyInCapitals", smallest.without("data").with("Data", "\"gA==\"").json(), unsupported},
        Refusal{"KeysBeforeGeometry", smallest.with("version", "2").with("title", "1").json(), unsupported}),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(Geometry, LabelDocumentRefusal,
    testing::Values(Refusal{"Version0", smallest.with("version", "0").json(), geometry},
        Refusal{"Version2", smallest.with("version", "2").json(), geometry},
        Refusal{"VersionAsText", smallest.with("version", "\"1\"").json(), geometry},
        Refusal{"VersionTrue", smallest.with("version", "true").json(), geometry},
        Refusal{"VersionNull", smallest.with("version", "null").json(), geometry},
        Refusal{"Width7", smallest.with("width", "7").json(), geometry},
        Refusal{"Width0", smallest.with("width", "0").json(), geometry},
        Refusal{"Width385", smallest.with("width", "385").json(), geometry},
        Refusal{"Width392", sized(392, 1).json(), geometry},
        Refusal{"WidthFraction", smallest.with("width", "8.5").json(), geometry},
        Refusal{"WidthNegative", smallest.with("width", "-8").json(), geometry},
        Refusal{"WidthHuge", smallest.with("width", "18446744073709551615").json(), geometry},
        Refusal{"WidthHugeDouble", smallest.with("width", "1e300").json(), geometry},
        Refusal{"WidthOfTwoToThe32Plus8", smallest.with("width", "4294967304").json(), geometry},
        Refusal{"WidthNull", smallest.with("width", "null").json(), geometry},
        Refusal{"WidthArray", smallest.with("width", "[8]").json(), geometry},
        Refusal{"Height0", smallest.with("height", "0").json(), geometry},
        Refusal{"HeightMinusZero", smallest.with("height", "-0.0").json(), geometry},
        Refusal{"Height801", sized(8, 801).json(), geometry},
        Refusal{"HeightTrue", smallest.with("height", "true").json(), geometry},
        Refusal{"GeometryBeforePixels", smallest.with("width", "12").with("height", "0").json(), geometry}),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(Pixels, LabelDocumentRefusal,
    testing::Values(Refusal{"Width12", smallest.with("width", "12").json(), pixels},
        Refusal{"Width12OfFittingLength", smallest.with("width", "12").with("height", "8").json(), pixels},
        Refusal{"OneByteTooMany", sized(8, 5).with("data", base64Of(6)).json(), pixels},
        Refusal{"OneByteTooFew", sized(8, 5).with("data", base64Of(4)).json(), pixels},
        Refusal{"Empty", smallest.with("data", "\"\"").json(), pixels},
        Refusal{"LineBreak", smallest.with("data", "\"gA==\\n\"").json(), pixels},
        Refusal{"LineBreakWithin", sized(48, 1).with("data", "\"AAAA\\r\\nAAAA\"").json(), pixels},
        Refusal{"Blanks", smallest.with("data", "\" gA==   \"").json(), pixels},
        Refusal{"NoPadding", smallest.with("data", "\"gA\"").json(), pixels},
        Refusal{"HalfThePadding", smallest.with("data", "\"gA=\"").json(), pixels},
        Refusal{"UrlAlphabet", sized(24, 1).with("data", "\"-_-_\"").json(), pixels},
        Refusal{"OtherScript", smallest.with("data", quoted(QStringLiteral("gА=="))).json(), pixels},
        Refusal{"NulAtTheEnd", smallest.with("data", "\"gA==\\u0000\\u0000\\u0000\\u0000\"").json(), pixels},
        Refusal{"Number", smallest.with("data", "12345678").json(), pixels},
        Refusal{"Null", smallest.with("data", "null").json(), pixels},
        Refusal{"OneGroupOverTheLimit", sized(384, 800).with("data", base64Of(38403)).json(), pixels},
        Refusal{"FarOverTheLimit", sized(384, 800).with("data", base64Of(60000)).json(), pixels}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(LabelDocument, BothAlphabetEndsAreBase64)
{
    EXPECT_EQ(decoded<LabelDocument>(sized(24, 1).with("data", "\"+/+/\"").json()).rows, QByteArray("+/+/"));
}

TEST(LabelDocument, StreamOfTheSmallestLabel)
{
    EXPECT_EQ(
        decoded<LabelDocument>(smallest.json()).bytes().toHex(' '), QByteArray("1b 40 1d 76 30 00 01 00 01 00 80"));
}

TEST(LabelDocument, HeaderOf800RowsEndsWith2003)
{
    const QByteArray stream = decoded<LabelDocument>(sized(384, 800).json()).bytes();
    EXPECT_EQ(stream.first(10).toHex(' '), QByteArray("1b 40 1d 76 30 00 30 00 20 03"));
}

TEST(LabelDocument, HeaderSplitsTheHeightAt256)
{
    EXPECT_EQ(decoded<LabelDocument>(sized(16, 255).json()).bytes().mid(6, 4).toHex(' '), QByteArray("02 00 ff 00"));
    EXPECT_EQ(decoded<LabelDocument>(sized(16, 256).json()).bytes().mid(6, 4).toHex(' '), QByteArray("02 00 00 01"));
}

// Digests computed with Python's hashlib: sha256(b"label-v1:8:1:" + b"\x80") and so on.
TEST(LabelDocument, FingerprintHashesGeometryAndPixels)
{
    EXPECT_EQ(decoded<LabelDocument>(smallest.json()).fingerprint(),
        QStringLiteral("62768340dd039d3a965a73b1019a7830aa0d6b02867d63cd885c37d07e6e8074"));
    EXPECT_EQ(decoded<LabelDocument>(sized(384, 800).json()).fingerprint(),
        QStringLiteral("0a52443d17a267811111e6d06ebb6f54221674206296779159376cdc0c04c604"));
}

TEST(LabelDocument, FingerprintDiffersByGeometryOfTheSamePixels)
{
    EXPECT_EQ(decoded<LabelDocument>(sized(16, 4).json()).fingerprint(),
        QStringLiteral("27efe0b691da50866c5bcdb033422c3fd9ec513d3c946796bcecabde4a1ec01b"));
    EXPECT_EQ(decoded<LabelDocument>(sized(32, 2).json()).fingerprint(),
        QStringLiteral("253ca021d93016b3d4b91027d4c9a5788f70468257dee40592ccdac84d73095c"));
}

TEST(LabelDocument, FingerprintIgnoresHowTheRequestIsWritten)
{
    const QByteArray other = "{ \"data\":\"gP==\", \"height\":1.0, \"width\":8, \"version\":1 }";
    EXPECT_EQ(decoded<LabelDocument>(other).fingerprint(), decoded<LabelDocument>(smallest.json()).fingerprint());
}

TEST(LabelDocument, RandomBitmapsComeThroughUnchanged)
{
    constexpr unsigned seed = 20251120;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        const int width = 8 * std::uniform_int_distribution(1, 48)(random);
        const int height = std::uniform_int_distribution(1, 800)(random);
        QByteArray bitmap(width / 8 * height, '\0');
        for (char& byte : bitmap)
            byte = static_cast<char>(random());
        const Members label = sized(width, height).with("data", '"' + bitmap.toBase64() + '"');
        ASSERT_EQ(decoded<LabelDocument>(label.json()).bytes().sliced(10), bitmap) << width << " x " << height;
    }
}

} // namespace
} // namespace harrowmint::test
