#include "documents/ReceiptBlockReader.h"

#include "base/Digest.h"
#include "base/PrinterError.h"
#include "base/Text.h"

#include <algorithm>
#include <array>

namespace harrowmint {

namespace {

constexpr QStringView unsupportedFields = u"Unsupported receipt document fields.";
constexpr QStringView invalidBlock = u"Invalid receipt block.";
constexpr QStringView unsupportedBlock = u"Unsupported receipt block. No receipt was printed.";
constexpr QStringView invalidDimension = u"Invalid receipt dimension: ";
constexpr QStringView invalidText = u"Invalid receipt text.";
constexpr QStringView invalidTextBlock = u"Invalid receipt text block.";
constexpr QStringView invalidAlignment = u"Invalid receipt alignment.";
constexpr QStringView invalidWeight = u"Invalid receipt weight.";
constexpr QStringView invalidColumns = u"Invalid receipt columns.";
constexpr QStringView invalidQrCode = u"Invalid receipt QR code.";
constexpr QStringView invalidImage = u"Invalid receipt image.";
constexpr QStringView imageTooLarge = u"Receipt image is too large.";
constexpr QStringView textTooLong = u"Receipt text is too long.";

constexpr int maximumTypeScalars = 16;
constexpr int maximumAlignScalars = 10;
constexpr int maximumTextScalars = 2000;
constexpr int maximumTextScalarsInAll = 24000;
constexpr int maximumGap = 24;
constexpr int maximumQrCodes = 2;
constexpr int maximumQrPayload = 512; // scalars, and bytes in UTF-8
constexpr int maximumImages = 2;
constexpr int maximumImageBytesInAll = 65536;
constexpr std::size_t maximumEncodedImageBytes = 49152;
constexpr int dotsPerByte = 8;
constexpr double minimumRightWidth = 0.3;
constexpr double maximumRightWidth = 0.7;

QString readTextField(const JSONObject& object, std::string_view key, int limit)
{
    const std::optional<JSONValue> value = object.value(key);
    if (!value)
        return {};
    const std::optional<QString> text = value->string();
    if (!text || scalarCount(*text) > limit)
        throw PrinterError(invalidText.toString());
    return withControlsAsSpaces(*text);
}

QString readAlignment(const JSONObject& object)
{
    QString align = readTextField(object, "align", maximumAlignScalars);
    if (align.isEmpty())
        return QStringLiteral("natural");
    constexpr std::array<QStringView, 4> alignments{u"natural", u"left", u"right", u"center"};
    if (std::find(alignments.begin(), alignments.end(), align) == alignments.end())
        throw PrinterError(invalidAlignment.toString());
    return align;
}

bool readWeight(const JSONObject& object)
{
    const std::optional<JSONValue> value = object.value("bold");
    if (!value)
        return false;
    const std::optional<bool> bold = value->boolean();
    if (!bold)
        throw PrinterError(invalidWeight.toString());
    return *bold;
}

double readRightWidth(const JSONObject& object)
{
    const std::optional<JSONValue> value = object.value("rightWidth");
    if (!value)
        return ReceiptBlock().rightWidth;
    const std::optional<double> share = value->number();
    if (!share || *share < minimumRightWidth || *share > maximumRightWidth)
        throw PrinterError(invalidColumns.toString());
    return *share;
}

/// The bitmap of an image block; nothing when it is missing, is not base64 or does not fit the block's geometry.
std::optional<QByteArray> readBitmap(const JSONObject& object, int width, int height)
{
    const std::optional<JSONValue> data = object.value("data");
    const auto text = data ? data->utf8() : std::nullopt;
    if (!text || text->size() > maximumEncodedImageBytes)
        return std::nullopt;
    const qsizetype rowBytes = width / dotsPerByte;
    auto bitmap = decodedBase64(QByteArrayView(text->data(), static_cast<qsizetype>(text->size())));
    if (bitmap && bitmap->size() != rowBytes * height)
        return std::nullopt;
    return bitmap;
}

} // namespace

void requireKeysAmong(const std::optional<JSONObject>& object, std::span<const std::string_view> allowed)
{
    const auto isAllowed = [allowed](const JSONObject::Member& member) {
        return std::find(allowed.begin(), allowed.end(), member.key) != allowed.end();
    };
    if (!object || !std::all_of(object->begin(), object->end(), isAllowed))
        throw PrinterError(unsupportedFields.toString());
}

int readDimension(const JSONObject& object, std::string_view key, int fallback, int minimum, int maximum)
{
    const std::optional<JSONValue> value = object.value(key);
    if (!value)
        return fallback;
    const std::optional<int> number = value->integer(minimum, maximum);
    if (!number)
        throw PrinterError(
            invalidDimension.toString() + QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size())));
    return *number;
}

