#pragma once

#include <QString>
#include <QStringView>

namespace harrowmint {

/// Whether `scalar` is a control scalar: general category Cc or Cf.
[[nodiscard]] bool isControl(char32_t scalar);
/// Whether `scalar` breaks a line: U+000A to U+000D, U+0085, U+2028 or U+2029.
[[nodiscard]] bool isNewline(char32_t scalar);
/// Whether `scalar` is white space or a newline: general category Zs, tab, or `isNewline`.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t scalar);

/// Takes the first scalar off `text`, which is not empty; an unpaired surrogate is taken as it is.
char32_t takeScalar(QStringView& text);
/// The number of Unicode scalars (code points; an unpaired surrogate counts as one).
[[nodiscard]] qsizetype scalarCount(QStringView text);
/// Whether `text` has more than `limit` characters as a person sees them (extended grapheme clusters, UAX #29).
[[nodiscard]] bool hasMoreCharactersThan(QStringView text, qsizetype limit);

/// `text` without white space and newlines at either end.
[[nodiscard]] QString trimmed(QStringView text);
/// `text` without its control scalars, then trimmed.
[[nodiscard]] QString withoutControls(QStringView text);
/// `text` with each control scalar that is white space or a newline turned into one space, the others removed, then
/// trimmed: for texts in which a line break stands between words.
[[nodiscard]] QString withControlsAsSpaces(QStringView text);

/// Whether `text` is a UUID in the 8-4-4-4-12 hexadecimal form (RFC 4122), either case, nothing around it.
[[nodiscard]] bool isUuid(QStringView text);

} // namespace harrowmint
