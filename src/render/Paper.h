#pragma once

#include "render/Mask.h"

#include <QByteArray>
#include <QPoint>
#include <QRect>

namespace harrowmint {

/// A receipt's ESC/POS stream, printed on while it is built: ESC @, ESC a 0, the dots in raster commands of at most 256
/// rows, ESC d 4. Its memory is that of the stream. What lies outside of the paper is not printed.
class Paper {
public:
    /// White paper, `width` (a multiple of 8, at most 2040) × `height` (at least 1) dots. Throws std::bad_alloc.
    Paper(int width, qint64 height);

    /// Prints black the dots of `area`.
    void fill(const QRect& area);
    /// Prints the black dots of `mask` at `place`, as far as they lie within `clip`.
    void stamp(const Mask& mask, QPoint place, const QRect& clip);
    /// The finished stream; the paper is spent.
    [[nodiscard]] QByteArray take() { return std::move(m_stream); }

private:
    [[nodiscard]] char* row(int y);
    [[nodiscard]] char* nextRow(char* inRow, int y) const;
    void stampWhole(const Mask& mask, QPoint at);
    void stampPart(const Mask& mask, QPoint at, const QRect& part);

    int m_rowBytes;
    QRect m_area;
    QByteArray m_stream;
};

} // namespace harrowmint
