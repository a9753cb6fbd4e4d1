#include "documents/InvoiceLayout.h"

#include "base/PrinterError.h"
#include "documents/InvoiceFields.h"
#include "documents/NumberText.h"
#include "settings/PrinterSettings.h"

#include <algorithm>
#include <span>

namespace harrowmint {

namespace {

constexpr QStringView invalidCurrency = u"Invalid currency code.";
constexpr QStringView itemNameMissing = u"An item name is missing.";
constexpr QStringView quantityNotPositive = u"Item quantity must be positive.";
constexpr QStringView invalidVat = u"Invalid saved VAT details.";

constexpr qsizetype currencyLength = 3;
constexpr double maximumVatPercent = 100;

using LineBreaks = InvoiceFields::LineBreaks;

/// One optional text of the invoice: where it is and how it is printed.
struct TextRow {
    std::string_view key;
    qsizetype limit;
    LineBreaks lineBreaks;
    QStringView label;
    LineStyle style;
};

constexpr LineStyle centeredSmall{21, false, true, false};
constexpr LineStyle leftSmall{21, false, false, false};
constexpr LineStyle freeText{21, false, false, true};
constexpr LineStyle amountStyle{23, false, false, false};

constexpr TextRow headRows[] = {
    {"branchName", 200, LineBreaks::Removed, u"", centeredSmall},
    {"branchTrn", 64, LineBreaks::Removed, u"TRN: ", centeredSmall},
    {"branchAddress", 2000, LineBreaks::BecomeSpaces, u"", {21, false, true, true}},
    {"saleDateLabel", 160, LineBreaks::Removed, u"", centeredSmall},
    {"saleTimeLabel", 160, LineBreaks::Removed, u"", centeredSmall},
    {"saleId", 48, LineBreaks::Removed, u"Receipt #", {23, true, true, false}},
    {"customerName", 255, LineBreaks::BecomeSpaces, u"Customer Name: ", freeText},
    {"customerTrn", 30, LineBreaks::BecomeSpaces, u"Customer TRN: ", freeText},
    {"customerPhone", 50, LineBreaks::BecomeSpaces, u"Phone No: ", freeText},
};

constexpr TextRow paymentRow[] = {
    {"paymentModeLabel", 160, LineBreaks::Removed, u"Payment: ", leftSmall},
};

constexpr TextRow storeRows[] = {
    {"storePhone", 100, LineBreaks::BecomeSpaces, u"Phone: ", freeText},
    {"storeEmail", 254, LineBreaks::BecomeSpaces, u"Email: ", freeText},
};

/// Appends the lines of one invoice, section by section, in the order in which they are printed.
class Writer {
public:
    Writer(const JSONObject& invoice, const QString& currency)
        : m_fields(invoice)
        , m_currency(currencyOf(m_fields, currency))
    {
    }

    void writeHead();
    void writeItem(const InvoiceFields& item);
    void writeTotals();
    void writeFoot();
    void writeRule() { write(ruleStyle, ruleText()); }
    InvoiceLayout finish() { return std::move(m_layout); }

private:
    static QString currencyOf(const InvoiceFields& fields, const QString& fallback);
    void write(const LineStyle& style, QString text) { m_layout.lines.push_back(style.line(std::move(text))); }
    void writeRows(std::span<const TextRow> rows);
    void writeWhenPositive(const QString& label, double amount);
    void writeVat(double total);
    [[nodiscard]] QString money(double amount) const { return m_currency + QLatin1Char(' ') + fixedText(amount, 2); }

