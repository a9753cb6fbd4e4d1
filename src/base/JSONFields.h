#pragma once

#include "base/JSONDocument.h"
#include "base/PrinterError.h"

#include <QString>
#include <optional>

namespace harrowmint {

/// The member `key` of one of the agent's own files, as `read` (JSONValue → optional) gives it. Throws PrinterError,
/// naming the key, when it is missing or `read` gives nothing.
template <class Read>
[[nodiscard]] auto requiredField(const JSONObject& object, const char* key, Read read)
{
    const std::optional<JSONValue> value = object.value(key);
    auto result = value ? read(*value) : std::nullopt;
    if (!result)
        throw PrinterError(
            QStringLiteral("The value of \"%1\" is missing or of another type.").arg(QLatin1String(key)));
    return *std::move(result);
}

/// The member `key` as `requiredField` reads it; nothing when it is missing or null.
template <class Read>
[[nodiscard]] auto optionalField(const JSONObject& object, const char* key, Read read)
    -> decltype(read(std::declval<JSONValue>()))
{
    const std::optional<JSONValue> value = object.value(key);
    if (!value || value->isNull())
        return std::nullopt;
    return requiredField(object, key, read);
}

} // namespace harrowmint