struct ReceiptBlockReader::Type {
    QStringView name;
    std::span<const std::string_view> keys;
    Read read;
};

std::span<const ReceiptBlockReader::Type> ReceiptBlockReader::types()
{
    using Reader = ReceiptBlockReader;
    static constexpr std::string_view textKeys[] = {
        "type", "text", "right", "size", "bold", "align", "gap", "rightWidth"};
    static constexpr std::string_view ruleKeys[] = {"type", "height", "gap"};
    static constexpr std::string_view spaceKeys[] = {"type", "height"};
    static constexpr std::string_view qrCodeKeys[] = {"type", "text", "size", "gap"};
    static constexpr std::string_view imageKeys[] = {"type", "width", "height", "data", "gap"};
    static constexpr Type all[] = {{u"text", textKeys, &Reader::readText}, {u"pair", textKeys, &Reader::readText},
        {u"rule", ruleKeys, &Reader::readRule}, {u"space", spaceKeys, &Reader::readSpace},
        {u"qr", qrCodeKeys, &Reader::readQrCode}, {u"image", imageKeys, &Reader::readImage}};
    return all;
}

ReceiptBlock ReceiptBlockReader::read(const JSONValue& value)
{
    const std::optional<JSONObject> object = value.object();
    if (!object)
        throw PrinterError(invalidBlock.toString());
    ReceiptBlock block;
    block.type = readTextField(*object, "type", maximumTypeScalars);
    const auto all = types();
    const auto type = std::find_if(all.begin(), all.end(), [&](const Type& t) { return t.name == block.type; });
    if (type == all.end())
        throw PrinterError(unsupportedBlock.toString());
    requireKeysAmong(object, type->keys);
    (this->*type->read)(*object, block);
    m_textScalars += scalarCount(block.text) + scalarCount(block.right);
    if (m_textScalars > maximumTextScalarsInAll)
        throw PrinterError(textTooLong.toString());
    return block;
}

void ReceiptBlockReader::readText(const JSONObject& object, ReceiptBlock& block)
{
    block.text = readTextField(object, "text", maximumTextScalars);
    block.right = readTextField(object, "right", maximumTextScalars);
    block.size = readDimension(object, "size", 23, 16, 40);
    block.gap = readDimension(object, "gap", 10, 0, maximumGap);
    const bool isEmpty = block.text.isEmpty() && block.right.isEmpty();
    if (isEmpty || (block.type == u"text" && !block.right.isEmpty()))
        throw PrinterError(invalidTextBlock.toString());
    block.align = readAlignment(object);
    block.bold = readWeight(object);
    block.rightWidth = readRightWidth(object);
}

void ReceiptBlockReader::readRule(const JSONObject& object, ReceiptBlock& block)
{
    block.height = readDimension(object, "height", 2, 1, 4);
    block.gap = readDimension(object, "gap", 10, 0, maximumGap);
}

void ReceiptBlockReader::readSpace(const JSONObject& object, ReceiptBlock& block)
{
    block.height = readDimension(object, "height", 12, 0, 160);
    block.gap = 0;
}

void ReceiptBlockReader::readQrCode(const JSONObject& object, ReceiptBlock& block)
{
    block.text = readTextField(object, "text", maximumQrPayload);
    block.size = readDimension(object, "size", 280, 128, 320);
    block.gap = readDimension(object, "gap", 12, 0, maximumGap);
    if (++m_qrCodes > maximumQrCodes || block.text.isEmpty() || block.text.toUtf8().size() > maximumQrPayload)
        throw PrinterError(invalidQrCode.toString());
}

void ReceiptBlockReader::readImage(const JSONObject& object, ReceiptBlock& block)
{
    // Width and height are needed: missing ones become a nought that the check below refuses.
    block.width = readDimension(object, "width", 0, 8, 576);
    block.height = readDimension(object, "height", 0, 1, 512);
    block.gap = readDimension(object, "gap", 12, 0, maximumGap);
    const bool hasGeometry = block.width >= dotsPerByte && block.width % dotsPerByte == 0 && block.height >= 1;
    const auto bitmap = readBitmap(object, block.width, block.height);
    if (!hasGeometry || ++m_images > maximumImages || !bitmap)
        throw PrinterError(invalidImage.toString());
    m_imageBytes += bitmap->size();
    if (m_imageBytes > maximumImageBytesInAll)
        throw PrinterError(imageTooLarge.toString());
    block.data = bitmap->toBase64();
}

} // namespace harrowmint
