#include "render/EscPosReader.h"

namespace harrowmint::test {

namespace {

class Reader {
public:
    explicit Reader(const QByteArray& stream)
        : m_rest(stream)
    {
    }

    Dots read()
    {
        expect("1b40", "ESC @");
        expect("1b6100", "ESC a 0");
        while (!m_rest.startsWith('\x1b'))
            readBand();
        expect("1b6404", "ESC d 4");
        if (!m_rest.isEmpty())
            throw NotAReceipt("bytes behind the end");
        if (m_dots.bands.empty())
            throw NotAReceipt("no raster command");
        return m_dots;
    }

private:
    QByteArray take(qsizetype count, const char* what)
    {
        if (m_rest.size() < count)
            throw NotAReceipt(std::string("cut off in ") + what);
        QByteArray taken = m_rest.first(count);
        m_rest.remove(0, count);
        return taken;
    }

    void expect(const char* hexadecimal, const char* what)
    {
        const QByteArray wanted = QByteArray::fromHex(hexadecimal);
        if (take(wanted.size(), what) != wanted)
            throw NotAReceipt(std::string("not ") + what);
    }

    int takeNumber(const char* what)
    {
        const QByteArray bytes = take(2, what);
        return (bytes[0] & 0xff) + 256 * (bytes[1] & 0xff);
    }

    void readBand()
    {
        expect("1d763000", "GS v 0");
        const int rowBytes = takeNumber("width");
        const int rows = takeNumber("height");
        if (rowBytes == 0 || rowBytes > 255 || (m_dots.width != 0 && m_dots.width != rowBytes * 8))
            throw NotAReceipt("a band of another width");
        if (rows == 0 || rows > 256)
            throw NotAReceipt("a band of no or too many rows");
        if (!m_dots.bands.empty() && m_dots.bands.back() != 256)
            throw NotAReceipt("a short band before the last");
        m_dots.width = rowBytes * 8;
        m_dots.height += rows;
        m_dots.bands.push_back(rows);
        const QByteArray data = take(qsizetype(rowBytes) * rows, "dots");
        for (const char byte : data) {
            for (int bit = 7; bit >= 0; --bit)
                m_dots.black.push_back((byte >> bit & 1) != 0);
        }
    }

    QByteArray m_rest;
    Dots m_dots;
};

} // namespace

int Dots::count(const QRect& area) const
{
    int sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            sum += at(x, y) ? 1 : 0;
    }
    return sum;
}

QRect Dots::ink(const QRect& area) const
{
    QRect result;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (at(x, y))
                result |= QRect(x, y, 1, 1);
        }
    }
    return result;
}

QImage Dots::picture() const
{
    QImage image(width, height, QImage::Format_Grayscale8);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.scanLine(y)[x] = at(x, y) ? 0 : 255;
    }
    return image;
}

Dots readReceipt(const QByteArray& stream)
{
    return Reader(stream).read();
}

} // namespace harrowmint::test
