#include "documents/InvoiceLayout.h"
#include "documents/Invoices.h"

#include <QSet>

namespace harrowmint::test {
namespace {

/// The lines of `changed` that the plain invoice does not have.
std::vector<ReceiptLine> addedLines(const Members& changed)
{
    const QStringList plain = texts(receiptOf(invoice));
    std::vector<ReceiptLine> lines = receiptOf(changed).lines;
    std::erase_if(lines, [&](const ReceiptLine& line) { return plain.contains(line.text); });
    return lines;
}

ReceiptLine line(const QString& text, double size, bool bold, bool centered, bool fullTextLayout)
{
    return {text, size, bold, centered, fullTextLayout};
}

struct Row {
    const char* key;
    QByteArray json;
    ReceiptLine line;
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.key;
}

class InvoiceRow : public testing::TestWithParam<Row> { };

TEST_P(InvoiceRow, AddsItsLine)
{
    EXPECT_EQ(addedLines(invoice.with(GetParam().key, GetParam().json)), std::vector<ReceiptLine>{GetParam().line});
}

INSTANTIATE_TEST_SUITE_P(Invoice, InvoiceRow,
    testing::Values(Row{"brandName", "\"Café\"", line(QStringLiteral("Café"), 32, true, true, false)},
        Row{"branchName", "\"Deira\"", line(QStringLiteral("Deira"), 21, false, true, false)},
        Row{"branchTrn", "\"100\"", line(QStringLiteral("TRN: 100"), 21, false, true, false)},
        Row{"branchAddress", "\"1 Road\"", line(QStringLiteral("1 Road"), 21, false, true, true)},
        Row{"saleDateLabel", "\"1 May\"", line(QStringLiteral("1 May"), 21, false, true, false)},
        Row{"saleTimeLabel", "\"15:42\"", line(QStringLiteral("15:42"), 21, false, true, false)},
        Row{"saleId", "\"A-1\"", line(QStringLiteral("Receipt #A-1"), 23, true, true, false)},
        Row{"customerName", "\"Ann\"", line(QStringLiteral("Customer Name: Ann"), 21, false, false, true)},
        Row{"customerTrn", "\"200\"", line(QStringLiteral("Customer TRN: 200"), 21, false, false, true)},
        Row{"customerPhone", "\"+1\"", line(QStringLiteral("Phone No: +1"), 21, false, false, true)},
        Row{"otherChargesAmount", "0.5", line(QStringLiteral("Other charges: AED 0.50"), 23, false, false, false)},
        Row{"totalDiscountAmount", "0.25", line(QStringLiteral("Discount: −AED 0.25"), 23, false, false, false)},
        Row{"paymentModeLabel", "\"Card\"", line(QStringLiteral("Payment: Card"), 21, false, false, false)},
        Row{"storePhone", "\"+971\"", line(QStringLiteral("Phone: +971"), 21, false, false, true)},
        Row{"storeEmail", "\"a@b.c\"", line(QStringLiteral("Email: a@b.c"), 21, false, false, true)},
        Row{"storeWebsite", "\"https://Shop.Example.com/\"",
            line(QStringLiteral("https://shop.example.com/"), 19, false, true, true)}),
    [](const auto& test) { return std::string(test.param.key); });

TEST(InvoiceLayout, LinesOfTheSmallestInvoice)
{
    const ReceiptLine rule = line(QString(28, QChar(0x2500)), 19, false, false, false);
    const std::vector<ReceiptLine> expected{line(QStringLiteral("RECEIPT"), 32, true, true, false), rule,
        line(QStringLiteral("Tea"), 23, true, false, true),
        line(QStringLiteral("2 \u00d7 AED 1.50   = AED 3.00"), 21, false, false, false), rule,
        line(QStringLiteral("Subtotal: AED 3.00"), 23, false, false, false),
        line(QStringLiteral("TOTAL  AED 3.00"), 29, true, false, false),
        line(QStringLiteral("Thank you!"), 23, false, true, false)};
    EXPECT_EQ(receiptOf(invoice).lines, expected);
}

TEST(InvoiceLayout, RowsStandInTheirOrder)
{
    const Members full = withItem(item.with("meta", "\"Hot\""))
                             .with("storeWebsite", "\"https://w.example\"")
                             .with("storeEmail", "\"E\"")
                             .with("storePhone", "\"P\"")
                             .with("paymentModeLabel", "\"M\"")
                             .with("vatAmount", "1")
                             .with("vatMode", "\"exclusive\"")
                             .with("vatPercent", "5")
                             .with("totalDiscountAmount", "1")
                             .with("otherChargesAmount", "1")
                             .with("customerPhone", "\"C\"")
                             .with("customerTrn", "\"T\"")
                             .with("customerName", "\"N\"")
                             .with("saleId", "\"I\"")
                             .with("saleTimeLabel", "\"15:42\"")
                             .with("saleDateLabel", "\"1 May\"")
                             .with("branchAddress", "\"A\"")
                             .with("branchTrn", "\"B\"")
                             .with("branchName", "\"Branch\"")
                             .with("brandName", "\"Brand\"");
    const QString expected = QStringLiteral(
        "Brand|Branch|TRN: B|A|1 May|15:42|Receipt #I|Customer Name: N|Customer TRN: T|Phone No: C|%1|"
        "Tea|Hot|2 × AED 1.50   = AED 3.00|%1|"
        "Subtotal: AED 3.00|Other charges: AED 1.00|Discount: −AED 1.00|VAT 5% (added): AED 1.00|TOTAL  AED 3.00|"
        "Payment: M|Thank you!|Phone: P|Email: E|https://w.example/");
    EXPECT_EQ(texts(receiptOf(full)).join(u'|'), expected.arg(ruleText()));
}

TEST(InvoiceLayout, RuleTextIs28HorizontalLines)
{
    EXPECT_EQ(ruleText(), QStringLiteral("────────────────────────────"));
    EXPECT_EQ(ruleText().size(), 28);
}

TEST(InvoiceLayout, LineBreaksInAnAddressBecomeSpacesAndInANameVanish)
{
    const Members changed = invoice.with("branchAddress", "\"1 Road\\nDubai\"").with("branchName", "\"Dei\\nra\"");
    const auto added = addedLines(changed);
    ASSERT_EQ(added.size(), 2U);
    EXPECT_EQ(added[0].text, QStringLiteral("Deira"));
    EXPECT_EQ(added[1].text, QStringLiteral("1 Road Dubai"));
}

// Currency.

TEST(InvoiceCurrency, FallsBackToTheSettings)
{
    for (const Members& without : {invoice.without("currencyCode"), invoice.with("currencyCode", "\"\""),
             invoice.with("currencyCode", "null"), invoice.with("currencyCode", "\" \\n \"")}) {
        const QByteArray body = envelope.with("invoice", without.json()).json();
        EXPECT_EQ(texts(Receipt::decode(body, QStringLiteral("EUR"))).at(5), QStringLiteral("Subtotal: EUR 3.00"));
    }
}

TEST(InvoiceCurrency, MustBeThreeCapitals)
{
    for (const char* code : {"aed", "Aed", "AE", "A1D", "ÄED", "AE ", "12", "$$$", "A\\nD", "ＵＳＤ"}) {
        const QByteArray json = '"' + QByteArray(code) + '"';
        EXPECT_EQ(invoiceFailure(invoice.with("currencyCode", json)), QStringLiteral("Invalid currency code.")) << code;
    }
}

TEST(InvoiceCurrency, OfTheSettingsMustBeThreeCapitalsToo)
{
    const QByteArray body = envelope.with("invoice", invoice.without("currencyCode").json()).json();
    for (const char16_t* code : {u"", u"usd", u"USDX", u"US", u"USD\n"}) {
        const QString failure = failureOf([&] { (void)Receipt::decode(body, QString::fromUtf16(code)); });
        EXPECT_EQ(failure, QStringLiteral("Invalid currency code."));
    }
}

TEST(InvoiceCurrency, OfTheSettingsIsNotLookedAtWhenTheInvoiceHasItsOwn)
{
    EXPECT_EQ(texts(Receipt::decode(envelope.json(), QStringLiteral("?"))).at(5), QStringLiteral("Subtotal: AED 3.00"));
}

TEST(InvoiceCurrency, IsCheckedBeforeTheNextRow)
{
    EXPECT_EQ(invoiceFailure(invoice.with("currencyCode", "\"aed\"").with("brandName", "[]")),
        QStringLiteral("Invalid currency code."));
}

// Items.

TEST(InvoiceItem, NeedsAName)
{
    for (const Members& nameless :
        {item.without("title"), item.with("title", "\"\""), item.with("title", "\" \\u0000 \"")})
        EXPECT_EQ(invoiceFailure(withItem(nameless)), QStringLiteral("An item name is missing."));
    EXPECT_EQ(invoiceFailure(withItem(item.without("title").with("quantity", "0"))),
        QStringLiteral("An item name is missing."));
}

TEST(InvoiceItem, NeedsAPositiveQuantity)
{
    for (const char* json : {"0", "0.0", "-0.0", "\"0\""})
        EXPECT_EQ(
            invoiceFailure(withItem(item.with("quantity", json))), QStringLiteral("Item quantity must be positive."));
    EXPECT_EQ(invoiceFailure(withItem(item.with("quantity", "0").with("meta", "[]"))),
        QStringLiteral("Item quantity must be positive."));
    EXPECT_EQ(invoiceFailure(withItem(item.with("quantity", "5e-324"))), QStringLiteral("(no failure)"));
}

struct Quantity {
    const char* json;
    const char* printed;
};

TEST(InvoiceItem, PrintsTheQuantityInItsGeneralForm)
{
    const Quantity rows[] = {{"1", "1"}, {"1.5", "1.5"}, {"\"2.50\"", "2.5"}, {"0.0001", "0.0001"},
        {"0.00001", "1e-05"}, {"100000", "100000"}, {"1000000", "1e+06"}, {"1234567", "1.23457e+06"},
        {"0.333333333", "0.333333"}};
    for (const Quantity& row : rows) {
        EXPECT_EQ(texts(receiptOf(withItem(item.with("quantity", row.json)))).at(3),
            QLatin1String(row.printed) + QStringLiteral(" × AED 1.50   = AED 3.00"));
    }
}

TEST(InvoiceItem, PrintsAmountsAsTheyCome)
{
    const Members odd = item.with("priceEach", "0.125").with("lineTotal", "999999999.985");
    EXPECT_EQ(texts(receiptOf(withItem(odd))).at(3), QStringLiteral("2 × AED 0.12   = AED 999999999.99"));
}

TEST(InvoiceItem, PrintsItsNoteBelowItsName)
{
    const auto lines = receiptOf(withItem(item.with("meta", "\"Hot\""))).lines;
    EXPECT_EQ(lines[3], line(QStringLiteral("Hot"), 19, false, false, false));
    EXPECT_EQ(lines[4].text, QStringLiteral("2 × AED 1.50   = AED 3.00"));
}

TEST(InvoiceItem, ItemsStandInTheirOrder)
{
    const QByteArray items = '[' + item.with("title", "\"B\"").json() + ',' + item.with("title", "\"A\"").json() + ']';
    const QStringList lines = texts(receiptOf(invoice.with("lineItems", items)));
    EXPECT_EQ(lines.at(2), QStringLiteral("B"));
    EXPECT_EQ(lines.at(4), QStringLiteral("A"));
}

TEST(InvoiceItem, OfTwoBadItemsTheFirstIsTold)
{
    const QByteArray items =
        '[' + item.with("lineTotal", "null").json() + ',' + item.with("title", "1").without("quantity").json() + ']';
    EXPECT_EQ(invoiceFailure(invoice.with("lineItems", items)), QStringLiteral("Missing invoice amount: lineTotal."));
}

// Totals.

TEST(InvoiceTotals, ChargesAndDiscountsOfNothingAreNotPrinted)
{
    for (const char* json : {"0", "null", "-0.0", "\"0.00\""}) {
        const Members changed = invoice.with("otherChargesAmount", json).with("totalDiscountAmount", json);
        EXPECT_EQ(receiptOf(changed).lines, receiptOf(invoice).lines) << json;
    }
}

TEST(InvoiceTotals, SmallChargesArePrintedEvenWhenTheyRoundToNothing)
{
    EXPECT_EQ(addedLines(invoice.with("otherChargesAmount", "0.001")).front().text,
        QStringLiteral("Other charges: AED 0.00"));
}

TEST(InvoiceTotals, NeedNotAddUp)
{
    const QStringList lines = texts(receiptOf(invoice.with("actualAmount", "1").with("totalAmount", "7")));
    EXPECT_EQ(lines.at(5), QStringLiteral("Subtotal: AED 1.00"));
    EXPECT_EQ(lines.at(6), QStringLiteral("TOTAL  AED 7.00"));
}

// VAT.

Members vat(const QByteArray& percent, const QByteArray& mode = "\"inclusive\"", const QByteArray& amount = "1")
{
    return invoice.with("vatPercent", percent).with("vatMode", mode).with("vatAmount", amount);
}

struct Vat {
    const char* percent;
    const char* mode;
    const char* line;
};

TEST(InvoiceVat, IsPrintedBeforeTheTotal)
{
    const QStringList lines = texts(receiptOf(vat("5")));
    EXPECT_EQ(lines.at(6), QStringLiteral("VAT 5% (included): AED 1.00"));
    EXPECT_EQ(lines.at(7), QStringLiteral("TOTAL  AED 3.00"));
}

TEST(InvoiceVat, PrintsThePercentageWithoutNeedlessDigits)
{
    const Vat rows[] = {{"5", "\"inclusive\"", "VAT 5% (included): AED 1.00"},
        {"5.25", "\"exclusive\"", "VAT 5.25% (added): AED 1.00"}, {"0", "\"inclusive\"", "VAT 0% (included): AED 1.00"},
        {"-0.0", "\"inclusive\"", "VAT 0% (included): AED 1.00"},
        {"10", "\"inclusive\"", "VAT 10% (included): AED 1.00"},
        {"100", "\"inclusive\"", "VAT 100% (included): AED 1.00"},
        {"\"7.70\"", "\"inclusive\"", "VAT 7.7% (included): AED 1.00"},
        {"0.0001", "\"inclusive\"", "VAT 0.0001% (included): AED 1.00"},
        {"0.00001", "\"inclusive\"", "VAT 0% (included): AED 1.00"},
        {"12.34567", "\"inclusive\"", "VAT 12.3457% (included): AED 1.00"},
        {"99.99999", "\"inclusive\"", "VAT 100% (included): AED 1.00"},
        {"0.5", "\" exclusive\"", "VAT 0.5% (added): AED 1.00"}};
    for (const Vat& row : rows) {
        const auto added = addedLines(vat(row.percent, row.mode));
        ASSERT_EQ(added.size(), 1U) << row.line;
        EXPECT_EQ(added.front(), line(QString::fromLatin1(row.line), 23, false, false, false));
    }
}

TEST(InvoiceVat, HasBoundsOnBothAmounts)
{
    const auto invalid = QStringLiteral("Invalid saved VAT details.");
    EXPECT_EQ(invoiceFailure(vat("100", "\"inclusive\"", "3")), QStringLiteral("(no failure)"));
    EXPECT_EQ(invoiceFailure(vat("100.5")), invalid);
    EXPECT_EQ(invoiceFailure(vat("100.00000000000001")), invalid);
    EXPECT_EQ(invoiceFailure(vat("5", "\"inclusive\"", "3.01")), invalid);
}

TEST(InvoiceVat, KnowsTwoModes)
{
    for (const char* mode : {"\"\"", "null", "\"Inclusive\"", "\"included\"", "\"none\"", "5"})
        EXPECT_EQ(invoiceFailure(vat("5", mode)), QStringLiteral("Invalid saved VAT details.")) << mode;
    EXPECT_EQ(invoiceFailure(vat("5").without("vatMode")), QStringLiteral("Invalid saved VAT details."));
}

TEST(InvoiceVat, IsReadWholeWhenAnyOfItsKeysIsThere)
{
    EXPECT_EQ(invoiceFailure(invoice.with("vatPercent", "5").with("vatMode", "\"exclusive\"")),
        QStringLiteral("Missing invoice amount: vatAmount."));
    EXPECT_EQ(invoiceFailure(invoice.with("vatMode", "\"exclusive\"")),
        QStringLiteral("Missing invoice amount: vatPercent."));
    EXPECT_EQ(invoiceFailure(invoice.with("vatAmount", "1")), QStringLiteral("Missing invoice amount: vatPercent."));
    EXPECT_EQ(invoiceFailure(invoice.with("vatPercent", "5")), QStringLiteral("Missing invoice amount: vatAmount."));
}

TEST(InvoiceVat, AKeyWithNullIsThere)
{
    for (const char* key : {"vatPercent", "vatMode", "vatAmount"})
        EXPECT_EQ(invoiceFailure(invoice.with(key, "null")), QStringLiteral("Missing invoice amount: vatPercent."))
            << key;
}

// Website.

TEST(InvoiceWebsite, IsNormalised)
{
    for (const char* address :
        {"https://Shop.Example.com", "https://shop.example.com/", "https://SHOP.example.com:443"}) {
        const Receipt decoded = receiptOf(invoice.with("storeWebsite", '"' + QByteArray(address) + '"'));
        EXPECT_EQ(decoded.website, QStringLiteral("https://shop.example.com/"));
        EXPECT_EQ(decoded.lines.back().text, decoded.website);
    }
}

TEST(InvoiceWebsite, MustBeAStoreAddress)
{
    for (const char* address : {"http://shop.example.com", "shop.example.com", "https://shop.example.com/page",
             "HTTPS://a.b", "https://*.example.com", "https://shop", "x"}) {
        EXPECT_EQ(invoiceFailure(invoice.with("storeWebsite", '"' + QByteArray(address) + '"')),
            QStringLiteral("Enter an exact HTTPS store address, without a page path or wildcard."))
            << address;
    }
}

TEST(InvoiceWebsite, IsOptional)
{
    for (const char* json : {"null", "\"\"", "\" \\n\""}) {
        const Receipt decoded = receiptOf(invoice.with("storeWebsite", json));
        EXPECT_EQ(decoded.website, QString());
        EXPECT_EQ(decoded.lines.back().text, QStringLiteral("Thank you!"));
    }
}

} // namespace
} // namespace harrowmint::test
