#pragma once

#include "render/Mask.h"
#include "render/QRCode.h"
#include "render/RasterReceipt.h"
#include "render/TextBlock.h"

#include <QPoint>
#include <QRect>
#include <utility>
#include <vector>

namespace harrowmint {

/// Where everything on a receipt stands: drawn once for the printer, and again when its picture is asked for. Order
/// does not matter, since everything is dark on white.
class RasterReceipt::Layout {
public:
    /// An empty receipt of `width` × `height` dots.
    Layout(int width, int height)
        : m_size(width, height)
    {
    }

    [[nodiscard]] QSize size() const { return m_size; }

    /// Text whose column begins at `corner`.
    void add(TextBlock text, QPoint corner) { m_texts.emplace_back(std::move(text), corner); }
    /// A black bar.
    void add(const QRect& bar) { m_bars.push_back(bar); }
    /// A centred QR code whose quiet zone begins at row `top`.
    void add(const QRCode& code, int scale, int top)
    {
        const std::vector<QRect> areas = code.areas(scale, m_size.width(), top);
        m_bars.insert(m_bars.end(), areas.begin(), areas.end());
    }
    /// An image.
    void add(Mask image, QPoint corner) { m_images.emplace_back(std::move(image), corner); }

    /// Draws everything; a canvas has `fill(area)` and `stamp(mask, place, clip)`.
    template <class Canvas>
    void drawOn(Canvas& canvas) const
    {
        for (const QRect& bar : m_bars)
            canvas.fill(bar);
        for (const auto& [text, corner] : m_texts)
            text.drawOn(canvas, corner);
        for (const auto& [image, corner] : m_images)
            canvas.stamp(image, corner, QRect(QPoint(), m_size));
    }

private:
    QSize m_size;
    std::vector<std::pair<TextBlock, QPoint>> m_texts;
    std::vector<QRect> m_bars;
    std::vector<std::pair<Mask, QPoint>> m_images;
};

} // namespace harrowmint
