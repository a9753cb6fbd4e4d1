#include "documents/InvoiceFields.h"

#include "base/PrinterError.h"
#include "base/Text.h"
#include "documents/NumberText.h"

#include <cmath>

namespace harrowmint {

namespace {

constexpr QStringView invalidField = u"Invalid invoice field: ";
constexpr QStringView fieldTooLong = u"Invoice field is too long: ";
constexpr QStringView missingAmount = u"Missing invoice amount: ";
constexpr QStringView invalidAmount = u"Invalid invoice amount: ";

constexpr double maximumAmount = 1e9;

[[noreturn]] void fail(QStringView sentence, std::string_view key)
{
    const QString name = QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
    throw PrinterError(sentence.toString() + name + QLatin1Char('.'));
}

} // namespace

QString InvoiceFields::text(std::string_view key, qsizetype limit, LineBreaks lineBreaks) const
{
    const std::optional<JSONValue> value = m_object.value(key);
    if (!value || value->isNull())
        return {};
    std::optional<QString> text = value->string();
    if (!text)
        text = value->numberText();
    if (!text)
        fail(invalidField, key);
    const bool keepsWordsApart = lineBreaks == LineBreaks::BecomeSpaces;
    if (keepsWordsApart ? scalarCount(*text) > limit : hasMoreCharactersThan(*text, limit))
        fail(fieldTooLong, key);
    return keepsWordsApart ? withControlsAsSpaces(*text) : withoutControls(*text);
}

double InvoiceFields::requiredAmount(std::string_view key) const
{
    const std::optional<double> value = amount(key);
    if (!value)
        fail(missingAmount, key);
    return *value;
}

double InvoiceFields::optionalAmount(std::string_view key) const
{
    return amount(key).value_or(0);
}

std::optional<double> InvoiceFields::amount(std::string_view key) const
{
    const std::optional<JSONValue> value = m_object.value(key);
    if (!value || value->isNull())
        return std::nullopt;
    const auto text = value->utf8();
    const std::optional<double> number = text ? decimalValue(*text) : value->number();
    if (!number || !std::isfinite(*number) || *number < 0 || *number > maximumAmount)
        fail(invalidAmount, key);
    // A negative zero is no negative number, but would print its sign.
    return std::abs(*number);
}

} // namespace harrowmint
