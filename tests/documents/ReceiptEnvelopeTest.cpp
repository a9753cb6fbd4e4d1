#include "documents/Invoices.h"

namespace harrowmint::test {
namespace {

constexpr auto invalidInvoice = "Invalid POS invoice or printer alias. Expected POSPrinter and 1–60 items.";
constexpr auto invalidLabel = "Invalid label or printer alias.";
constexpr auto invalidIdentifier = "Invalid receipt print request identifier.";

const QByteArray labelDocument = R"({"version":1,"width":8,"height":1,"data":"gA=="})";
const Members labelJob{{"action", "\"print\""}, {"documentType", "\"label\""}, {"printer_name", "\"LabelPrinter\""},
    {"labelDocument", labelDocument}};

/// A valid request of exactly `size` bytes.
QByteArray bodyOf(qsizetype size)
{
    const QByteArray body = envelope.json();
    return body + QByteArray(size - body.size(), ' ');
}

Members itemsOf(int count)
{
    QByteArrayList items;
    for (int i = 0; i < count; ++i)
        items << item.json();
    return envelope.with("invoice", invoice.with("lineItems", '[' + items.join(',') + ']').json());
}

TEST(ReceiptEnvelope, DecodesTheSmallestInvoice)
{
    const Receipt decoded = receipt(envelope.json());
    const QString rule = ruleText();
    EXPECT_EQ(texts(decoded),
        (QStringList{QStringLiteral("RECEIPT"), rule, QStringLiteral("Tea"),
            QStringLiteral("2 × AED 1.50   = AED 3.00"), rule, QStringLiteral("Subtotal: AED 3.00"),
            QStringLiteral("TOTAL  AED 3.00"), QStringLiteral("Thank you!")}));
    EXPECT_EQ(decoded.website, QString());
    EXPECT_EQ(decoded.document, std::nullopt);
    EXPECT_EQ(decoded.labelDocument, std::nullopt);
    EXPECT_EQ(decoded.printRequestId, std::nullopt);
}

TEST(ReceiptEnvelope, IgnoresKeysThatItDoesNotKnow)
{
    EXPECT_EQ(receipt(envelope.with("labelDocument", "1").with("x", "[{}]").json()).labelDocument, std::nullopt);
}

TEST(ReceiptEnvelope, TakesTheLastOfDuplicateKeys)
{
    const QByteArray body = envelope.json();
    EXPECT_EQ(requestFailure(body.chopped(1) + ",\"action\":\"test\"}"), QString::fromUtf8(invalidInvoice));
    EXPECT_EQ(texts(receipt("{\"invoice\":1," + body.sliced(1))), texts(receipt(body)));
}

TEST(ReceiptEnvelope, TakesBodiesOfUpTo131072Bytes)
{
    EXPECT_EQ(receipt(bodyOf(131072)).lines.size(), 8U);
    EXPECT_EQ(requestFailure(bodyOf(131073)), QStringLiteral("Receipt is too large."));
}

TEST(ReceiptEnvelope, RefusesALargeBodyBeforeItIsParsed)
{
    EXPECT_EQ(requestFailure(QByteArray(131073, '?')), QStringLiteral("Receipt is too large."));
    EXPECT_NE(requestFailure(QByteArray(131072, '?')), QStringLiteral("Receipt is too large."));
}

TEST(ReceiptEnvelope, TextThatIsNotJsonGetsTheParsersOwnSentence)
{
    for (const char* body :
        {"", " ", "{", "{\"a\":1}x", "print", "\"print\"", "1", "null", "{\"a\":01}", "{\"a\":\"\n\"}",
            "{\"a\":\"\\ud800\"}", "{\"a\":\"\xff\"}", "{\"a\":18446744073709551616}", "{\"a\":1e400}"}) {
        const QString parser = failureOf([&] { const JSONDocument document{QByteArray(body)}; });
        EXPECT_NE(parser, QStringLiteral("(no failure)")) << body;
        EXPECT_EQ(requestFailure(body), parser) << body;
    }
}

TEST(ReceiptEnvelope, DeepNestingIsNotJson)
{
    const QByteArray deep = QByteArray(65000, '[') + QByteArray(65000, ']');
    EXPECT_EQ(requestFailure(deep), failureOf([&] { const JSONDocument document(deep); }));
    EXPECT_NE(requestFailure(deep), QString::fromUtf8(invalidInvoice));
}

TEST(ReceiptEnvelope, Takes1To60Items)
{
    EXPECT_EQ(requestFailure(itemsOf(0).json()), QString::fromUtf8(invalidInvoice));
    EXPECT_EQ(receipt(itemsOf(1).json()).lines.size(), 8U);
    EXPECT_EQ(receipt(itemsOf(60).json()).lines.size(), 6U + 2 * 60);
    EXPECT_EQ(requestFailure(itemsOf(61).json()), QString::fromUtf8(invalidInvoice));
}

struct Refusal {
    const char* name;
    QByteArray body;
    const char* message;
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.body.left(300).constData();
}

class ReceiptEnvelopeRefusal : public testing::TestWithParam<Refusal> { };

TEST_P(ReceiptEnvelopeRefusal, GivesTheSentence)
{
    EXPECT_EQ(requestFailure(GetParam().body), QString::fromUtf8(GetParam().message));
}

const auto nameOf = [](const auto& test) { return std::string(test.param.name); };

INSTANTIATE_TEST_SUITE_P(Invoice, ReceiptEnvelopeRefusal,
    testing::Values(Refusal{"Array", "[]", invalidInvoice}, Refusal{"EmptyObject", "{}", invalidInvoice},
        Refusal{"ArrayOfARequest", '[' + envelope.json() + ']', invalidInvoice},
        Refusal{"NoAction", envelope.without("action").json(), invalidInvoice},
        Refusal{"OtherAction", envelope.with("action", "\"Print\"").json(), invalidInvoice},
        Refusal{"ActionTrue", envelope.with("action", "true").json(), invalidInvoice},
        Refusal{"ActionWithBlank", envelope.with("action", "\"print \"").json(), invalidInvoice},
        Refusal{"NoType", envelope.without("documentType").json(), invalidInvoice},
        Refusal{"TypeInCapitals", envelope.with("documentType", "\"Invoice\"").json(), invalidInvoice},
        Refusal{"TypeNull", envelope.with("documentType", "null").json(), invalidInvoice},
        Refusal{"TypeLabelInCapitals", labelJob.with("documentType", "\"Label\"").json(), invalidInvoice},
        Refusal{"TypeInAList", envelope.with("documentType", "[\"label\"]").json(), invalidInvoice},
        Refusal{"NoPrinter", envelope.without("printer_name").json(), invalidInvoice},
        Refusal{"PrinterInLowerCase", envelope.with("printer_name", "\"posprinter\"").json(), invalidInvoice},
        Refusal{"LabelPrinter", envelope.with("printer_name", "\"LabelPrinter\"").json(), invalidInvoice},
        Refusal{"NoInvoice", envelope.without("invoice").json(), invalidInvoice},
        Refusal{"InvoiceNull", envelope.with("invoice", "null").json(), invalidInvoice},
        Refusal{"InvoiceArray", envelope.with("invoice", "[]").json(), invalidInvoice},
        Refusal{"NoItems", envelope.with("invoice", invoice.without("lineItems").json()).json(), invalidInvoice},
        Refusal{"ItemsObject", envelope.with("invoice", invoice.with("lineItems", "{}").json()).json(), invalidInvoice},
        Refusal{"ItemsNull", envelope.with("invoice", invoice.with("lineItems", "null").json()).json(), invalidInvoice},
        Refusal{"ItemNumber",
            envelope.with("invoice", invoice.with("lineItems", '[' + item.json() + ",1]").json()).json(),
            invalidInvoice},
        Refusal{
            "ItemNull", envelope.with("invoice", invoice.with("lineItems", "[null]").json()).json(), invalidInvoice}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Label, ReceiptEnvelopeRefusal,
    testing::Values(Refusal{"NoAction", labelJob.without("action").json(), invalidLabel},
        Refusal{"OtherAction", labelJob.with("action", "\"PRINT\"").json(), invalidLabel},
        Refusal{"NoPrinter", labelJob.without("printer_name").json(), invalidLabel},
        Refusal{"PrinterInLowerCase", labelJob.with("printer_name", "\"labelprinter\"").json(), invalidLabel},
        Refusal{"ReceiptPrinter", labelJob.with("printer_name", "\"POSPrinter\"").json(), invalidLabel},
        Refusal{"NoLabel", labelJob.without("labelDocument").json(), invalidLabel},
        Refusal{"PrinterBeforeLabel", labelJob.with("printer_name", "\"POSPrinter\"").with("labelDocument", "1").json(),
            invalidLabel},
        Refusal{"LabelNull", labelJob.with("labelDocument", "null").json(), "Unsupported label document."},
        Refusal{"LabelGeometry",
            labelJob.with("labelDocument", R"({"version":2,"width":8,"height":1,"data":"gA=="})").json(),
            "Invalid label geometry."},
        Refusal{"LabelPixels",
            labelJob.with("labelDocument", R"({"version":1,"width":8,"height":1,"data":"gICA"})").json(),
            "Invalid label pixels."}),
    nameOf);

QByteArray identified(const QByteArray& json)
{
    return envelope.with("printRequestId", json).json();
}

INSTANTIATE_TEST_SUITE_P(Identifier, ReceiptEnvelopeRefusal,
    testing::Values(Refusal{"Null", identified("null"), invalidIdentifier},
        Refusal{"Number", identified("1"), invalidIdentifier}, Refusal{"Object", identified("{}"), invalidIdentifier},
        Refusal{"Empty", identified("\"\""), invalidIdentifier},
        Refusal{"NoHyphens", identified("\"0f8fad5bd9cb469fa16570867728950e\""), invalidIdentifier},
        Refusal{"Braces", identified("\"{0f8fad5b-d9cb-469f-a165-70867728950e}\""), invalidIdentifier},
        Refusal{
            "NoHyphensInBracesAndBlanks", identified("\" {0f8fad5bd9cb469fa16570867728950e} \""), invalidIdentifier},
        Refusal{"ShortByOne", identified("\"0f8fad5b-d9cb-469f-a165-70867728950\""), invalidIdentifier},
        Refusal{"LongByOne", identified("\"0f8fad5b-d9cb-469f-a165-70867728950e0\""), invalidIdentifier},
        Refusal{"LineBreakAfter", identified("\"0f8fad5b-d9cb-469f-a165-70867728950e\\n\""), invalidIdentifier},
        Refusal{"NotHexadecimal", identified("\"0g8fad5b-d9cb-469f-a165-70867728950e\""), invalidIdentifier},
        Refusal{"HyphenMoved", identified("\"0f8fad5bd-9cb-469f-a165-70867728950e\""), invalidIdentifier},
        Refusal{"OtherDigits", identified(quoted(QStringLiteral("٠f8fad5b-d9cb-469f-a165-70867728950"))),
            invalidIdentifier},
        Refusal{"EnvelopeFirst", envelope.with("printRequestId", "1").with("action", "1").json(), invalidInvoice},
        Refusal{"BeforeTheLayout",
            envelope.with("printRequestId", "1").with("invoice", invoice.with("currencyCode", "\"aed\"").json()).json(),
            invalidIdentifier}),
    nameOf);

TEST(ReceiptEnvelope, KeepsThePrintIdentifierInLowerCase)
{
    EXPECT_EQ(receipt(identified("\"0F8FAD5B-D9CB-469f-a165-70867728950E\"")).printRequestId,
        QStringLiteral("0f8fad5b-d9cb-469f-a165-70867728950e"));
}

TEST(ReceiptEnvelope, TakesAnyUuidAsPrintIdentifier)
{
    const QString nil = QStringLiteral("00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(receipt(identified(quoted(nil))).printRequestId, nil);
}

TEST(ReceiptEnvelope, RefusesAnIdentifierBehindACharacterThatCouldBeAByteOrderMark)
{
    EXPECT_EQ(requestFailure(identified("\"\\ufeff0f8fad5b-d9cb-469f-a165-70867728950e\"")),
        QString::fromUtf8(invalidIdentifier));
}

TEST(ReceiptEnvelope, DecodesALabelJob)
{
    const Receipt decoded = receipt(labelJob.json());
    ASSERT_TRUE(decoded.labelDocument.has_value());
    EXPECT_EQ(decoded.labelDocument->rows, QByteArray("gA=="));
    EXPECT_EQ(decoded.fingerprint, decoded.labelDocument->fingerprint());
    EXPECT_TRUE(decoded.lines.empty());
    EXPECT_EQ(decoded.website, QString());
    EXPECT_EQ(decoded.document, std::nullopt);
}

TEST(ReceiptEnvelope, ALabelJobHasNoPrintIdentifier)
{
    for (const char* json : {"\"0f8fad5b-d9cb-469f-a165-70867728950e\"", "null", "1", "\"x\""}) {
        const Receipt decoded = receipt(labelJob.with("printRequestId", json).json());
        EXPECT_EQ(decoded.printRequestId, std::nullopt) << json;
        EXPECT_FALSE(decoded.requestScoped());
    }
}

TEST(ReceiptEnvelope, ALabelJobIgnoresInvoicesAndDocuments)
{
    const Receipt decoded = receipt(labelJob.with("invoice", "1").with("receiptDocument", "1").json());
    EXPECT_EQ(decoded, receipt(labelJob.json()));
}

const QByteArray document = R"({"version":1,"blocks":[{"type":"text","text":"Hi"}]})";

TEST(ReceiptEnvelope, AttachesAReceiptDocument)
{
    const Receipt decoded = receipt(envelope.with("receiptDocument", document).json());
    ASSERT_TRUE(decoded.document.has_value());
    EXPECT_EQ(decoded.document->blocks.front().text, QStringLiteral("Hi"));
    EXPECT_EQ(decoded.fingerprint, decoded.document->fingerprint());
    EXPECT_EQ(decoded.lines, receipt(envelope.json()).lines);
}

INSTANTIATE_TEST_SUITE_P(Document, ReceiptEnvelopeRefusal,
    testing::Values(
        Refusal{"Null", envelope.with("receiptDocument", "null").json(), "Unsupported receipt document fields."},
        Refusal{"Empty", envelope.with("receiptDocument", "{}").json(), "Unsupported or invalid receipt document."},
        Refusal{"Block", envelope.with("receiptDocument", R"({"version":1,"blocks":[1]})").json(),
            "Invalid receipt block."},
        Refusal{"AfterTheLayout",
            envelope.with("receiptDocument", "1").with("invoice", invoice.with("storeWebsite", "1").json()).json(),
            "Enter an exact HTTPS store address, without a page path or wildcard."}),
    nameOf);

} // namespace
} // namespace harrowmint::test
