#include "base/JSONDocument.h"

#include "base/CanonicalJSON.h"
#include "base/PrinterError.h"

#include <QStringDecoder>
#include <algorithm>
#include <cmath>
#include <new>
#include <simdjson.h>

namespace harrowmint {

namespace dom = simdjson::dom;

/// Converts between the parser's element and the bytes that a JSONValue keeps of it.
struct JSONAccess {
    static_assert(sizeof(dom::element) <= sizeof(JSONValue::m_element) && alignof(dom::element) <= alignof(void*));
    static_assert(std::is_trivially_copyable_v<dom::element> && std::is_trivially_destructible_v<dom::element>);

    static JSONValue value(dom::element element)
    {
        JSONValue result;
        new (result.m_element) dom::element(element);
        return result;
    }

    static dom::element element(const JSONValue& value)
    {
        return *std::launder(reinterpret_cast<const dom::element*>(value.m_element));
    }
};

namespace {

/// Orders UTF-8 keys as RFC 8785 does, by UTF-16 code units: only scalars beyond U+FFFF (lead bytes F0 to F4) are
/// out of place, between U+D7FF and U+E000.
bool precedesInUtf16(std::string_view left, std::string_view right)
{
    const auto mismatch = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    if (mismatch.first == left.end() || mismatch.second == right.end())
        return mismatch.first == left.end() && mismatch.second != right.end();
    const auto l = static_cast<unsigned char>(*mismatch.first);
    const auto r = static_cast<unsigned char>(*mismatch.second);
    constexpr unsigned char firstAfterSurrogates = 0xee;
    constexpr unsigned char firstSupplementary = 0xf0;
    if (l >= firstSupplementary && r >= firstAfterSurrogates && r < firstSupplementary)
        return true;
    if (r >= firstSupplementary && l >= firstAfterSurrogates && l < firstSupplementary)
        return false;
    return l < r;
}

[[noreturn]] void fail(simdjson::error_code error)
{
    throw PrinterError(QString::fromUtf8(simdjson::error_message(error)));
}

} // namespace

JSONValue::Kind JSONValue::kind() const
{
    switch (JSONAccess::element(*this).type()) {
    case dom::element_type::ARRAY:
        return Kind::Array;
    case dom::element_type::OBJECT:
        return Kind::Object;
    case dom::element_type::INT64:
        return Kind::Integer;
    case dom::element_type::UINT64:
        return Kind::UnsignedInteger;
    case dom::element_type::DOUBLE:
        return Kind::Double;
    case dom::element_type::STRING:
        return Kind::String;
    case dom::element_type::BOOL:
        return Kind::Boolean;
    case dom::element_type::NULL_VALUE:
        break;
    }
    return Kind::Null;
}

bool JSONValue::isNumber() const
{
    const Kind k = kind();
    return k == Kind::Integer || k == Kind::UnsignedInteger || k == Kind::Double;
}

std::optional<bool> JSONValue::boolean() const
{
    bool result = false;
    if (JSONAccess::element(*this).get(result) != simdjson::SUCCESS)
        return std::nullopt;
    return result;
}

std::optional<double> JSONValue::number() const
{
    double result = 0;
    if (JSONAccess::element(*this).get(result) != simdjson::SUCCESS)
        return std::nullopt;
    return result;
}

std::optional<int> JSONValue::integer(int minimum, int maximum) const
{
    const std::optional<double> value = number();
    if (!value || !std::isfinite(*value) || std::trunc(*value) != *value || *value < minimum || *value > maximum)
        return std::nullopt;
    return static_cast<int>(*value);
}

std::optional<QString> JSONValue::numberText() const
{
    if (!isNumber())
        return std::nullopt;
    QByteArray text;
    appendCanonical(text, *this);
    return QString::fromLatin1(text);
}

QByteArray JSONValue::integerText() const
{
    const dom::element element = JSONAccess::element(*this);
    switch (element.type()) {
    case dom::element_type::INT64:
        return QByteArray::number(static_cast<qlonglong>(std::int64_t(element)));
    case dom::element_type::UINT64:
        return QByteArray::number(static_cast<qulonglong>(std::uint64_t(element)));
    default:
        return {};
    }
}

std::optional<QString> JSONValue::string() const
{
    const auto text = utf8();
    if (!text)
        return std::nullopt;
    // The toolkit takes a leading U+FEFF for a byte order mark and drops it; in a string it is a character.
    const QByteArrayView bytes(text->data(), static_cast<qsizetype>(text->size()));
    if (!text->starts_with("\xef\xbb\xbf"))
        return QString::fromUtf8(bytes);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(bytes);
}

std::optional<std::string_view> JSONValue::utf8() const
{
    std::string_view result;
    if (JSONAccess::element(*this).get(result) != simdjson::SUCCESS)
        return std::nullopt;
    return result;
}

std::optional<std::vector<JSONValue>> JSONValue::array() const
{
    dom::array entries;
    if (JSONAccess::element(*this).get(entries) != simdjson::SUCCESS)
        return std::nullopt;
    std::vector<JSONValue> result;
    for (const dom::element entry : entries)
        result.push_back(JSONAccess::value(entry));
    return result;
}

std::optional<JSONObject> JSONValue::object() const
{
    dom::object members;
    if (JSONAccess::element(*this).get(members) != simdjson::SUCCESS)
        return std::nullopt;
    JSONObject result;
    auto& list = result.m_members;
    for (const auto member : members)
        list.push_back({member.key, JSONAccess::value(member.value)});
    const auto byKey = [](const JSONObject::Member& l, const JSONObject::Member& r) {
        return precedesInUtf16(l.key, r.key);
    };
    std::stable_sort(list.begin(), list.end(), byKey);
    // Of equal keys, which stand in their order of appearance, the last stays.
    const auto sameKey = [](const JSONObject::Member& l, const JSONObject::Member& r) { return l.key == r.key; };
    list.erase(list.begin(), std::unique(list.rbegin(), list.rend(), sameKey).base());
    return result;
}

std::optional<JSONValue> JSONObject::value(std::string_view key) const
{
    const auto found = std::lower_bound(m_members.begin(), m_members.end(), key,
        [](const Member& member, std::string_view k) { return precedesInUtf16(member.key, k); });
    if (found == m_members.end() || found->key != key)
        return std::nullopt;
    return found->value;
}

struct JSONDocument::Parser {
    dom::parser parser;
};

JSONDocument::JSONDocument(const QByteArray& text)
    : m_parser(std::make_unique<Parser>())
{
    if (text.startsWith("\xef\xbb\xbf")) // versions of the parser differ on a byte order mark
        fail(simdjson::TAPE_ERROR);
    const auto length = static_cast<std::size_t>(text.size());
    if (const auto error = m_parser->parser.allocate(std::max<std::size_t>(length, 1), maximumDepth))
        fail(error);
    dom::element root;
    if (const auto error = m_parser->parser.parse(text.constData(), length).get(root))
        fail(error);
    if (!root.is_object() && !root.is_array())
        fail(simdjson::INCORRECT_TYPE);
    m_root = JSONAccess::value(root);
}

JSONDocument::~JSONDocument() = default;

} // namespace harrowmint
