#include "documents/ReceiptBlocks.h"
#include "support/Files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace harrowmint::test {
namespace {

QString fingerprint(const QByteArray& json)
{
    return decoded<ReceiptDocument>(json).fingerprint();
}

QString fingerprintOf(const Members& block)
{
    return fingerprint(withBlocks({block.json()}));
}

/// The value of `receiptDocument` in the sample that stores are given.
QByteArray sampleDocument()
{
    const QJsonObject body = QJsonDocument::fromJson(sample(QStringLiteral("receipt-document.json"))).object();
    return QJsonDocument(body[QStringLiteral("receiptDocument")].toObject()).toJson();
}

TEST(ReceiptDocumentFingerprint, CanonicalFormWritesEveryField)
{
    const auto document = decoded<ReceiptDocument>(withBlocks(
        {pair.with("text", quoted(QStringLiteral("قهوة"))).with("rightWidth", "0.50").json(), space.json()}));
    EXPECT_EQ(document.canonicalJSON(),
        QByteArray(R"({"blocks":[)"
                   R"({"align":"natural","bold":false,"data":"","gap":10,"height":0,"right":"1.00","rightWidth":0.5,)"
                   R"("size":23,"text":"قهوة","type":"pair","width":0},)"
                   R"({"align":"natural","bold":false,"data":"","gap":0,"height":12,"right":"","rightWidth":0.45,)"
                   R"("size":23,"text":"","type":"space","width":0}],)"
                   R"("bottomPadding":160,"version":1})"));
}

TEST(ReceiptDocumentFingerprint, CanonicalFormEscapesAsTheStandardSays)
{
    const auto document = decoded<ReceiptDocument>(withBlocks({text.with("text", R"("\"\\\/\u2028\u00e9")").json()}));
    EXPECT_TRUE(document.canonicalJSON().contains("\"text\":\"\\\"\\\\/\xe2\x80\xa8\xc3\xa9\""))
        << document.canonicalJSON().constData();
}

// Digests computed with Python: hashlib over json.dumps(…, sort_keys=True, separators=(",", ":"), ensure_ascii=False).
TEST(ReceiptDocumentFingerprint, IsTheDigestOfTheCanonicalForm)
{
    EXPECT_EQ(fingerprintOf(text), QStringLiteral("a915cba81693ca2b12f593ddcee2597a88ccece34b938bd452691f3ef8e4668d"));
    const QByteArray blocks =
        withBlocks({pair.with("text", quoted(QStringLiteral("Café “1”"))).with("rightWidth", "0.6").json(), rule.json(),
            space.json(), qr.json(), imageOf(16, 2).json()});
    EXPECT_EQ(fingerprint(blocks), QStringLiteral("7a26728108e33ca3937dcd20c5982b095e269bc1b6d5677a0eb2546bb902a3de"));
    EXPECT_EQ(fingerprint(sampleDocument()),
        QStringLiteral("374f7732eac68bf80451a155eafb14d39e2de68efff102b4bd14066b54a24c5f"));
}

struct Variant {
    const char* name;
    Members block;
};

void PrintTo(const Variant& variant, std::ostream* out)
{
    *out << variant.name;
}

class SameFingerprint : public testing::TestWithParam<Variant> { };

TEST_P(SameFingerprint, AsThePlainBlock)
{
    EXPECT_EQ(fingerprintOf(GetParam().block), fingerprintOf(text));
}

INSTANTIATE_TEST_SUITE_P(Receipt, SameFingerprint,
    testing::Values(Variant{"GapWrittenOut", text.with("gap", "10")},
        Variant{"SizeWrittenOut", text.with("size", "23.0")}, Variant{"BoldWrittenOut", text.with("bold", "false")},
        Variant{"AlignWrittenOut", text.with("align", "\"natural\"")},
        Variant{"AlignEmpty", text.with("align", "\"\"")},
        Variant{"RightWidthWrittenOut", text.with("rightWidth", "4.5e-1")},
        Variant{"RightEmpty", text.with("right", "\"\"")}, Variant{"BlanksAround", text.with("text", "\" Hi\\t\"")},
        Variant{"ControlCharacters", text.with("text", "\"\\u0000H\\u200bi\"")},
        Variant{"Escapes", text.with("text", "\"\\u0048\\u0069\"")},
        Variant{"KeyOrder", text.without("type").with("type", "\"text\"")}),
    [](const auto& test) { return std::string(test.param.name); });

class OtherFingerprint : public testing::TestWithParam<Variant> { };

TEST_P(OtherFingerprint, ThanThePlainBlock)
{
    EXPECT_NE(fingerprintOf(GetParam().block), fingerprintOf(text));
}

INSTANTIATE_TEST_SUITE_P(Receipt, OtherFingerprint,
    testing::Values(Variant{"Gap", text.with("gap", "11")}, Variant{"Size", text.with("size", "24")},
        Variant{"Bold", text.with("bold", "true")}, Variant{"Align", text.with("align", "\"left\"")},
        Variant{"RightWidth", text.with("rightWidth", "0.5")}, Variant{"Text", text.with("text", "\"hi\"")},
        Variant{"Type", text.with("type", "\"pair\"")}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ReceiptDocumentFingerprint, CoversTheDocumentsOwnFields)
{
    const Members document{{"version", "1"}, {"blocks", array({text.json()})}};
    const QString plain = fingerprint(document.json());
    EXPECT_EQ(fingerprint(document.with("bottomPadding", "160").json()), plain);
    EXPECT_NE(fingerprint(document.with("bottomPadding", "161").json()), plain);
    EXPECT_NE(fingerprint(withBlocks({text.json(), text.json()})), plain);
}

TEST(ReceiptDocumentFingerprint, DependsOnTheOrderOfTheBlocks)
{
    EXPECT_NE(fingerprint(withBlocks({rule.json(), text.json()})), fingerprint(withBlocks({text.json(), rule.json()})));
}

TEST(ReceiptDocumentFingerprint, CoversPixelsButNotHowTheyAreEncoded)
{
    EXPECT_EQ(
        fingerprintOf(imageOf(8, 1).with("data", "\"gA==\"")), fingerprintOf(imageOf(8, 1).with("data", "\"gP==\"")));
    EXPECT_NE(
        fingerprintOf(imageOf(8, 1).with("data", "\"gA==\"")), fingerprintOf(imageOf(8, 1).with("data", "\"gQ==\"")));
}

} // namespace
} // namespace harrowmint::test
