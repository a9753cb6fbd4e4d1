#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <optional>

namespace harrowmint {

/// The SHA-256 digest (FIPS 180-4) of `bytes` as 64 lower-case hexadecimal digits.
[[nodiscard]] QString sha256Hex(QByteArrayView bytes);

/// Decodes base64 (RFC 4648, section 4) strictly: padding is needed, nothing outside the alphabet is accepted; unused
/// bits of the last character are ignored. Nothing when `text` is not such a text.
[[nodiscard]] std::optional<QByteArray> decodedBase64(QByteArrayView text);

} // namespace harrowmint
