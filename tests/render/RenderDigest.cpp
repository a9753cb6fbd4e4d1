// Prints the digests of receipts that are written in the scripts of the bundled fonts, one a line: for comparing what
// is printed on different desktops. Needs nothing but what it is started with.
#include "base/Digest.h"
#include "render/Samples.h"
#include "support/LeakSuppressions.h"

#include <QGuiApplication>
#include <QPainter>
#include <cstdio>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString sample = QStringLiteral(
    "Corner Café – office fluffy fjord ffi 1 × AED 12.50   = AED 37.50 (5%) مقهى الزاوية شكراً لزيارتكم ١٢ "
    "Ωμέγα Борщ ґб Ținută şi ŝ ıİ L·l ŀ ℓ");

Receipt lines()
{
    std::vector<ReceiptLine> lines;
    for (int size = 16; size <= 40; size += 3) {
        for (const bool bold : {false, true})
            lines.push_back({sample, double(size), bold, size % 2 == 0, size % 3 == 0});
    }
    lines.push_back(rule());
    return receiptOf(lines, QStringLiteral("https://shop.example.com/"));
}

Receipt document()
{
    return documentOf({textBlock(sample, 30), pairBlock(sample, QStringLiteral("AED 12.50")), codeBlock(sample),
        imageBlock(576, 100, QByteArray(7200, '\x5a'))});
}

/// What the same environment does to text that is drawn the ordinary way: a probe that the environment took effect.
QByteArray ordinaryText()
{
    QImage image(400, 60, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 14));
    painter.drawText(10, 40, QStringLiteral("Ordinary office text"));
    painter.end();
    return sha256Hex(QByteArray(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes())).toUtf8();
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    for (const Receipt& receipt : {lines(), document()}) {
        for (const int paper : {58, 80}) {
            const QByteArray bytes = RasterReceipt::render(receipt, paper).bytes();
            std::printf("%s\n", sha256Hex(bytes).toUtf8().constData());
        }
    }
    std::printf("ordinary %s ratio %g\n", ordinaryText().constData(), application.devicePixelRatio());
    return 0;
}
