#include "render/ImageMask.h"

#include "base/Digest.h"

#include <QImage>
#include <utility>

namespace harrowmint {

namespace {

/// The block's pixels, MSB leftmost; null when its data does not fit its size.
QImage decoded(const ReceiptBlock& block)
{
    const std::optional<QByteArray> data = decodedBase64(block.data);
    const qsizetype rowBytes = (qsizetype(block.width) + 7) / 8;
    if (!data || block.width < 1 || block.height < 1 || data->size() != rowBytes * block.height)
        return {};
    const auto* pixels = reinterpret_cast<const uchar*>(data->constData());
    QImage image(pixels, block.width, block.height, rowBytes, QImage::Format_Mono);
    image.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    return image.convertToFormat(QImage::Format_RGB32);
}

} // namespace

std::optional<Mask> imageMask(const ReceiptBlock& block, QSize size)
{
    QImage image = decoded(block);
    if (!image.isNull() && image.size() != size)
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (image.isNull())
        return std::nullopt;
    std::vector<std::uint8_t> levels;
    levels.reserve(std::size_t(size.width()) * std::size_t(size.height()));
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            levels.push_back(std::uint8_t(qRed(image.pixel(x, y))));
    }
    return Mask::fromLevels(0, 0, size.width(), size.height(), std::move(levels));
}

} // namespace harrowmint