    InvoiceFields m_fields;
    QString m_currency;
    InvoiceLayout m_layout;
};

QString Writer::currencyOf(const InvoiceFields& fields, const QString& fallback)
{
    const QString own = fields.text("currencyCode", currencyLength);
    const QString& code = own.isEmpty() ? fallback : own;
    const auto isCapital = [](QChar c) { return c >= u'A' && c <= u'Z'; };
    if (code.size() != currencyLength || !std::all_of(code.begin(), code.end(), isCapital))
        throw PrinterError(invalidCurrency.toString());
    return code;
}

void Writer::writeRows(std::span<const TextRow> rows)
{
    for (const TextRow& row : rows) {
        const QString value = m_fields.text(row.key, row.limit, row.lineBreaks);
        if (!value.isEmpty())
            write(row.style, row.label.toString() + value);
    }
}

void Writer::writeHead()
{
    const QString brand = m_fields.text("brandName", 160);
    write({32, true, true, false}, brand.isEmpty() ? QStringLiteral("RECEIPT") : brand);
    writeRows(headRows);
}

void Writer::writeItem(const InvoiceFields& item)
{
    const QString title = item.text("title", 240);
    if (title.isEmpty())
        throw PrinterError(itemNameMissing.toString());
    const double quantity = item.requiredAmount("quantity");
    if (quantity == 0)
        throw PrinterError(quantityNotPositive.toString());
    write({23, true, false, true}, title);
    const QString meta = item.text("meta", 160);
    if (!meta.isEmpty())
        write({19, false, false, false}, meta);
    const double priceEach = item.requiredAmount("priceEach");
    const double lineTotal = item.requiredAmount("lineTotal");
    write(leftSmall,
        generalText(quantity) + QStringLiteral(" × ") + money(priceEach) + QStringLiteral("   = ") + money(lineTotal));
}

void Writer::writeTotals()
{
    write(amountStyle, QStringLiteral("Subtotal: ") + money(m_fields.requiredAmount("actualAmount")));
    writeWhenPositive(QStringLiteral("Other charges: "), m_fields.optionalAmount("otherChargesAmount"));
    writeWhenPositive(QStringLiteral("Discount: \u2212"), m_fields.optionalAmount("totalDiscountAmount"));
    const double total = m_fields.requiredAmount("totalAmount");
    writeVat(total);
    write({29, true, false, false}, QStringLiteral("TOTAL  ") + money(total));
}

void Writer::writeWhenPositive(const QString& label, double amount)
{
    if (amount > 0)
        write(amountStyle, label + money(amount));
}

QString percentText(double percent)
{
    QString text = fixedText(percent, 4);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

void Writer::writeVat(double total)
{
    if (!m_fields.contains("vatPercent") && !m_fields.contains("vatMode") && !m_fields.contains("vatAmount"))
        return;
    const double percent = m_fields.requiredAmount("vatPercent");
    const double amount = m_fields.requiredAmount("vatAmount");
    const QString mode = m_fields.text("vatMode", 10);
    const bool isAdded = mode == u"exclusive";
    if (percent > maximumVatPercent || amount > total || (!isAdded && mode != u"inclusive"))
        throw PrinterError(invalidVat.toString());
    const QString word = isAdded ? QStringLiteral("added") : QStringLiteral("included");
    write(amountStyle, QStringLiteral("VAT %1% (%2): ").arg(percentText(percent), word) + money(amount));
}

void Writer::writeFoot()
{
    writeRows(paymentRow);
    write({23, false, true, false}, QStringLiteral("Thank you!"));
    writeRows(storeRows);
    const QString website = m_fields.text("storeWebsite", 300);
    if (website.isEmpty())
        return;
    m_layout.website = PrinterSettings::origin(website) + QLatin1Char('/');
    write({19, false, true, true}, m_layout.website);
}

} // namespace

InvoiceLayout layOutInvoice(const JSONObject& invoice, const std::vector<JSONObject>& items, const QString& currency)
{
    Writer writer(invoice, currency);
    writer.writeHead();
    writer.writeRule();
    for (const JSONObject& item : items)
        writer.writeItem(InvoiceFields(item));
    writer.writeRule();
    writer.writeTotals();
    writer.writeFoot();
    return writer.finish();
}

} // namespace harrowmint
