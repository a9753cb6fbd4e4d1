#include "base/Digest.h"

#include <QCryptographicHash>

namespace harrowmint {

QString sha256Hex(QByteArrayView bytes)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(bytes);
    return QString::fromLatin1(hash.result().toHex());
}

std::optional<QByteArray> decodedBase64(QByteArrayView text)
{
    constexpr qsizetype group = 4;
    // Qt forgives missing padding; the standard does not.
    if (text.size() % group != 0)
        return std::nullopt;
    auto result = QByteArray::fromBase64Encoding(QByteArray::fromRawData(text.data(), text.size()),
        QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!result)
        return std::nullopt;
    return std::move(result.decoded);
}

} // namespace harrowmint
