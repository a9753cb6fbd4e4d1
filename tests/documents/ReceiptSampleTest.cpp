#include "documents/Invoices.h"
#include "support/Files.h"

namespace harrowmint::test {
namespace {

TEST(ReceiptSample, InvoiceOfTenItemsInFull)
{
    const std::vector<ReceiptLine> expected{{QStringLiteral("Corner Café مقهى الزاوية"), 32, true, true, false},
        {QStringLiteral("Deira branch – فرع ديرة"), 21, false, true, false},
        {QStringLiteral("TRN: 100200300400003"), 21, false, true, false},
        {QStringLiteral("Shop 12, Al Rigga Road, Deira, Dubai, United Arab Emirates محل ١٢، شارع الرقة، ديرة، دبي"), 21,
            false, true, true},
        {QStringLiteral("20 November 2025"), 21, false, true, false}, {QStringLiteral("15:42"), 21, false, true, false},
        {QStringLiteral("Receipt #A-000123"), 23, true, true, false},
        {QStringLiteral("Customer Name: محمد عبد الله Al Farsi"), 21, false, false, true},
        {QStringLiteral("Phone No: +971 50 123 4567"), 21, false, false, true}, {ruleText(), 19, false, false, false},
        {QStringLiteral("Karak tea 250 ml"), 23, true, false, true},
        {QStringLiteral("Hot, less sugar"), 19, false, false, false},
        {QStringLiteral("1 × AED 3.25   = AED 3.25"), 21, false, false, false},
        {QStringLiteral("شاي كرك كبير"), 23, true, false, true},
        {QStringLiteral("2 × AED 4.75   = AED 9.50"), 21, false, false, false},
        {QStringLiteral("Chicken shawarma شاورما دجاج"), 23, true, false, true},
        {QStringLiteral("بدون بصل"), 19, false, false, false},
        {QStringLiteral("3 × AED 6.25   = AED 18.75"), 21, false, false, false},
        {QStringLiteral("Fresh orange juice with ginger, mint and a long name that needs two lines on paper"), 23, true,
            false, true},
        {QStringLiteral("500 ml"), 19, false, false, false},
        {QStringLiteral("1 × AED 7.75   = AED 7.75"), 21, false, false, false},
        {QStringLiteral("خبز تنور طازج مع زعتر وجبنة بيضاء وزيت زيتون بلدي (قطعتان)"), 23, true, false, true},
        {QStringLiteral("Branch special"), 19, false, false, false},
        {QStringLiteral("2 × AED 9.25   = AED 18.50"), 21, false, false, false},
        {QStringLiteral("Dates تمر خلاص 1kg (درجة أولى)"), 23, true, false, true},
        {QStringLiteral("3 × AED 10.75   = AED 32.25"), 21, false, false, false},
        {QStringLiteral("Espresso"), 23, true, false, true}, {QStringLiteral("Single origin"), 19, false, false, false},
        {QStringLiteral("1 × AED 12.25   = AED 12.25"), 21, false, false, false},
        {QStringLiteral("مياه معدنية 1.5 لتر × 6"), 23, true, false, true},
        {QStringLiteral("2 × AED 3.25   = AED 6.50"), 21, false, false, false},
        {QStringLiteral("Paper napkins 200 pcs"), 23, true, false, true},
        {QStringLiteral("3 × AED 4.75   = AED 14.25"), 21, false, false, false},
        {QStringLiteral("Crème brûlée – größe L"), 23, true, false, true},
        {QStringLiteral("Añejo"), 19, false, false, false},
        {QStringLiteral("1 × AED 6.25   = AED 6.25"), 21, false, false, false}, {ruleText(), 19, false, false, false},
        {QStringLiteral("Subtotal: AED 129.25"), 23, false, false, false},
        {QStringLiteral("Discount: −AED 2.50"), 23, false, false, false},
        {QStringLiteral("VAT 5% (included): AED 6.15"), 23, false, false, false},
        {QStringLiteral("TOTAL  AED 126.75"), 29, true, false, false},
        {QStringLiteral("Payment: Card بطاقة"), 21, false, false, false},
        {QStringLiteral("Thank you!"), 23, false, true, false},
        {QStringLiteral("Phone: +971 4 123 4567"), 21, false, false, true},
        {QStringLiteral("Email: hello@shop.example"), 21, false, false, true},
        {QStringLiteral("https://shop.example.com/"), 19, false, true, true}};
    const Receipt decoded = receipt(sample(QStringLiteral("invoice-10.json")));
    ASSERT_EQ(decoded.lines.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(decoded.lines[i].text, expected[i].text);
        EXPECT_EQ(decoded.lines[i], expected[i]) << "line " << i;
    }
    EXPECT_EQ(decoded.website, QStringLiteral("https://shop.example.com/"));
    EXPECT_EQ(decoded.printRequestId, QStringLiteral("0f8fad5b-d9cb-469f-a165-70867728950e"));
    // Computed with Python: hashlib over json.dumps(…, sort_keys=True, separators=(",", ":"), ensure_ascii=False).
    EXPECT_EQ(decoded.fingerprint, QStringLiteral("b2740b21fdfbdd392dc2b3a9ad0524276cce326ded6598d9070f4212337cb060"));
}

TEST(ReceiptSample, InvoiceOfSixtyItems)
{
    EXPECT_GT(receipt(sample(QStringLiteral("invoice-60.json"))).lines.size(), 120U + 8);
}

TEST(ReceiptSample, ReceiptDocument)
{
    const Receipt decoded = receipt(sample(QStringLiteral("receipt-document.json")));
    ASSERT_TRUE(decoded.document.has_value());
    EXPECT_EQ(decoded.document->blocks.front().width, 256);
    EXPECT_EQ(decoded.fingerprint, decoded.document->fingerprint());
}

TEST(ReceiptSample, Label)
{
    const Receipt decoded = receipt(sample(QStringLiteral("label.json")));
    ASSERT_TRUE(decoded.labelDocument.has_value());
    const LabelDocument& label = *decoded.labelDocument;
    EXPECT_EQ(label.bytes().size(), 10 + label.width / 8 * label.height);
}

} // namespace
} // namespace harrowmint::test
