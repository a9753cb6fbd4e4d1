#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace harrowmint {

class JSONObject;

/// One value of a JSONDocument: a light view that is copied freely and must not outlive its document.
class JSONValue {
public:
    enum class Kind { Null, Boolean, Integer, UnsignedInteger, Double, String, Array, Object };

    [[nodiscard]] Kind kind() const;
    [[nodiscard]] bool isNull() const { return kind() == Kind::Null; }
    /// A number of any form; never a boolean.
    [[nodiscard]] bool isNumber() const;
    /// The value of a boolean; nothing for any other kind.
    [[nodiscard]] std::optional<bool> boolean() const;
    /// The value of a number as a double; nothing for any other kind.
    [[nodiscard]] std::optional<double> number() const;
    /// The value of a number that is a whole one within [minimum, maximum], however it is written (16, 16.0, 1.6e1).
    [[nodiscard]] std::optional<int> integer(int minimum, int maximum) const;
    /// A number's shortest exact decimal text (1024, 12.5, 100000); nothing for any other kind.
    [[nodiscard]] std::optional<QString> numberText() const;
    /// An integer's exact decimal digits; empty for any other kind.
    [[nodiscard]] QByteArray integerText() const;
    /// The text of a string; nothing for any other kind.
    [[nodiscard]] std::optional<QString> string() const;
    /// The text of a string in UTF-8, as a view into the document; nothing for any other kind.
    [[nodiscard]] std::optional<std::string_view> utf8() const;
    /// Whether this is a string equal to `text` (UTF-8).
    [[nodiscard]] bool isString(std::string_view text) const { return utf8() == text; }
    /// The entries of an array, in order; nothing for any other kind.
    [[nodiscard]] std::optional<std::vector<JSONValue>> array() const;
    /// The members of an object; nothing for any other kind.
    [[nodiscard]] std::optional<JSONObject> object() const;

private:
    friend class JSONDocument;
    friend struct JSONAccess;
    JSONValue() = default;

    // The parser's own handle, kept out of this header.
    alignas(void*) std::byte m_element[2 * sizeof(void*)];
};

/// The members of one JSON object, read once: each key once (the last duplicate wins), in the order of RFC 8785
/// (ascending UTF-16 code units). A view; must not outlive its document.
class JSONObject {
public:
    struct Member {
        std::string_view key; ///< UTF-8, escapes resolved
        JSONValue value;
    };

    /// The member's value, also when it is null; nothing when the key is missing.
    [[nodiscard]] std::optional<JSONValue> value(std::string_view key) const;
    [[nodiscard]] bool contains(std::string_view key) const { return value(key).has_value(); }
    [[nodiscard]] std::size_t size() const { return m_members.size(); }
    [[nodiscard]] auto begin() const { return m_members.begin(); }
    [[nodiscard]] auto end() const { return m_members.end(); }

private:
    friend class JSONValue;
    std::vector<Member> m_members;
};

/// A parsed JSON text (RFC 8259, read strictly). Owns what its values look at; any one thread.
class JSONDocument {
public:
    /// Nesting deeper than this is not JSON here, so that no reader needs more than a small stack.
    static constexpr std::size_t maximumDepth = 64;

    /// Throws PrinterError with the parser's own sentence when `text` is not one JSON object or array.
    explicit JSONDocument(const QByteArray& text);
    JSONDocument(const JSONDocument&) = delete;
    JSONDocument& operator=(const JSONDocument&) = delete;
    ~JSONDocument();

    /// The top-level object or array.
    [[nodiscard]] JSONValue root() const { return m_root; }

private:
    struct Parser;
    std::unique_ptr<Parser> m_parser;
    JSONValue m_root;
};

} // namespace harrowmint
