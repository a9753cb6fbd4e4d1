#include "base/CanonicalJSON.h"

#include <QLocale>
#include <algorithm>
#include <cmath>

namespace harrowmint {

namespace {

/// ECMAScript writes decimal notation for values from 1e-6 up to, not including, 1e21.
constexpr int largestPlainExponent = 21;
constexpr int smallestPlainExponent = -6;

/// A number's shortest digits and the place of its decimal point: 0.digits × 10^point.
struct Digits {
    QByteArray digits;
    int point;
};

Digits shortestDigits(double magnitude)
{
    const QByteArray scientific = QByteArray::number(magnitude, 'e', QLocale::FloatingPointShortest);
    const qsizetype exponentAt = scientific.indexOf('e');
    QByteArray digits = scientific.left(exponentAt);
    digits.replace(".", "");
    while (digits.size() > 1 && digits.endsWith('0'))
        digits.chop(1);
    return {digits, scientific.mid(exponentAt + 1).toInt() + 1};
}

QByteArray exponentForm(const Digits& number)
{
    QByteArray text = number.digits.left(1);
    if (number.digits.size() > 1)
        text += '.' + number.digits.mid(1);
    const int exponent = number.point - 1;
    return text + 'e' + (exponent < 0 ? '-' : '+') + QByteArray::number(std::abs(exponent));
}

QByteArray plainForm(const Digits& number)
{
    const auto length = static_cast<int>(number.digits.size());
    if (number.point <= 0)
        return "0." + QByteArray(-number.point, '0') + number.digits;
    if (number.point >= length)
        return number.digits + QByteArray(number.point - length, '0');
    return number.digits.left(number.point) + '.' + number.digits.mid(number.point);
}

bool mustBeEscaped(char c)
{
    constexpr unsigned char firstPrintable = 0x20;
    return static_cast<unsigned char>(c) < firstPrintable || c == '"' || c == '\\';
}

void appendEscaped(QByteArray& output, char c)
{
    static constexpr char hexDigits[] = "0123456789abcdef";
    switch (c) {
    case '"':
        output += "\\\"";
        return;
    case '\\':
        output += "\\\\";
        return;
    case '\b':
        output += "\\b";
        return;
    case '\f':
        output += "\\f";
        return;
    case '\n':
        output += "\\n";
        return;
    case '\r':
        output += "\\r";
        return;
    case '\t':
        output += "\\t";
        return;
    default:
        output += "\\u00";
        output += hexDigits[(static_cast<unsigned char>(c) >> 4) & 0xf];
        output += hexDigits[static_cast<unsigned char>(c) & 0xf];
    }
}

void appendArray(QByteArray& output, const std::vector<JSONValue>& entries)
{
    output += '[';
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i > 0)
            output += ',';
        appendCanonical(output, entries[i]);
    }
    output += ']';
}

void appendObject(QByteArray& output, const JSONObject& object)
{
    output += '{';
    bool first = true;
    for (const JSONObject::Member& member : object) {
        if (!std::exchange(first, false))
            output += ',';
        appendJSONString(output, member.key);
        output += ':';
        appendCanonical(output, member.value);
    }
    output += '}';
}

} // namespace

QByteArray canonicalJSON(const JSONValue& value)
{
    QByteArray output;
    appendCanonical(output, value);
    return output;
}

void appendCanonical(QByteArray& output, const JSONValue& value)
{
    switch (value.kind()) {
    case JSONValue::Kind::Null:
        output += "null";
        return;
    case JSONValue::Kind::Boolean:
        output += *value.boolean() ? "true" : "false";
        return;
    case JSONValue::Kind::Integer:
    case JSONValue::Kind::UnsignedInteger:
        output += value.integerText();
        return;
    case JSONValue::Kind::Double:
        appendJSONNumber(output, *value.number());
        return;
    case JSONValue::Kind::String:
        appendJSONString(output, *value.utf8());
        return;
    case JSONValue::Kind::Array:
        appendArray(output, *value.array());
        return;
    case JSONValue::Kind::Object:
        appendObject(output, *value.object());
        return;
    }
}

void appendJSONString(QByteArray& output, std::string_view utf8)
{
    output += '"';
    while (!utf8.empty()) {
        const auto* const end = std::find_if(utf8.begin(), utf8.end(), mustBeEscaped);
        const auto plain = static_cast<std::size_t>(end - utf8.begin());
        output.append(utf8.data(), static_cast<qsizetype>(plain));
        utf8.remove_prefix(plain);
        for (; !utf8.empty() && mustBeEscaped(utf8.front()); utf8.remove_prefix(1))
            appendEscaped(output, utf8.front());
    }
    output += '"';
}

void appendJSONNumber(QByteArray& output, double number)
{
    if (number == 0) { // also -0
        output += '0';
        return;
    }
    if (number < 0)
        output += '-';
    const Digits digits = shortestDigits(std::abs(number));
    const bool plain = digits.point <= largestPlainExponent && digits.point > smallestPlainExponent;
    output += plain ? plainForm(digits) : exponentForm(digits);
}

JSONObjectWriter& JSONObjectWriter::text(const QString& key, const QString& value)
{
    QByteArray json;
    const QByteArray utf8 = value.toUtf8();
    appendJSONString(json, std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
    return encoded(key, std::move(json));
}

JSONObjectWriter& JSONObjectWriter::integer(const QString& key, std::int64_t value)
{
    return encoded(key, QByteArray::number(static_cast<qlonglong>(value)));
}

JSONObjectWriter& JSONObjectWriter::number(const QString& key, double value)
{
    QByteArray json;
    appendJSONNumber(json, value);
    return encoded(key, std::move(json));
}

JSONObjectWriter& JSONObjectWriter::boolean(const QString& key, bool value)
{
    return encoded(key, value ? QByteArrayLiteral("true") : QByteArrayLiteral("false"));
}

JSONObjectWriter& JSONObjectWriter::encoded(const QString& key, QByteArray json)
{
    m_members.insert_or_assign(key, std::move(json));
    return *this;
}

QByteArray JSONObjectWriter::finish() const
{
    QByteArray output("{");
    for (const auto& [key, json] : m_members) {
        if (output.size() > 1)
            output += ',';
        const QByteArray utf8 = key.toUtf8();
        appendJSONString(output, std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
        output += ':' + json;
    }
    return output + '}';
}

} // namespace harrowmint
