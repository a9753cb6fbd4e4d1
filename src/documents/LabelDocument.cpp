#include "documents/LabelDocument.h"

#include "base/Digest.h"
#include "base/EscPos.h"
#include "base/PrinterError.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace harrowmint {

namespace {

constexpr QStringView unsupportedDocument = u"Unsupported label document.";
constexpr QStringView invalidGeometry = u"Invalid label geometry.";
constexpr QStringView invalidPixels = u"Invalid label pixels.";

constexpr int supportedVersion = 1;
constexpr int dotsPerByte = 8;
constexpr int minimumWidth = 8;
constexpr int maximumWidth = 384;
constexpr int minimumHeight = 1;
constexpr int maximumHeight = 800;
constexpr std::size_t maximumEncodedBytes = 51200;
constexpr std::array<std::string_view, 4> keys{"version", "width", "height", "data"};

JSONObject labelObject(const JSONValue& value)
{
    std::optional<JSONObject> object = value.object();
    const auto isThere = [&](std::string_view key) { return object->contains(key); };
    if (!object || object->size() != keys.size() || !std::all_of(keys.begin(), keys.end(), isThere))
        throw PrinterError(unsupportedDocument.toString());
    return std::move(*object);
}

int geometry(const JSONObject& label, std::string_view key, int minimum, int maximum)
{
    const std::optional<int> dots = label.value(key)->integer(minimum, maximum);
    if (!dots)
        throw PrinterError(invalidGeometry.toString());
    return *dots;
}

QByteArray pixels(const JSONValue& data, int width, int height)
{
    const auto text = data.utf8();
    const qsizetype rowBytes = width / dotsPerByte;
    if (width % dotsPerByte == 0 && text && text->size() <= maximumEncodedBytes) {
        auto bytes = decodedBase64(QByteArrayView(text->data(), static_cast<qsizetype>(text->size())));
        if (bytes && bytes->size() == rowBytes * height)
            return std::move(*bytes);
    }
    throw PrinterError(invalidPixels.toString());
}

} // namespace

LabelDocument LabelDocument::decode(const JSONValue& value)
{
    const JSONObject object = labelObject(value);
    LabelDocument label;
    label.version = geometry(object, "version", supportedVersion, supportedVersion);
    label.width = geometry(object, "width", minimumWidth, maximumWidth);
    label.height = geometry(object, "height", minimumHeight, maximumHeight);
    label.rows = pixels(*object.value("data"), label.width, label.height).toBase64();
    return label;
}

QByteArray LabelDocument::bytes() const
{
    constexpr int byteValues = 256;
    const std::uint8_t size[] = {static_cast<std::uint8_t>(width / dotsPerByte), 0,
        static_cast<std::uint8_t>(height % byteValues), static_cast<std::uint8_t>(height / byteValues)};
    QByteArray stream;
    stream.append(reinterpret_cast<const char*>(escpos::initialise), std::size(escpos::initialise));
    stream.append(reinterpret_cast<const char*>(escpos::rasterImage), std::size(escpos::rasterImage));
    stream.append(reinterpret_cast<const char*>(size), std::size(size));
    stream.append(QByteArray::fromBase64(rows));
    return stream;
}

QString LabelDocument::fingerprint() const
{
    const QByteArray geometry = QByteArray::number(width) + ':' + QByteArray::number(height) + ':';
    return sha256Hex("label-v1:" + geometry + QByteArray::fromBase64(rows));
}

} // namespace harrowmint
