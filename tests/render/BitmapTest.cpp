#include "render/Samples.h"

#include <gtest/gtest.h>
#include <random>

namespace harrowmint::test {
namespace {

/// The dots of the picture by the rule for printing, alpha ignored.
std::vector<bool> thresholded(const QImage& image)
{
    std::vector<bool> black;
    for (int y = 0; y < image.height(); ++y) {
        const uchar* sample = image.constScanLine(y);
        for (int x = 0; x < image.width(); ++x, sample += 4)
            black.push_back(sample[0] + sample[1] + sample[2] < 450);
    }
    return black;
}

void expectPictureOf(const Receipt& receipt, int paperWidth)
{
    const RasterReceipt raster = RasterReceipt::render(receipt, paperWidth);
    const QImage picture = raster.bitmap();
    const Dots dots = readReceipt(raster.bytes());
    ASSERT_EQ(picture.format(), QImage::Format_RGBA8888);
    ASSERT_EQ(picture.size(), QSize(dots.width, dots.height));
    EXPECT_EQ(picture.devicePixelRatio(), 1.0);
    EXPECT_TRUE(thresholded(picture) == dots.black);
}

class Words {
public:
    explicit Words(unsigned seed)
        : m_random(seed)
    {
    }

    int below(int limit) { return int(m_random() % unsigned(limit)); }

    QString text(int words)
    {
        static const QStringList parts = {QStringLiteral("Chicken"), QStringLiteral("شاورما"), QStringLiteral("دجاج"),
            QStringLiteral("12.50"), QStringLiteral("AED"), QStringLiteral("jfÅçğ"), QStringLiteral("Ωμέγα"),
            QStringLiteral("Борщ"), QStringLiteral("漢字"), QStringLiteral("😀👩‍👩‍👧"),
            QStringLiteral("e\u0301\u0323\u0302"), QStringLiteral("شُكْرًا"),
            QStringLiteral("Donaudampfschifffahrtsgesellschaftskapitän"), QStringLiteral("(قطعتان)"),
            QStringLiteral("\u2028"), QStringLiteral("\u2029"), QStringLiteral("ﷺ")};
        QStringList chosen;
        for (int i = 0; i < words; ++i)
            chosen.append(parts[below(int(parts.size()))]);
        return chosen.join(u' ');
    }

    QByteArray bytes(int count)
    {
        QByteArray result;
        for (int i = 0; i < count; ++i)
            result.append(char(below(256)));
        return result;
    }

private:
    std::mt19937 m_random;
};

class PictureOf : public ::testing::TestWithParam<unsigned> { };

TEST_P(PictureOf, ARandomReceiptThresholdsToItsBytes)
{
    SCOPED_TRACE(GetParam());
    Words words(GetParam());
    std::vector<ReceiptLine> lines;
    for (int i = words.below(12); i >= 0; --i)
        lines.push_back({words.text(words.below(9)), double(16 + words.below(25)), words.below(2) == 0,
            words.below(2) == 0, words.below(2) == 0});
    lines.push_back(rule());
    expectPictureOf(receiptOf(lines, QStringLiteral("https://shop.example.com/")), words.below(2) ? 58 : 80);
}

TEST_P(PictureOf, ARandomDocumentThresholdsToItsBytes)
{
    SCOPED_TRACE(GetParam());
    Words words(GetParam());
    std::vector<ReceiptBlock> blocks;
    for (int i = words.below(8); i >= 0; --i) {
        ReceiptBlock text = words.below(2) ? textBlock(words.text(words.below(9)), 16 + words.below(25))
                                           : pairBlock(words.text(3), words.text(3), 0.3 + words.below(40) / 100.0);
        text.align = QStringList{QStringLiteral("natural"), QStringLiteral("left"), QStringLiteral("right"),
            QStringLiteral("center")}[words.below(4)];
        text.bold = words.below(2) == 0;
        blocks.push_back(text);
    }
    const int width = 8 * (1 + words.below(72));
    blocks.push_back(imageBlock(width, 50, words.bytes(width / 8 * 50)));
    blocks.push_back(codeBlock(words.text(5)));
    blocks.push_back(ruleBlock(3, 5));
    expectPictureOf(documentOf(blocks), words.below(2) ? 58 : 80);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PictureOf, ::testing::Range(1u, 26u));

TEST(Bitmap, IsOpaqueAndHasGreyLevelsWhereLettersAreSmooth)
{
    const QImage picture = RasterReceipt::render(receiptOf({line(QStringLiteral("smooth"))}), 80).bitmap();
    bool hasGrey = false;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb pixel = picture.pixel(x, y);
            ASSERT_EQ(qAlpha(pixel), 255);
            hasGrey = hasGrey || (qRed(pixel) > 0 && qRed(pixel) < 255);
        }
    }
    EXPECT_TRUE(hasGrey);
}

TEST(Bitmap, OutlivesWhatItWasMadeFrom)
{
    std::optional<RasterReceipt> receipt = RasterReceipt::render(receiptOf({line(QStringLiteral("kept"))}), 80);
    const RasterReceipt copy = *receipt;
    receipt.reset();
    EXPECT_TRUE(thresholded(copy.bitmap()) == readReceipt(copy.bytes()).black);
}

} // namespace
} // namespace harrowmint::test
