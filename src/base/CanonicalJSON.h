#pragma once

#include "base/JSONDocument.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <map>
#include <string_view>

namespace harrowmint {

/// `value` in canonical form (RFC 8785, JCS): keys sorted by UTF-16 code units, no white space, numbers as ECMAScript
/// writes them, save that integers of 64 bits are written exactly.
[[nodiscard]] QByteArray canonicalJSON(const JSONValue& value);
/// Appends `canonicalJSON(value)` to `output`.
void appendCanonical(QByteArray& output, const JSONValue& value);

/// Appends a string literal with the escapes of RFC 8785. `utf8` must be valid UTF-8.
void appendJSONString(QByteArray& output, std::string_view utf8);
/// Appends a finite number as ECMAScript's Number::toString writes it: the shortest digits that read back the same.
void appendJSONNumber(QByteArray& output, double number);

/// Collects the members of one JSON object that the agent writes itself, and writes them in canonical order.
/// Values are given encoded or through the typed operations; a key given twice keeps its last value.
class JSONObjectWriter {
public:
    JSONObjectWriter& text(const QString& key, const QString& value);
    JSONObjectWriter& integer(const QString& key, std::int64_t value);
    JSONObjectWriter& number(const QString& key, double value);
    JSONObjectWriter& boolean(const QString& key, bool value);
    /// `json` is a complete encoded value.
    JSONObjectWriter& encoded(const QString& key, QByteArray json);

    /// The object, without white space.
    [[nodiscard]] QByteArray finish() const;

private:
    std::map<QString, QByteArray> m_members;
};

/// The encoded array of already encoded `entries`.
template <class Entries>
[[nodiscard]] QByteArray jsonArray(const Entries& entries)
{
    QByteArray result("[");
    for (const QByteArray& entry : entries) {
        if (result.size() > 1)
            result += ',';
        result += entry;
    }
    return result + ']';
}

} // namespace harrowmint
