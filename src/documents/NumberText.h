#pragma once

#include <QByteArrayView>
#include <QString>
#include <optional>
#include <string_view>

namespace harrowmint {

/// `value` as C's "%.<decimals>f" writes it in the "C" locale, whatever locale the process has. Ties go to the even
/// digit. `value` is finite; `decimals` is at most 17.
[[nodiscard]] QString fixedText(double value, int decimals);
/// `value` as C's "%g" writes it in the "C" locale, whatever locale the process has.
[[nodiscard]] QString generalText(double value);
/// printf's output `text` with the locale's decimal point, of any number of bytes, replaced by ".".
[[nodiscard]] QString withPoint(QByteArrayView text);

/// The value of a text that is one decimal number and nothing else: optional sign, digits with an optional ".",
/// optional exponent. No blanks, hexadecimal, "nan" or "inf". Beyond a double's range: infinity, or nought.
[[nodiscard]] std::optional<double> decimalValue(std::string_view text);

} // namespace harrowmint
