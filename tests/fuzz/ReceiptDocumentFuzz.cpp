// Receipt documents by themselves.
#include "DocumentsFuzz.h"
#include "documents/ReceiptDocument.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace harrowmint;
using fuzz::require;

/// The block with every field that its type may carry written out.
static QJsonObject written(const ReceiptBlock& block)
{
    const QString& type = block.type;
    QJsonObject object{{QStringLiteral("type"), type}};
    if (type != u"space")
        object[QStringLiteral("gap")] = block.gap;
    if (type == u"text" || type == u"pair" || type == u"qr") {
        object[QStringLiteral("text")] = block.text;
        object[QStringLiteral("size")] = block.size;
    }
    if (type == u"text" || type == u"pair") {
        object[QStringLiteral("right")] = block.right;
        object[QStringLiteral("bold")] = block.bold;
        object[QStringLiteral("align")] = block.align;
        object[QStringLiteral("rightWidth")] = block.rightWidth;
    }
    if (type == u"rule" || type == u"space" || type == u"image")
        object[QStringLiteral("height")] = block.height;
    if (type == u"image") {
        object[QStringLiteral("width")] = block.width;
        object[QStringLiteral("data")] = QString::fromLatin1(block.data);
    }
    return object;
}

static QByteArray written(const ReceiptDocument& document)
{
    QJsonArray blocks;
    for (const ReceiptBlock& block : document.blocks)
        blocks.append(written(block));
    const QJsonObject object{{QStringLiteral("version"), document.version},
        {QStringLiteral("bottomPadding"), document.bottomPadding}, {QStringLiteral("blocks"), blocks}};
    return QJsonDocument(object).toJson();
}

static void checkBounds(const ReceiptDocument& document)
{
    require(!document.blocks.empty() && document.blocks.size() <= 256, "1 to 256 blocks");
    qsizetype scalars = 0;
    qsizetype imageBytes = 0;
    for (const ReceiptBlock& block : document.blocks) {
        require(fuzz::isClean(block.text) && fuzz::isClean(block.right), "no control character comes through");
        require(block.gap >= 0 && block.gap <= 24 && block.rightWidth >= 0.3 && block.rightWidth <= 0.7, "ranges");
        scalars += scalarCount(block.text) + scalarCount(block.right);
        imageBytes += QByteArray::fromBase64(block.data).size();
        require(block.type != u"image" || QByteArray::fromBase64(block.data).size() == block.width / 8 * block.height,
            "an image has its size");
    }
    require(scalars <= 24000 && imageBytes <= 65536, "text and images are bounded");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto decode = [](const QByteArray& json) {
        return fuzz::attempt([&] { return ReceiptDocument::decode(JSONDocument(json).root()); });
    };
    const QByteArray json = fuzz::bytesOf(data, size);
    const auto document = decode(json);
    require(document == decode(json), "decoding twice gives the same");
    if (!document)
        return 0;
    checkBounds(*document);
    const auto again = decode(written(*document));
    require(again == document, "the normalised form decodes to itself");
    require(again->fingerprint() == document->fingerprint(), "and has the same fingerprint");
    const JSONDocument canonical(document->canonicalJSON());
    require(canonical.root().object()->size() == 3, "the canonical form is JSON");
    return 0;
}
