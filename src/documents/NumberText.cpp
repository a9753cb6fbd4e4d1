#include "documents/NumberText.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace harrowmint {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool skipAnyOf(std::string_view& text, char first, char second)
{
    const bool found = text.starts_with(first) || text.starts_with(second);
    text.remove_prefix(found ? 1 : 0);
    return found;
}

bool skipDigits(std::string_view& text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    text.remove_prefix(count);
    return count > 0;
}

bool isDecimal(std::string_view text)
{
    skipAnyOf(text, '+', '-');
    bool hasDigits = skipDigits(text);
    if (skipAnyOf(text, '.', '.'))
        hasDigits = skipDigits(text) || hasDigits;
    if (skipAnyOf(text, 'e', 'E')) {
        skipAnyOf(text, '+', '-');
        hasDigits = skipDigits(text) && hasDigits;
    }
    return hasDigits && text.empty();
}

/// printf rounds as the printed formats ask, which Qt's conversions do not (0.125 is "0.12", not "0.13").
template <class... Arguments>
QString printed(const char* format, Arguments... arguments)
{
    // The largest finite double has 309 digits before its point.
    std::array<char, 352> buffer{};
    const int length = std::snprintf(buffer.data(), buffer.size(), format, arguments...);
    Q_ASSERT(length > 0 && static_cast<std::size_t>(length) < buffer.size());
    return withPoint(QByteArrayView(buffer.data(), length));
}

} // namespace

QString fixedText(double value, int decimals)
{
    return printed("%.*f", decimals, value);
}

QString generalText(double value)
{
    return printed("%g", value);
}

QString withPoint(QByteArrayView text)
{
    const auto isPlain = [](char c) { return isDigit(c) || c == '-' || c == '+' || c == 'e'; };
    const auto* const point = std::find_if_not(text.begin(), text.end(), isPlain);
    const auto* const rest = std::find_if(point, text.end(), isPlain);
    QString result = QString::fromLatin1(text.first(point - text.begin()));
    if (point != text.end())
        result += QLatin1Char('.') + QString::fromLatin1(text.sliced(rest - text.begin()));
    return result;
}

std::optional<double> decimalValue(std::string_view text)
{
    if (!isDecimal(text))
        return std::nullopt;
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size())).toDouble();
}

} // namespace harrowmint
