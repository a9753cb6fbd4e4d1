#include "render/Picture.h"

#include <algorithm>

namespace harrowmint {

Picture::Picture(int width, int height)
    : m_image(width, height, QImage::Format_RGBA8888)
{
    m_image.fill(Qt::white);
}

void Picture::fill(const QRect& area)
{
    const QRect seen = area & m_image.rect();
    for (int y = seen.top(); y <= seen.bottom(); ++y) {
        for (int x = seen.left(); x <= seen.right(); ++x)
            m_image.setPixel(x, y, qRgb(0, 0, 0));
    }
}

void Picture::stamp(const Mask& mask, QPoint place, const QRect& clip)
{
    const QPoint at = place + QPoint(mask.left, mask.top);
    const QRect seen = QRect(at, QSize(mask.width, mask.height)) & clip & m_image.rect();
    for (int y = seen.top(); y <= seen.bottom(); ++y) {
        uchar* pixel = m_image.scanLine(y) + std::ptrdiff_t(seen.left()) * 4;
        const std::uint8_t* level =
            mask.levels.data() + std::ptrdiff_t(y - at.y()) * mask.width + (seen.left() - at.x());
        for (int x = seen.left(); x <= seen.right(); ++x, pixel += 4, ++level)
            std::fill(pixel, pixel + 3, std::min(*pixel, *level));
    }
}

} // namespace harrowmint
