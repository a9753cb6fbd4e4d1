#include "documents/Invoices.h"

#include <array>

namespace harrowmint::test {
namespace {

/// A text of the invoice or of its item that takes anything up to its limit.
struct TextField {
    const char* key;
    int limit;
    bool breaksWords;
    bool ofItem = false;
};

void PrintTo(const TextField& field, std::ostream* out)
{
    *out << field.key;
}

class InvoiceText : public testing::TestWithParam<TextField> {
protected:
    static Members with(const QByteArray& json)
    {
        if (GetParam().ofItem)
            return withItem(item.with(GetParam().key, json));
        return invoice.with(GetParam().key, json);
    }
    static QString refusal(const QByteArray& json) { return invoiceFailure(with(json)); }
    /// Whether the receipt has a line that ends with `text`.
    static bool prints(const QByteArray& json, const QString& text)
    {
        const QStringList lines = texts(receiptOf(with(json)));
        return std::any_of(lines.begin(), lines.end(), [&](const QString& line) { return line.endsWith(text); });
    }
    static QString key() { return QLatin1String(GetParam().key); }
    static QString tooLong() { return QStringLiteral("Invoice field is too long: ") + key() + u'.'; }
};

TEST_P(InvoiceText, TakesAsManyLettersAsItsLimit)
{
    const QString longest(GetParam().limit, u'x');
    EXPECT_TRUE(prints(quoted(longest), longest));
    EXPECT_EQ(refusal(quoted(longest + u'x')), tooLong());
}

TEST_P(InvoiceText, IsMeasuredInItsUnit)
{
    const QString scalars = QStringLiteral("\U0001F600").repeated(GetParam().limit);
    EXPECT_TRUE(prints(quoted(scalars), scalars));
    EXPECT_EQ(refusal(quoted(scalars + u'x')), tooLong());
    // One character as a person sees it, two scalars.
    const QString characters = QStringLiteral("e\u0301").repeated(GetParam().limit);
    if (GetParam().breaksWords) {
        EXPECT_EQ(refusal(quoted(characters)), tooLong());
    } else {
        EXPECT_TRUE(prints(quoted(characters), characters));
        EXPECT_EQ(refusal(quoted(characters + u'x')), tooLong());
    }
}

TEST_P(InvoiceText, IsMeasuredBeforeItIsCleaned)
{
    EXPECT_EQ(refusal(quoted(QString(GetParam().limit, u' ') + u'x')), tooLong());
    EXPECT_TRUE(prints(quoted(QString(GetParam().limit - 1, u' ') + u'x'), QStringLiteral("x")));
}

TEST_P(InvoiceText, LosesControlsAndOuterBlanks)
{
    const QString sent = QStringLiteral("\u2003\tA\nB\u200eC\r\nD\u0007 \u0085");
    const QString printed = GetParam().breaksWords ? QStringLiteral("A BC  D") : QStringLiteral("ABCD");
    EXPECT_TRUE(prints(escaped(sent), printed)) << texts(receiptOf(with(escaped(sent)))).join(u'|').toStdString();
}

TEST_P(InvoiceText, MayBeANumber)
{
    EXPECT_TRUE(prints("1024", QStringLiteral("1024")));
    EXPECT_TRUE(prints("12.50", QStringLiteral("12.5")));
    EXPECT_TRUE(prints("100000.0", QStringLiteral("100000")));
    EXPECT_TRUE(prints("100200300400003", QStringLiteral("100200300400003")));
    EXPECT_TRUE(prints("18446744073709551615", QStringLiteral("18446744073709551615")));
    EXPECT_TRUE(prints("-7", QStringLiteral("-7")));
}

TEST_P(InvoiceText, MayBeNothingElse)
{
    for (const char* json : {"true", "false", "[]", "{}", "[\"x\"]"})
        EXPECT_EQ(refusal(json), QStringLiteral("Invalid invoice field: ") + key() + u'.') << json;
}

TEST_P(InvoiceText, CountsAsMissingWhenNull)
{
    if (key() == u"title") {
        EXPECT_EQ(refusal("null"), QStringLiteral("An item name is missing."));
        return;
    }
    EXPECT_EQ(texts(receiptOf(with("null"))), texts(receiptOf(invoice)));
    EXPECT_EQ(texts(receiptOf(with("\" \\u200b\\n\""))), texts(receiptOf(invoice)));
}

INSTANTIATE_TEST_SUITE_P(Fields, InvoiceText,
    testing::Values(TextField{"brandName", 160, false}, TextField{"branchName", 200, false},
        TextField{"branchTrn", 64, false}, TextField{"branchAddress", 2000, true},
        TextField{"saleDateLabel", 160, false}, TextField{"saleTimeLabel", 160, false}, TextField{"saleId", 48, false},
        TextField{"customerName", 255, true}, TextField{"customerTrn", 30, true}, TextField{"customerPhone", 50, true},
        TextField{"title", 240, false, true}, TextField{"meta", 160, false, true},
        TextField{"paymentModeLabel", 160, false}, TextField{"storePhone", 100, true},
        TextField{"storeEmail", 254, true}),
    [](const auto& test) { return std::string(test.param.key); });

// The texts with a rule of their own have the same reader and limits.

TEST(InvoiceTexts, CurrencyCodeHasALimitOfThreeCharacters)
{
    EXPECT_EQ(invoiceFailure(invoice.with("currencyCode", "\"USDX\"")),
        QStringLiteral("Invoice field is too long: currencyCode."));
    EXPECT_EQ(invoiceFailure(invoice.with("currencyCode", "\"USD \"")),
        QStringLiteral("Invoice field is too long: currencyCode."));
    EXPECT_EQ(
        invoiceFailure(invoice.with("currencyCode", "true")), QStringLiteral("Invalid invoice field: currencyCode."));
    // Three characters as a person sees them, but no three letters.
    EXPECT_EQ(invoiceFailure(invoice.with("currencyCode", "\"US\\u0301D\"")), QStringLiteral("Invalid currency code."));
}

TEST(InvoiceTexts, VatModeHasALimitOfTenCharacters)
{
    const Members vat = invoice.with("vatPercent", "5").with("vatAmount", "1");
    EXPECT_EQ(invoiceFailure(vat.with("vatMode", "\"inclusive \"")), QStringLiteral("(no failure)"));
    EXPECT_EQ(
        invoiceFailure(vat.with("vatMode", "\"inclusive  \"")), QStringLiteral("Invoice field is too long: vatMode."));
    EXPECT_EQ(invoiceFailure(vat.with("vatMode", "false")), QStringLiteral("Invalid invoice field: vatMode."));
}

TEST(InvoiceTexts, StoreWebsiteHasALimitOf300Characters)
{
    const QString address = QStringLiteral("https://a.example");
    EXPECT_EQ(receiptOf(invoice.with("storeWebsite", quoted(address.leftJustified(300)))).website, address + u'/');
    EXPECT_EQ(invoiceFailure(invoice.with("storeWebsite", quoted(address.leftJustified(301)))),
        QStringLiteral("Invoice field is too long: storeWebsite."));
    EXPECT_EQ(
        invoiceFailure(invoice.with("storeWebsite", "[]")), QStringLiteral("Invalid invoice field: storeWebsite."));
}

struct AmountField {
    const char* key;
    bool required;
    bool ofItem = false;
};

void PrintTo(const AmountField& field, std::ostream* out)
{
    *out << field.key;
}

class InvoiceAmount : public testing::TestWithParam<AmountField> {
protected:
    /// An invoice in which every amount is there, and large enough for any VAT.
    static Members with(const QByteArray& json)
    {
        if (GetParam().ofItem)
            return withItem(item.with(GetParam().key, json));
        return complete().with(GetParam().key, json);
    }
    static Members complete()
    {
        return invoice.with("totalAmount", "1000000000")
            .with("vatPercent", "5")
            .with("vatMode", "\"inclusive\"")
            .with("vatAmount", "1");
    }
    static QString refusal(const QByteArray& json) { return invoiceFailure(with(json)); }
    static QString invalid()
    {
        return QStringLiteral("Invalid invoice amount: ") + QLatin1String(GetParam().key) + u'.';
    }
    static QString missing()
    {
        return QStringLiteral("Missing invoice amount: ") + QLatin1String(GetParam().key) + u'.';
    }
};

TEST_P(InvoiceAmount, TakesNumbersAndTextsAlike)
{
    for (const char* json : {"2", "2.0", "2e0", "\"2\"", "\"2.0\"", "\"+2\"", "\"20e-1\"", "\"2.\""}) {
        EXPECT_EQ(refusal(json), QStringLiteral("(no failure)")) << json;
        EXPECT_EQ(texts(receiptOf(with(json))), texts(receiptOf(with("2")))) << json;
    }
}

TEST_P(InvoiceAmount, RefusesWhatIsNoAmount)
{
    for (const char* json : {"true", "false", "[]", "{}", "[2]", "\"\"", "\" 2\"", "\"2 \"", "\"2,5\"", "\"0x2\"",
             "\"nan\"", "\"inf\"", "\"-inf\"", "\"2 AED\"", "\"1e400\"", "\"2\\u0000\"", "\"\\u0662\"", "\"1_000\""})
        EXPECT_EQ(refusal(json), invalid()) << json;
}

TEST_P(InvoiceAmount, LiesBetweenNoughtAndABillion)
{
    for (const char* json : {"-1", "-0.001", "-5e-324", "\"-1\"", "\"-0.5\"", "1000000001", "1000000000.0000001",
             "\"1000000001\"", "1e10", "-9223372036854775808", "18446744073709551615"})
        EXPECT_EQ(refusal(json), invalid()) << json;
    for (const char* json : {"1000000000", "1e9", "\"1000000000\""}) {
        // A VAT of more than 100 percent has a rule of its own.
        const bool isPercent = std::string_view(GetParam().key) == "vatPercent";
        const auto vat = QStringLiteral("Invalid saved VAT details.");
        EXPECT_EQ(refusal(json), isPercent ? vat : QStringLiteral("(no failure)")) << json;
    }
}

TEST_P(InvoiceAmount, MayOnlyBeMissingWhenOptional)
{
    const QString expected = GetParam().required ? missing() : QStringLiteral("(no failure)");
    EXPECT_EQ(refusal("null"), expected);
    const Members absent =
        GetParam().ofItem ? withItem(item.without(GetParam().key)) : complete().without(GetParam().key);
    EXPECT_EQ(invoiceFailure(absent), expected);
}

TEST_P(InvoiceAmount, NeverPrintsANegativeZero)
{
    for (const char* json : {"-0", "-0.0", "-0e5", "\"-0\"", "\"-0.0\"", "\"-1e-400\""}) {
        const QString failure = refusal(json);
        if (failure != QStringLiteral("(no failure)")) {
            EXPECT_NE(failure, invalid()) << json;
            EXPECT_EQ(failure, refusal("0"));
            continue;
        }
        EXPECT_EQ(texts(receiptOf(with(json))), texts(receiptOf(with("0")))) << json;
        EXPECT_FALSE(texts(receiptOf(with(json))).join(u' ').contains(QStringLiteral("-0")));
    }
}

INSTANTIATE_TEST_SUITE_P(Fields, InvoiceAmount,
    testing::Values(AmountField{"quantity", true, true}, AmountField{"priceEach", true, true},
        AmountField{"lineTotal", true, true}, AmountField{"actualAmount", true},
        AmountField{"otherChargesAmount", false}, AmountField{"totalDiscountAmount", false},
        AmountField{"totalAmount", true}, AmountField{"vatPercent", true}, AmountField{"vatAmount", true}),
    [](const auto& test) { return std::string(test.param.key); });

// The order in which an invoice is read: of two bad fields, the earlier is told.

struct Step {
    const char* key;
    const char* sentence;
    bool ofItem = false;
};

constexpr auto badField = "Invalid invoice field: ";
constexpr auto badAmount = "Invalid invoice amount: ";

constexpr std::array steps{Step{"currencyCode", badField}, Step{"brandName", badField}, Step{"branchName", badField},
    Step{"branchTrn", badField}, Step{"branchAddress", badField}, Step{"saleDateLabel", badField},
    Step{"saleTimeLabel", badField}, Step{"saleId", badField}, Step{"customerName", badField},
    Step{"customerTrn", badField}, Step{"customerPhone", badField}, Step{"title", badField, true},
    Step{"quantity", badAmount, true}, Step{"meta", badField, true}, Step{"priceEach", badAmount, true},
    Step{"lineTotal", badAmount, true}, Step{"actualAmount", badAmount}, Step{"otherChargesAmount", badAmount},
    Step{"totalDiscountAmount", badAmount}, Step{"totalAmount", badAmount}, Step{"vatPercent", badAmount},
    Step{"vatAmount", badAmount}, Step{"vatMode", badField}, Step{"paymentModeLabel", badField},
    Step{"storePhone", badField}, Step{"storeEmail", badField}, Step{"storeWebsite", badField}};

TEST(InvoiceOrder, OfTwoBadFieldsTheEarlierIsTold)
{
    for (std::size_t first = 0; first < steps.size(); ++first) {
        for (std::size_t second = first; second < steps.size(); ++second) {
            Members badItem = item;
            Members bad = invoice.with("vatPercent", "5").with("vatAmount", "1").with("vatMode", "\"inclusive\"");
            for (const Step& step : {steps[second], steps[first]}) {
                Members& members = step.ofItem ? badItem : bad;
                members = members.with(step.key, "[]");
            }
            const QString expected =
                QString::fromLatin1(steps[first].sentence) + QLatin1String(steps[first].key) + u'.';
            EXPECT_EQ(invoiceFailure(bad.with("lineItems", '[' + badItem.json() + ']')), expected) << steps[second].key;
        }
    }
}

} // namespace
} // namespace harrowmint::test
