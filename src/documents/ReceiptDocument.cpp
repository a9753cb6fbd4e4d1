#include "documents/ReceiptDocument.h"

#include "base/CanonicalJSON.h"
#include "base/Digest.h"
#include "base/PrinterError.h"
#include "documents/ReceiptBlockReader.h"

#include <algorithm>
#include <iterator>

namespace harrowmint {

namespace {

constexpr QStringView unsupportedDocument = u"Unsupported or invalid receipt document.";

constexpr int supportedVersion = 1;
constexpr std::size_t maximumBlocks = 256;
constexpr int maximumBottomPadding = 400;
constexpr std::string_view keys[] = {"version", "bottomPadding", "blocks"};

std::vector<JSONValue> blockValues(const JSONObject& document)
{
    const std::optional<JSONValue> value = document.value("blocks");
    auto blocks = value ? value->array() : std::nullopt;
    if (!blocks || blocks->empty() || blocks->size() > maximumBlocks)
        throw PrinterError(unsupportedDocument.toString());
    return std::move(*blocks);
}

QByteArray encoded(const ReceiptBlock& block)
{
    return JSONObjectWriter()
        .text(QStringLiteral("type"), block.type)
        .text(QStringLiteral("text"), block.text)
        .text(QStringLiteral("right"), block.right)
        .integer(QStringLiteral("size"), block.size)
        .boolean(QStringLiteral("bold"), block.bold)
        .text(QStringLiteral("align"), block.align)
        .integer(QStringLiteral("gap"), block.gap)
        .integer(QStringLiteral("height"), block.height)
        .integer(QStringLiteral("width"), block.width)
        .text(QStringLiteral("data"), QString::fromLatin1(block.data))
        .number(QStringLiteral("rightWidth"), block.rightWidth)
        .finish();
}

} // namespace

ReceiptDocument ReceiptDocument::decode(const JSONValue& value)
{
    const std::optional<JSONObject> object = value.object();
    requireKeysAmong(object, keys);
    if (!object->contains("version"))
        throw PrinterError(unsupportedDocument.toString());
    ReceiptDocument document;
    document.version = readDimension(*object, "version", supportedVersion, supportedVersion, supportedVersion);
    const std::vector<JSONValue> values = blockValues(*object);
    document.bottomPadding = readDimension(*object, "bottomPadding", document.bottomPadding, 0, maximumBottomPadding);
    ReceiptBlockReader reader;
    document.blocks.reserve(values.size());
    std::transform(values.begin(), values.end(), std::back_inserter(document.blocks),
        [&reader](const JSONValue& block) { return reader.read(block); });
    return document;
}

QByteArray ReceiptDocument::canonicalJSON() const
{
    std::vector<QByteArray> entries;
    entries.reserve(blocks.size());
    std::transform(blocks.begin(), blocks.end(), std::back_inserter(entries), encoded);
    return JSONObjectWriter()
        .integer(QStringLiteral("version"), version)
        .encoded(QStringLiteral("blocks"), jsonArray(entries))
        .integer(QStringLiteral("bottomPadding"), bottomPadding)
        .finish();
}

QString ReceiptDocument::fingerprint() const
{
    return sha256Hex(canonicalJSON());
}

} // namespace harrowmint
