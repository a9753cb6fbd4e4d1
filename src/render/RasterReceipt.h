#pragma once

#include "documents/Receipt.h"

#include <QByteArray>
#include <QImage>
#include <QString>
#include <memory>

namespace harrowmint {

/// A rendered receipt: the ESC/POS stream that transports send unchanged, and its picture on demand. An immutable
/// value. All lengths are printer dots. Rendering happens on one thread, the main one in the agent.
class RasterReceipt {
public:
    class Layout;

    /// Dots between the paper's edge and everything that is not centred.
    static constexpr int sideMargin = 16;
    /// Blank rows above the first line or block.
    static constexpr int topMargin = 12;
    /// Rows that are added to the heights of all lines or blocks, beside the bottom padding.
    static constexpr int heightAllowance = 24;
    /// No receipt is longer, in dots.
    static constexpr int maximumHeight = 12000;
    /// Dots across paper of 58 mm and of 80 mm.
    static constexpr int narrowWidth = 384;
    static constexpr int wideWidth = 576;

    /// Draws `receipt` for paper of `paperWidth` millimetres (58: 384 dots; for line receipts any other: 576 dots;
    /// a receipt document takes 58 or 80 only). Throws PrinterError; nothing is kept on failure.
    [[nodiscard]] static RasterReceipt render(const Receipt& receipt, int paperWidth);
    /// Prints a finished layout. Throws PrinterError with `noMemory` when there is no memory for the stream.
    [[nodiscard]] static RasterReceipt print(std::shared_ptr<const Layout> layout, const QString& noMemory);

    /// The complete ESC/POS stream, made band by band.
    [[nodiscard]] const QByteArray& bytes() const { return m_bytes; }
    /// The drawn receipt in RGBA, 8 bits a sample, drawn when asked for; thresholded it gives exactly `bytes`' dots.
    /// A null image when there is no memory for it. Any thread.
    [[nodiscard]] QImage bitmap() const;

private:
    RasterReceipt(std::shared_ptr<const Layout> layout, QByteArray bytes);

    std::shared_ptr<const Layout> m_layout;
    QByteArray m_bytes;
};

/// Loads the fonts and fills the caches of the calling thread, so that its first receipt takes no longer than others.
void warmFonts();

} // namespace harrowmint
