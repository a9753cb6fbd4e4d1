#pragma once

#include "render/Mask.h"

#include <QImage>
#include <QPoint>
#include <QRect>

namespace harrowmint {

/// A receipt as a picture (RGBA, 8 bits a sample, one pixel a dot): the same drawing as on `Paper`, before the
/// threshold.
class Picture {
public:
    /// A white picture; a null image when its memory cannot be had.
    Picture(int width, int height);

    /// Paints `area` black.
    void fill(const QRect& area);
    /// Darkens the picture with `mask` at `place`, as far as it lies within `clip`.
    void stamp(const Mask& mask, QPoint place, const QRect& clip);
    /// The finished picture; this one is spent.
    [[nodiscard]] QImage take() { return std::move(m_image); }

private:
    QImage m_image;
};

} // namespace harrowmint
