#include "render/RasterReceipt.h"

#include "base/PrinterError.h"
#include "render/Paper.h"
#include "render/Picture.h"
#include "render/RasterDocument.h"
#include "render/RasterLayout.h"

#include <new>
#include <optional>
#include <utility>

namespace harrowmint {

namespace {

const QString tooLong = QStringLiteral("Receipt is too long to print safely.");
const QString noCode = QStringLiteral("Unable to render the store QR code.");
const QString codeTooLarge = QStringLiteral("Store QR code is too large.");

constexpr int narrowPaper = 58;
constexpr int bottomPadding = 160;
constexpr int lineGap = 10;
constexpr int ruleAdvance = 12;
constexpr int ruleTop = 1;
constexpr int ruleThickness = 2;
constexpr int storeCodeTarget = 280;
constexpr int storeCodeGap = 12;

/// One line and how far below it the next one begins; a rule has no text.
struct MeasuredLine {
    std::optional<TextBlock> text;
    int advance = ruleAdvance;
};

MeasuredLine measure(const ReceiptLine& line, int columnWidth)
{
    if (line.text == ruleText())
        return {};
    const auto alignment = line.centered ? TextAlignment::Center : TextAlignment::Natural;
    TextBlock text(line.text, {line.size, line.bold, alignment}, columnWidth);
    const int advance = text.height() + lineGap;
    return {std::move(text), advance};
}

struct StoreCode {
    QRCode code;
    int scale = 0;

    [[nodiscard]] int advance() const { return code.blockSide(scale) + storeCodeGap; }
};

std::optional<StoreCode> storeCode(const QString& website)
{
    if (website.isEmpty())
        return std::nullopt;
    std::optional<QRCode> code = QRCode::encode(website.toUtf8());
    if (!code)
        throw PrinterError(noCode);
    const int scale = code->scaleFor(storeCodeTarget);
    if (scale < QRCode::minimumScale)
        throw PrinterError(codeTooLarge);
    return StoreCode{*std::move(code), scale};
}

std::shared_ptr<const RasterReceipt::Layout> arranged(
    std::vector<MeasuredLine> lines, const std::optional<StoreCode>& code, QSize paper)
{
    auto layout = std::make_shared<RasterReceipt::Layout>(paper.width(), paper.height());
    const int columnWidth = paper.width() - 2 * RasterReceipt::sideMargin;
    int y = RasterReceipt::topMargin;
    for (MeasuredLine& line : lines) {
        if (line.text)
            layout->add(*std::move(line.text), QPoint(RasterReceipt::sideMargin, y));
        else
            layout->add(QRect(RasterReceipt::sideMargin, y + ruleTop, columnWidth, ruleThickness));
        y += line.advance;
    }
    if (code)
        layout->add(code->code, code->scale, y);
    return layout;
}

RasterReceipt renderLines(const Receipt& receipt, int paperWidth)
{
    const int width = paperWidth == narrowPaper ? RasterReceipt::narrowWidth : RasterReceipt::wideWidth;
    int height = RasterReceipt::heightAllowance;
    std::vector<MeasuredLine> lines;
    lines.reserve(receipt.lines.size());
    for (const ReceiptLine& line : receipt.lines) {
        lines.push_back(measure(line, width - 2 * RasterReceipt::sideMargin));
        height += lines.back().advance;
    }
    const std::optional<StoreCode> code = storeCode(receipt.website);
    height += (code ? code->advance() : 0) + RasterReceipt::heightAllowance + bottomPadding;
    if (height > RasterReceipt::maximumHeight)
        throw PrinterError(tooLong);
    return RasterReceipt::print(arranged(std::move(lines), code, QSize(width, height)), tooLong);
}

} // namespace

RasterReceipt::RasterReceipt(std::shared_ptr<const Layout> layout, QByteArray bytes)
    : m_layout(std::move(layout))
    , m_bytes(std::move(bytes))
{
}

RasterReceipt RasterReceipt::render(const Receipt& receipt, int paperWidth)
{
    return receipt.document ? RasterDocument::render(*receipt.document, paperWidth) : renderLines(receipt, paperWidth);
}

RasterReceipt RasterReceipt::print(std::shared_ptr<const Layout> layout, const QString& noMemory)
try {
    Paper paper(layout->size().width(), layout->size().height());
    layout->drawOn(paper);
    return {std::move(layout), paper.take()};
} catch (const std::bad_alloc&) {
    throw PrinterError(noMemory);
}

QImage RasterReceipt::bitmap() const
{
    Picture picture(m_layout->size().width(), m_layout->size().height());
    m_layout->drawOn(picture);
    return picture.take();
}

} // namespace harrowmint
