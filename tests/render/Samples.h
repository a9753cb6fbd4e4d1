#pragma once

#include "base/PrinterError.h"
#include "documents/Receipt.h"
#include "render/EscPosReader.h"
#include "render/RasterReceipt.h"

#include <QString>
#include <vector>

// Receipts and documents for the tests of this folder, and what becomes of them.
namespace harrowmint::test {

inline constexpr int margin = 16;
/// Rows of a receipt that are not its lines': above, below and the bottom padding.
inline constexpr int allowance = 24 + 24 + 160;

inline QString repeated(int count, const QString& text)
{
    return text.repeated(count);
}

inline ReceiptLine line(const QString& text, double size = 23)
{
    return {text, size, false, false, false};
}

inline ReceiptLine centered(const QString& text, double size = 23)
{
    return {text, size, false, true, false};
}

inline ReceiptLine rule()
{
    return {QString(28, QChar(0x2500)), 19, false, false, false};
}

inline Receipt receiptOf(std::vector<ReceiptLine> lines, const QString& website = {})
{
    Receipt receipt;
    receipt.lines = std::move(lines);
    receipt.website = website;
    return receipt;
}

inline ReceiptBlock block(const char16_t* type)
{
    ReceiptBlock result;
    result.type = QString::fromUtf16(type);
    return result;
}

inline ReceiptBlock textBlock(const QString& text, int size = 23)
{
    ReceiptBlock result = block(u"text");
    result.text = text;
    result.size = size;
    return result;
}

inline ReceiptBlock pairBlock(const QString& left, const QString& right, double rightWidth = 0.45)
{
    ReceiptBlock result = block(u"pair");
    result.text = left;
    result.right = right;
    result.rightWidth = rightWidth;
    return result;
}

inline ReceiptBlock ruleBlock(int height, int gap)
{
    ReceiptBlock result = block(u"rule");
    result.height = height;
    result.gap = gap;
    return result;
}

inline ReceiptBlock spaceBlock(int height)
{
    ReceiptBlock result = block(u"space");
    result.height = height;
    result.gap = 0;
    return result;
}

inline ReceiptBlock codeBlock(const QString& payload, int size = 280)
{
    ReceiptBlock result = block(u"qr");
    result.text = payload;
    result.size = size;
    result.gap = 12;
    return result;
}

/// `rows` is the raw bitmap.
inline ReceiptBlock imageBlock(int width, int height, const QByteArray& rows)
{
    ReceiptBlock result = block(u"image");
    result.width = width;
    result.height = height;
    result.data = rows.toBase64();
    result.gap = 12;
    return result;
}

inline Receipt documentOf(std::vector<ReceiptBlock> blocks, int bottomPadding = 160)
{
    Receipt receipt;
    receipt.document = ReceiptDocument{1, std::move(blocks), bottomPadding};
    return receipt;
}

inline Dots printed(const Receipt& receipt, int paperWidth = 80)
{
    return readReceipt(RasterReceipt::render(receipt, paperWidth).bytes());
}

/// The sentence of the failure; empty when there is none.
inline QString failureOf(const Receipt& receipt, int paperWidth = 80)
{
    try {
        static_cast<void>(RasterReceipt::render(receipt, paperWidth));
        return {};
    } catch (const PrinterError& error) {
        return error.message();
    }
}

/// The height of one line of DejaVu Sans: its ascender (1901) and descender (483) are units of an em of 2048.
inline int fontLineHeight(int size)
{
    return (size * (1901 + 483) + 2047) / 2048;
}

} // namespace harrowmint::test
