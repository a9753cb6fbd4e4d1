#include "documents/Invoices.h"

#include <QLocale>
#include <QTimeZone>
#include <QUuid>

namespace harrowmint::test {
namespace {

const QString origin = QStringLiteral("https://shop.example.com");
const QByteArray identifier = "\"0f8fad5b-d9cb-469f-a165-70867728950e\"";
const Members labelJob{{"action", "\"print\""}, {"documentType", "\"label\""}, {"printer_name", "\"LabelPrinter\""},
    {"labelDocument", R"({"version":1,"width":8,"height":1,"data":"gA=="})"}};
const QByteArray document = R"({"version":1,"blocks":[{"type":"text","text":"Hi"}]})";

// Digests in this file were computed with Python's hashlib.

TEST(ReceiptFingerprint, IsTheDigestOfTheCanonicalInvoice)
{
    EXPECT_EQ(receipt(envelope.json()).fingerprint,
        QStringLiteral("0d6e73f0651418c2c1e6f5063acc0c3eac53ccc5238991cb35e68d8fe0331dcc"));
}

TEST(ReceiptFingerprint, SortsKeysByCodeUnitsAndWritesNumbersInTheirShortestForm)
{
    const Members odd = invoice.with("\\ud83d\\ude00", "1")
                            .with("\\uffee", "2.0")
                            .with("\xc3\xa9\\n\\\"\\\\/", "[null,true,{\"b\":1000000000000000000000.0,\"a\":1e-7}]");
    EXPECT_EQ(receiptOf(odd.with("\\uffee", "2")).fingerprint,
        QStringLiteral("5506ae69bfbb0a4e8c20c69a63eab9ec9d2e83107bf7e3a8f87d28120f7b941d"));
}

TEST(ReceiptFingerprint, IgnoresKeyOrderWhiteSpaceAndSpelling)
{
    const QByteArray variants[] = {
        R"({"totalAmount":3,"currencyCode":"AED","actualAmount":3,"lineItems":[{"lineTotal":3,"priceEach":1.5,"quantity":2,"title":"Tea"}]})",
        " {\n\t\"lineItems\" : [ { \"title\" : \"Tea\", \"quantity\" : 2, \"priceEach\" : 1.5, \"lineTotal\" : 3 } "
        "],\r\n"
        "\"actualAmount\" : 3, \"totalAmount\" : 3, \"currencyCode\" : \"AED\" } ",
        R"({"lineItems":[{"t\u0069tle":"\u0054ea","quantity":2,"priceEach":1.50,"lineTotal":3}],"actualAmount":3,"totalAmount":3,"currencyCode":"AED"})",
        R"({"lineItems":[],"lineItems":[{"title":"Tea","quantity":9,"quantity":2,"priceEach":15e-1,"lineTotal":3}],"actualAmount":3,"totalAmount":3,"currencyCode":"AED"})",
    };
    for (const QByteArray& variant : variants)
        EXPECT_EQ(receipt(envelope.with("invoice", variant).json()).fingerprint, receipt(envelope.json()).fingerprint);
}

TEST(ReceiptFingerprint, IgnoresWhatStandsBesideTheInvoice)
{
    const Members other = envelope.with("printRequestId", identifier).with("x", "1");
    EXPECT_EQ(receipt(other.json()).fingerprint, receipt(envelope.json()).fingerprint);
}

TEST(ReceiptFingerprint, CoversEverythingInTheInvoice)
{
    const QString plain = receipt(envelope.json()).fingerprint;
    EXPECT_NE(receiptOf(invoice.with("note", "1")).fingerprint, plain);
    EXPECT_NE(receiptOf(invoice.with("totalAmount", "3.01")).fingerprint, plain);
    EXPECT_NE(receiptOf(withItem(item.with("title", "\"Tea \""))).fingerprint, plain);
    EXPECT_NE(receiptOf(invoice.with("saleId", "null")).fingerprint, plain);
}

TEST(ReceiptFingerprint, IsTheDocumentsWhenThereIsOne)
{
    const Members first = envelope.with("receiptDocument", document);
    const Members second = first.with("invoice", invoice.with("saleId", "\"2\"").json());
    EXPECT_EQ(receipt(first.json()).fingerprint, receipt(second.json()).fingerprint);
    EXPECT_NE(receipt(first.json()).fingerprint, receipt(envelope.json()).fingerprint);
}

TEST(JobKey, IsMadeOfOriginAndContent)
{
    EXPECT_EQ(receipt(envelope.json()).jobKey(origin),
        QStringLiteral("e1ffb550c38d3bd6535d44a3e82bd19b44b0a64f92c2ffb62eb2e1c214290b29"));
}

TEST(JobKey, IsMadeOfOriginAndPrintIdentifier)
{
    EXPECT_EQ(receipt(envelope.with("printRequestId", identifier).json()).jobKey(origin),
        QStringLiteral("6734fbc4b7f2c7ddf734455f8d1f34676a940d167e928cb31750df66c25264e4"));
}

TEST(JobKey, IsMadeOfOriginAndPixelsForALabel)
{
    const auto expected = QStringLiteral("59313da43ab70030500cb0a681ec6aa667be3b3d3419bd9812c871c6ffd6b397");
    EXPECT_EQ(receipt(labelJob.json()).jobKey(origin), expected);
    Receipt withIdentifier = receipt(labelJob.json());
    withIdentifier.printRequestId = QStringLiteral("0f8fad5b-d9cb-469f-a165-70867728950e");
    EXPECT_EQ(withIdentifier.jobKey(origin), expected);
    EXPECT_FALSE(withIdentifier.requestScoped());
}

TEST(JobKey, DiffersFromStoreToStore)
{
    for (const Members& job : {envelope, envelope.with("printRequestId", identifier), labelJob}) {
        const Receipt decoded = receipt(job.json());
        EXPECT_NE(decoded.jobKey(origin), decoded.jobKey(QStringLiteral("https://other.example.com")));
    }
}

TEST(JobKey, OfOnePrintIdentifierIsTheSameWhateverTheContent)
{
    const Members first = envelope.with("printRequestId", identifier);
    const Members second =
        first.with("invoice", invoice.with("saleId", "\"2\"").json()).with("receiptDocument", document);
    EXPECT_NE(receipt(first.json()).fingerprint, receipt(second.json()).fingerprint);
    EXPECT_EQ(receipt(first.json()).jobKey(origin), receipt(second.json()).jobKey(origin));
    EXPECT_EQ(receipt(first.with("printRequestId", identifier.toUpper()).json()).jobKey(origin),
        receipt(first.json()).jobKey(origin));
}

TEST(JobKey, HashesTheOriginAsUtf8)
{
    Receipt decoded;
    decoded.fingerprint = QStringLiteral("f");
    EXPECT_EQ(decoded.jobKey(QStringLiteral("é")),
        QStringLiteral("55dc7ce2eed84ab26dfc53d114a79234f08056b9de5abce7281e392518cc0e5a"));
}

TEST(RequestScoped, IsForReceiptsWithAPrintIdentifier)
{
    EXPECT_FALSE(receipt(envelope.json()).requestScoped());
    EXPECT_TRUE(receipt(envelope.with("printRequestId", identifier).json()).requestScoped());
    EXPECT_FALSE(receipt(labelJob.json()).requestScoped());
}

/// Puts the toolkit's default locale back at its end.
class DefaultLocale {
public:
    explicit DefaultLocale(const QLocale& locale) { QLocale::setDefault(locale); }
    DefaultLocale(const DefaultLocale&) = delete;
    DefaultLocale& operator=(const DefaultLocale&) = delete;
    ~DefaultLocale() { QLocale::setDefault(m_before); }

private:
    QLocale m_before;
};

const QDateTime moment(QDate(2025, 11, 20), QTime(15, 42, 7));

TEST(TestReceipt, HasItsFixedLines)
{
    const DefaultLocale locale(QLocale(QLocale::German, QLocale::Germany));
    const std::vector<ReceiptLine> expected{
        {QStringLiteral("HARROWMINT"), 32, true, true, false},
        {QStringLiteral("PRINTER TEST"), 27, true, true, false},
        {QStringLiteral("TEST ONLY \u2014 NOT A SALE"), 23, true, true, false},
        {QStringLiteral("USB connection \u2022 Mac app"), 23, false, true, false},
        {QString(28, QChar(0x2500)), 19, false, false, false},
        {QStringLiteral("Sample item"), 23, true, false, false},
        {QStringLiteral("1 \u00d7 0.00 = 0.00"), 23, false, false, false},
        {QStringLiteral("TOTAL  0.00"), 29, true, false, false},
        {QStringLiteral("Arabic: تجربة الطباعة"), 23, false, true, false},
        {QStringLiteral("No payment or stock change."), 20, false, true, false},
        {QStringLiteral("20.11.2025 15:42"), 20, false, true, false},
    };
    EXPECT_EQ(Receipt::test(moment).lines, expected);
}

struct Dated {
    QLocale::Language language;
    QLocale::Country country;
    const char* text;
};

TEST(TestReceipt, IsDatedInTheUsersLocaleWithTheYearInFull)
{
    const Dated rows[] = {{QLocale::English, QLocale::UnitedStates, "11/20/2025 3:42 PM"},
        {QLocale::English, QLocale::UnitedKingdom, "20/11/2025 15:42"},
        {QLocale::French, QLocale::France, "20/11/2025 15:42"},
        {QLocale::Bulgarian, QLocale::Bulgaria, "20.11.2025 г. 15:42 ч."}};
    for (const Dated& row : rows) {
        const DefaultLocale locale(QLocale(row.language, row.country));
        QString printed = Receipt::test(moment).lines.back().text;
        printed.replace(QChar(0x202f), QChar(u' '));
        EXPECT_EQ(printed, QString::fromUtf8(row.text));
    }
}

TEST(TestReceipt, IsDatedNowUnlessTold)
{
    const QString before = Receipt::test(QDateTime::currentDateTime()).lines.back().text;
    const QString now = Receipt::test().lines.back().text;
    const QString after = Receipt::test(QDateTime::currentDateTime()).lines.back().text;
    EXPECT_TRUE(now == before || now == after) << now.toStdString();
}

TEST(TestReceipt, IsNeverADuplicate)
{
    const Receipt first = Receipt::test(moment);
    const Receipt second = Receipt::test(moment);
    EXPECT_NE(first.fingerprint, second.fingerprint);
    EXPECT_NE(first.jobKey(origin), second.jobKey(origin));
    EXPECT_EQ(first.fingerprint.size(), 36);
    EXPECT_FALSE(QUuid::fromString(first.fingerprint).isNull());
}

TEST(TestReceipt, HasNothingButLines)
{
    const Receipt test = Receipt::test(moment);
    EXPECT_EQ(test.website, QString());
    EXPECT_EQ(test.document, std::nullopt);
    EXPECT_EQ(test.labelDocument, std::nullopt);
    EXPECT_EQ(test.printRequestId, std::nullopt);
}

} // namespace
} // namespace harrowmint::test
