#include "simulator/Paper.h"

#include "base/PrinterError.h"

#include <QByteArrayView>
#include <QColor>
#include <algorithm>

namespace harrowmint {

namespace {

constexpr int maximumRowBytes = 72; // 576 dots, paper of 80 mm
constexpr qsizetype maximumRows = 20000;
constexpr int rowsOfALine = 30; // a text line at the printers' default spacing, 3.75 mm
constexpr int dotsPerMetre = 8000;

constexpr char initialise[] = {0x1b, '@'};
constexpr char justification[] = {0x1b, 'a'};
constexpr char feed[] = {0x1b, 'd'};
constexpr char raster[] = {0x1d, 'v', '0'};

/// Reads one stream from its beginning to its end; the position is what the sentences name.
class PaperReader {
public:
    explicit PaperReader(const QByteArray& stream)
        : m_stream(stream)
    {
    }

    QImage read()
    {
        if (!skip(QByteArrayView(initialise, sizeof initialise)))
            fail(QStringLiteral("The stream does not begin by initialising the printer."));
        while (m_position < m_stream.size())
            readCommand();
        if (m_rowBytes == 0)
            fail(QStringLiteral("Nothing is printed."));
        return image();
    }

private:
    [[noreturn]] static void fail(const QString& message) { throw PrinterError(message); }

    [[noreturn]] void failHere(const QString& what, qsizetype position) const
    {
        fail(QStringLiteral("%1 at byte %2.").arg(what).arg(position));
    }

    void readCommand()
    {
        const qsizetype start = m_position;
        if (skip(QByteArrayView(justification, sizeof justification)))
            readJustification(start);
        else if (skip(QByteArrayView(feed, sizeof feed)))
            addRows(QByteArray(), qsizetype(next(start)) * rowsOfALine, start);
        else if (skip(QByteArrayView(raster, sizeof raster)))
            readRaster(start);
        else
            failHere(QStringLiteral("Unknown command"), start);
    }

    void readJustification(qsizetype start)
    {
        if (next(start) != 0)
            failHere(QStringLiteral("Unsupported justification"), start);
    }

    void readRaster(qsizetype start)
    {
        if (next(start) != 0)
            failHere(QStringLiteral("Unsupported raster mode"), start);
        const int rowBytes = nextPair(start);
        const qsizetype rows = nextPair(start);
        if (rowBytes < 1 || rowBytes > maximumRowBytes || rows < 1)
            failHere(QStringLiteral("Impossible raster size"), start);
        if (m_rowBytes != 0 && rowBytes != m_rowBytes)
            failHere(QStringLiteral("Another raster width"), start);
        m_rowBytes = rowBytes;
        const QByteArrayView dots = take(rows * rowBytes, start);
        addRows(dots.toByteArray(), rows, start);
    }

    /// `dots` empty: white rows, whose width need not be known yet.
    void addRows(QByteArray dots, qsizetype rows, qsizetype start)
    {
        m_rows += rows;
        if (m_rows > maximumRows)
            failHere(QStringLiteral("Too much paper"), start);
        m_pieces.append({std::move(dots), rows});
    }

    [[nodiscard]] QImage image() const
    {
        QImage result(m_rowBytes * 8, int(m_rows), QImage::Format_Mono);
        result.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
        result.fill(0);
        result.setDotsPerMeterX(dotsPerMetre);
        result.setDotsPerMeterY(dotsPerMetre);
        int row = 0;
        for (const Piece& piece : m_pieces) {
            for (qsizetype i = 0; i < piece.dots.size(); i += m_rowBytes)
                std::copy_n(piece.dots.constData() + i, m_rowBytes, result.scanLine(row + int(i / m_rowBytes)));
            row += int(piece.rows);
        }
        return result;
    }

    bool skip(QByteArrayView bytes)
    {
        if (!QByteArrayView(m_stream).sliced(m_position).startsWith(bytes))
            return false;
        m_position += bytes.size();
        return true;
    }

    QByteArrayView take(qsizetype count, qsizetype start)
    {
        if (m_stream.size() - m_position < count)
            failHere(QStringLiteral("The stream ends inside the command"), start);
        m_position += count;
        return QByteArrayView(m_stream).sliced(m_position - count, count);
    }

    int next(qsizetype start) { return static_cast<unsigned char>(take(1, start).front()); }

    int nextPair(qsizetype start)
    {
        const int low = next(start);
        return low + 256 * next(start);
    }

    struct Piece {
        QByteArray dots;
        qsizetype rows;
    };

    const QByteArray& m_stream;
    qsizetype m_position = 0;
    int m_rowBytes = 0; ///< 0 until the first raster image
    qsizetype m_rows = 0;
    QList<Piece> m_pieces;
};

} // namespace

QImage paper(const QByteArray& stream)
{
    return PaperReader(stream).read();
}

} // namespace harrowmint
