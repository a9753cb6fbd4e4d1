#include "base/Text.h"

#include <QChar>
#include <algorithm>
#include <bitset>

namespace harrowmint {

namespace {

template <class Keep>
QString rebuilt(QStringView text, Keep&& keep)
{
    QString result;
    result.reserve(text.size());
    while (!text.isEmpty())
        keep(takeScalar(text), result);
    return trimmed(result);
}

void append(QString& text, char32_t scalar)
{
    text.append(QChar::fromUcs4(scalar));
}

/// One bit for each code unit: whether it is a control scalar, or half of a scalar that may be one. Looking every
/// character of every text up in the full tables would be most of the work of reading a request.
const std::bitset<0x10000>& suspectUnits()
{
    static const std::bitset<0x10000> units = [] {
        std::bitset<0x10000> suspects;
        for (char32_t unit = 0; unit < suspects.size(); ++unit)
            suspects[unit] = isControl(unit) || QChar::isSurrogate(unit);
        return suspects;
    }();
    return units;
}

bool hasControls(QStringView text)
{
    const auto isSuspect = [&suspects = suspectUnits()](QChar c) { return suspects[c.unicode()]; };
    while (true) {
        text = text.sliced(std::find_if(text.begin(), text.end(), isSuspect) - text.begin());
        if (text.isEmpty())
            return false;
        if (isControl(takeScalar(text)))
            return true;
    }
}

} // namespace

char32_t takeScalar(QStringView& text)
{
    const bool isPair = text.size() > 1 && text[0].isHighSurrogate() && text[1].isLowSurrogate();
    const char32_t scalar = isPair ? QChar::surrogateToUcs4(text[0], text[1]) : text[0].unicode();
    text = text.sliced(isPair ? 2 : 1);
    return scalar;
}

bool isControl(char32_t scalar)
{
    const auto category = QChar::category(scalar);
    return category == QChar::Other_Control || category == QChar::Other_Format;
}

bool isNewline(char32_t scalar)
{
    return (scalar >= 0x0a && scalar <= 0x0d) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isWhitespaceOrNewline(char32_t scalar)
{
    return scalar == U'\t' || isNewline(scalar) || QChar::category(scalar) == QChar::Separator_Space;
}

qsizetype scalarCount(QStringView text)
{
    qsizetype count = 0;
    for (; !text.isEmpty(); ++count)
        takeScalar(text);
    return count;
}

QString trimmed(QStringView text)
{
    // No white space or newline lies outside the basic plane, so code units serve.
    const auto isBlank = [](QChar c) { return isWhitespaceOrNewline(c.unicode()); };
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text.toString();
}

QString withoutControls(QStringView text)
{
    if (!hasControls(text))
        return trimmed(text);
    return rebuilt(text, [](char32_t scalar, QString& result) {
        if (!isControl(scalar))
            append(result, scalar);
    });
}

QString withControlsAsSpaces(QStringView text)
{
    if (!hasControls(text))
        return trimmed(text);
    return rebuilt(text, [](char32_t scalar, QString& result) {
        if (!isControl(scalar))
            append(result, scalar);
        else if (isWhitespaceOrNewline(scalar))
            result.append(QLatin1Char(' '));
    });
}

bool isUuid(QStringView text)
{
    constexpr qsizetype length = 36;
    if (text.size() != length)
        return false;
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t c = text[i].unicode();
        const bool isHyphenPlace = i == 8 || i == 13 || i == 18 || i == 23;
        const bool isHex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (isHyphenPlace ? c != u'-' : !isHex)
            return false;
    }
    return true;
}

} // namespace harrowmint
