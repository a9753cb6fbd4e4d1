#include "render/Paper.h"

#include "base/EscPos.h"

#include <QtGlobal>
#include <algorithm>
#include <cstring>
#include <iterator>

namespace harrowmint {

namespace {

constexpr int prefixBytes = sizeof escpos::initialise + sizeof escpos::justifyLeft;
constexpr int trailerBytes = sizeof escpos::feedFourLines;

template <std::size_t Size>
char* put(char* out, const std::uint8_t (&bytes)[Size])
{
    std::memcpy(out, bytes, Size);
    return out + Size;
}

qint64 bandCount(qint64 height)
{
    return (height + escpos::maximumBandRows - 1) / escpos::maximumBandRows;
}

char* putBandHeader(char* out, int rowBytes, int rows)
{
    out = put(out, escpos::rasterImage);
    *out++ = char(rowBytes);
    *out++ = 0;
    *out++ = char(rows % 256);
    *out++ = char(rows / 256);
    return out;
}

/// Prints `count` bytes of dots, moved `shift` dots to the right.
void joinBits(char* out, const std::uint8_t* bits, int count, int shift)
{
    unsigned carried = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned shifted = unsigned(bits[i]) << (8 - shift);
        out[i] = char(out[i] | int(carried | shifted >> 8));
        carried = shifted & 0xff;
    }
    // The padding of the last byte may lie beyond the paper's edge; it carries nothing.
    if (carried)
        out[count] = char(out[count] | int(carried));
}

} // namespace

Paper::Paper(int width, qint64 height)
    : m_rowBytes(width / 8)
    , m_area(0, 0, width, int(height))
    , m_stream(prefixBytes + bandCount(height) * escpos::rasterHeaderBytes + height * m_rowBytes + trailerBytes, '\0')
{
    Q_ASSERT(width % 8 == 0 && m_rowBytes <= 255 && height >= 1);
    char* out = put(put(m_stream.data(), escpos::initialise), escpos::justifyLeft);
    for (qint64 first = 0; first < height; first += escpos::maximumBandRows) {
        const int rows = int(std::min<qint64>(height - first, escpos::maximumBandRows));
        out = putBandHeader(out, m_rowBytes, rows) + std::ptrdiff_t(rows) * m_rowBytes;
    }
    put(out, escpos::feedFourLines);
}

char* Paper::row(int y)
{
    const int headers = y / escpos::maximumBandRows + 1;
    return m_stream.data() + prefixBytes + std::ptrdiff_t(headers) * escpos::rasterHeaderBytes
        + std::ptrdiff_t(y) * m_rowBytes;
}

/// The place below `inRow`, which lies in row `y`.
char* Paper::nextRow(char* inRow, int y) const
{
    const bool endsBand = (y + 1) % escpos::maximumBandRows == 0;
    return inRow + m_rowBytes + (endsBand ? escpos::rasterHeaderBytes : 0);
}

void Paper::fill(const QRect& area)
{
    const QRect seen = area & m_area;
    if (seen.isEmpty())
        return;
    const int firstByte = seen.left() / 8;
    const int lastByte = seen.right() / 8;
    const int firstBits = 0xff >> (seen.left() % 8);
    const int lastBits = 0xff << (7 - seen.right() % 8);
    for (int y = seen.top(); y <= seen.bottom(); ++y) {
        char* out = row(y);
        if (firstByte == lastByte) {
            out[firstByte] = char(out[firstByte] | (firstBits & lastBits));
            continue;
        }
        out[firstByte] = char(out[firstByte] | firstBits);
        std::fill(out + firstByte + 1, out + lastByte, char(0xff));
        out[lastByte] = char(out[lastByte] | lastBits);
    }
}

void Paper::stamp(const Mask& mask, QPoint place, const QRect& clip)
{
    const QPoint at = place + QPoint(mask.left, mask.top);
    const QRect box(at, QSize(mask.width, mask.height));
    const QRect seen = box & clip & m_area;
    if (seen.isEmpty())
        return;
    if (seen == box)
        stampWhole(mask, at);
    else
        stampPart(mask, at, seen.translated(-at));
}

void Paper::stampWhole(const Mask& mask, QPoint at)
{
    const int last = at.y() + mask.height - 1;
    const std::uint8_t* bits = mask.bits.data();
    char* out = row(at.y()) + at.x() / 8;
    for (int y = at.y(); y <= last; ++y, bits += mask.stride()) {
        joinBits(out, bits, mask.stride(), at.x() % 8);
        if (y < last)
            out = nextRow(out, y);
    }
}

void Paper::stampPart(const Mask& mask, QPoint at, const QRect& part)
{
    for (int y = part.top(); y <= part.bottom(); ++y) {
        const std::uint8_t* bits = mask.bits.data() + std::ptrdiff_t(y) * mask.stride();
        char* out = row(at.y() + y);
        for (int x = part.left(); x <= part.right(); ++x) {
            const int dot = at.x() + x;
            if (bits[x / 8] & (0x80 >> (x % 8)))
                out[dot / 8] = char(out[dot / 8] | (0x80 >> (dot % 8)));
        }
    }
}

} // namespace harrowmint
