#include "render/RasterDocument.h"

#include "base/EscPos.h"
#include "base/PrinterError.h"
#include "render/ImageMask.h"
#include "render/RasterLayout.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace harrowmint {

namespace {

const QString invalidPaper = QStringLiteral("Invalid paper width.");
const QString unsupportedBlock = QStringLiteral("Unsupported receipt block.");
const QString noCode = QStringLiteral("Unable to render receipt QR.");
const QString codeTooLarge = QStringLiteral("Receipt QR cannot fit this paper width.");
const QString tooLong = QStringLiteral("Receipt is too long to print safely.");
const QString noBitmap = QStringLiteral("Unable to render receipt.");
const QString noImage = QStringLiteral("Unable to render receipt image.");
const QString tooLarge = QStringLiteral("Receipt is too large to print safely.");

constexpr int gutter = 12;

using Row = RasterDocument::Row;
using Layout = RasterReceipt::Layout;

int dotWidth(int paperWidth)
{
    switch (paperWidth) {
    case 58:
        return RasterReceipt::narrowWidth;
    case 80:
        return RasterReceipt::wideWidth;
    default:
        throw PrinterError(invalidPaper);
    }
}

Row measureText(const ReceiptBlock& block, int width)
{
    Row row{&block};
    row.left.emplace(block.text, block.size, block.bold, block.align, width);
    row.height = row.left->height() + block.gap;
    return row;
}

Row measurePair(const ReceiptBlock& block, int width)
{
    Row row{&block};
    row.rightWidth = int(std::floor((width - gutter) * block.rightWidth));
    const int leftWidth = width - gutter - row.rightWidth;
    row.left.emplace(block.text, block.size, block.bold, QStringLiteral("left"), leftWidth);
    row.right.emplace(block.right, block.size, block.bold, QStringLiteral("right"), row.rightWidth);
    row.height = std::max(row.left->height(), row.right->height()) + block.gap;
    return row;
}

Row measureCode(const ReceiptBlock& block, int width)
{
    Row row{&block};
    row.code = QRCode::encode(block.text.toUtf8());
    if (!row.code)
        throw PrinterError(noCode);
    row.scale = row.code->scaleFor(std::min(width, block.width > 0 ? block.width : block.size));
    if (row.scale < QRCode::minimumScale)
        throw PrinterError(codeTooLarge);
    row.height = row.code->blockSide(row.scale) + block.gap;
    return row;
}

Row measureImage(const ReceiptBlock& block, int width)
{
    const double scale = block.width > width ? double(width) / block.width : 1;
    Row row{&block};
    row.image = QSize(std::min(block.width, width), int(std::ceil(scale * block.height)));
    row.height = row.image.height() + block.gap;
    return row;
}

Row measure(const ReceiptBlock& block, int width)
{
    if (block.type == u"text")
        return measureText(block, width);
    if (block.type == u"pair")
        return measurePair(block, width);
    if (block.type == u"rule" || block.type == u"space")
        return Row{&block, block.height + block.gap};
    if (block.type == u"qr")
        return measureCode(block, width);
    if (block.type == u"image")
        return measureImage(block, width);
    throw PrinterError(unsupportedBlock);
}

void addText(Layout& layout, std::optional<DocumentText>& text, QPoint corner)
{
    if (std::optional<TextBlock> block = text ? text->take() : std::nullopt)
        layout.add(*std::move(block), corner);
}

void addImage(Layout& layout, const Row& row, int y)
{
    std::optional<Mask> image = imageMask(*row.block, row.image);
    if (!image)
        throw PrinterError(noImage);
    layout.add(*std::move(image), QPoint((layout.size().width() - row.image.width()) / 2, y));
}

void add(Layout& layout, Row& row, int y)
{
    constexpr int margin = RasterReceipt::sideMargin;
    const int paper = layout.size().width();
    addText(layout, row.left, QPoint(margin, y));
    addText(layout, row.right, QPoint(paper - margin - row.rightWidth, y));
    if (row.block->type == u"rule")
        layout.add(QRect(margin, y, paper - 2 * margin, row.block->height));
    if (row.code)
        layout.add(*row.code, row.scale, y);
    if (row.block->type == u"image")
        addImage(layout, row, y);
}

} // namespace

RasterReceipt RasterDocument::render(const ReceiptDocument& document, int paperWidth)
{
    const int width = dotWidth(paperWidth);
    qint64 height = RasterReceipt::heightAllowance + document.bottomPadding;
    std::vector<Row> rows;
    rows.reserve(document.blocks.size());
    for (const ReceiptBlock& block : document.blocks) {
        rows.push_back(measure(block, width - 2 * RasterReceipt::sideMargin));
        height += rows.back().height;
        if (height > RasterReceipt::maximumHeight)
            throw PrinterError(tooLong);
    }
    auto layout = std::make_shared<Layout>(width, int(height));
    int y = RasterReceipt::topMargin;
    for (Row& row : rows) {
        add(*layout, row, y);
        y += row.height;
    }
    RasterReceipt receipt = RasterReceipt::print(std::move(layout), noBitmap);
    requireSendable(receipt.bytes().size());
    return receipt;
}

void RasterDocument::requireSendable(qint64 size)
{
    if (size > escpos::maximumJobBytes)
        throw PrinterError(tooLarge);
}

} // namespace harrowmint
