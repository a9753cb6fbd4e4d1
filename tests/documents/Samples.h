#pragma once

#include "base/JSONDocument.h"
#include "base/PrinterError.h"

#include <QByteArray>
#include <QString>
#include <initializer_list>
#include <utility>
#include <vector>

namespace harrowmint::test {

/// A JSON object under construction, so that tests can change one member of a valid one. Values are raw JSON.
class Members {
public:
    Members(std::initializer_list<std::pair<QByteArray, QByteArray>> members)
        : m_members(members)
    {
    }

    /// A copy in which `key` holds `json`, in its old place, or at the end when it is new.
    [[nodiscard]] Members with(const QByteArray& key, const QByteArray& json) const
    {
        Members copy = *this;
        for (auto& [name, value] : copy.m_members) {
            if (name == key) {
                value = json;
                return copy;
            }
        }
        copy.m_members.emplace_back(key, json);
        return copy;
    }
    /// A copy without `key`.
    [[nodiscard]] Members without(const QByteArray& key) const
    {
        Members copy = *this;
        std::erase_if(copy.m_members, [&](const auto& member) { return member.first == key; });
        return copy;
    }
    [[nodiscard]] QByteArray json() const
    {
        QByteArray text;
        for (const auto& [key, value] : m_members)
            text += (text.isEmpty() ? "\"" : ",\"") + key + "\":" + value;
        return '{' + text + '}';
    }

private:
    std::vector<std::pair<QByteArray, QByteArray>> m_members;
};

/// `text` as a JSON string with every UTF-16 unit escaped.
[[nodiscard]] inline QByteArray escaped(const QString& text)
{
    QByteArray json("\"");
    for (const QChar c : text)
        json += "\\u" + QByteArray::number(c.unicode(), 16).rightJustified(4, '0');
    return json + '"';
}

/// `text` as a JSON string in plain UTF-8; it must need no escapes.
[[nodiscard]] inline QByteArray quoted(const QString& text)
{
    return '"' + text.toUtf8() + '"';
}

/// Decodes the one JSON value `json` of any kind by `Document::decode`.
template <class Document>
[[nodiscard]] Document decoded(const QByteArray& json)
{
    const JSONDocument document('[' + json + ']');
    return Document::decode(document.root().array()->front());
}

/// The sentence that `operation` fails with.
template <class Operation>
[[nodiscard]] QString failureOf(Operation&& operation)
{
    try {
        operation();
    } catch (const PrinterError& error) {
        return error.message();
    }
    return QStringLiteral("(no failure)");
}

} // namespace harrowmint::test
