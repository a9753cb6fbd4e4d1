#pragma once

#include "base/JSONDocument.h"
#include "base/PrinterError.h"
#include "base/Text.h"

#include <QByteArray>
#include <QString>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace harrowmint::fuzz {

/// Ends the run as a finding when `condition` does not hold.
inline void require(bool condition, const char* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

[[nodiscard]] inline QByteArray bytesOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)};
}

/// What `decode` returns; nothing when it refuses. No other exception may leave it, and every refusal has a sentence.
template <class Decode>
[[nodiscard]] auto attempt(Decode&& decode) -> std::optional<decltype(decode())>
{
    try {
        return decode();
    } catch (const PrinterError& error) {
        require(!error.message().isEmpty(), "a refusal has a sentence");
        return std::nullopt;
    }
}

/// Whether `text` is as cleaning leaves it.
[[nodiscard]] inline bool isClean(const QString& text)
{
    return withoutControls(text) == text;
}

[[nodiscard]] inline bool isDigest(const QString& text)
{
    const auto isHex = [](QChar c) { return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f'); };
    return text.size() == 64 && std::all_of(text.begin(), text.end(), isHex);
}

} // namespace harrowmint::fuzz
