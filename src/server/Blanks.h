#pragma once

#include <QStringView>

namespace harrowmint {

/// `text` without the spaces and tabs (HTTP's optional white space) at either end.
[[nodiscard]] inline QStringView withoutBlanks(QStringView text)
{
    const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

} // namespace harrowmint
