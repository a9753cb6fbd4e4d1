#include "app/PrinterMenuIcon.h"

#include <QPainter>

using namespace harrowmint;
using PrinterMenuIcon::Background;

namespace {

class IconSide : public ::testing::TestWithParam<int> { };

int differingPixels(const QImage& left, const QImage& right)
{
    int count = 0;
    for (int y = 0; y < left.height(); ++y) {
        for (int x = 0; x < left.width(); ++x)
            count += left.pixel(x, y) != right.pixel(x, y) ? 1 : 0;
    }
    return count;
}

TEST_P(IconSide, IsFilledFromEdgeToEdgeAndRoundAtItsCorners)
{
    const int side = GetParam();
    const QImage image = PrinterMenuIcon::draw(side, Background::Light);
    ASSERT_EQ(image.size(), QSize(side, side));
    for (const QPoint corner : {QPoint(0, 0), QPoint(side - 1, 0), QPoint(0, side - 1), QPoint(side - 1, side - 1)})
        EXPECT_LT(qAlpha(image.pixel(corner)), 100) << corner.x() << ' ' << corner.y();
    const int margin = side * 5 / 100;
    EXPECT_EQ(qAlpha(image.pixel(margin, side / 2)), 255);
    EXPECT_EQ(qAlpha(image.pixel(side / 2, margin)), 255);
    EXPECT_EQ(qAlpha(image.pixel(side - 1 - margin, side / 2)), 255);
}

TEST_P(IconSide, ShowsWhitePaperWithPrintOnItAndADarkPrinter)
{
    const int side = GetParam();
    const QImage image = PrinterMenuIcon::draw(side, Background::Light);
    int paper = 0;
    int print = 0;
    for (int y = side * 20 / 100; y < side * 48 / 100; ++y) {
        for (int x = side * 32 / 100; x < side * 68 / 100; ++x) {
            const QRgb pixel = image.pixel(x, y);
            paper += pixel == qRgb(255, 255, 255) ? 1 : 0;
            print += qGreen(pixel) < 0x90 ? 1 : 0;
        }
    }
    const int area = side * side;
    EXPECT_GT(paper, area * 3 / 100);
    EXPECT_GT(print, area / 200);
    EXPECT_LT(qGray(image.pixel(side * 45 / 100, side * 70 / 100)), 60);
}

TEST_P(IconSide, HasItsPartsInTheMiddle)
{
    // All but the lines and the lamp is symmetric: the outline and the paper's edges.
    const int side = GetParam();
    const QImage image = PrinterMenuIcon::draw(side, Background::Light);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side * 30 / 100; ++x) {
            // The lamp's column is left out.
            if (x >= side * 20 / 100 && y >= side * 60 / 100)
                continue;
            EXPECT_NEAR(qGray(image.pixel(x, y)), qGray(image.pixel(side - 1 - x, y)), 24) << x << ' ' << y;
        }
    }
}

TEST_P(IconSide, StandsOutFromLightAndDarkBackgrounds)
{
    const int side = GetParam();
    for (const auto& [background, colour] :
        {std::pair{Background::Light, QColor(250, 250, 250)}, std::pair{Background::Dark, QColor(35, 38, 41)}}) {
        QImage shown(side, side, QImage::Format_RGB32);
        shown.fill(colour);
        QPainter(&shown).drawImage(0, 0, PrinterMenuIcon::draw(side, background));
        // Left of the paper there is only the tile.
        const QRgb tile = shown.pixel(side * 15 / 100, side / 2 - side / 10);
        EXPECT_GT(std::abs(qGray(tile) - qGray(colour.rgb())), 60);
    }
    EXPECT_GT(
        differingPixels(PrinterMenuIcon::draw(side, Background::Light), PrinterMenuIcon::draw(side, Background::Dark)),
        side * side / 3);
}

INSTANTIATE_TEST_SUITE_P(Each, IconSide, ::testing::ValuesIn(PrinterMenuIcon::sides));

TEST(PrinterMenuIconTest, HasAPictureForEachSideAndNoneIsScaled)
{
    for (const QIcon& icon : {PrinterMenuIcon::make(true), PrinterMenuIcon::applicationImage()}) {
        for (const int side : PrinterMenuIcon::sides)
            EXPECT_EQ(icon.actualSize(QSize(side, side)), QSize(side, side));
    }
    EXPECT_EQ(PrinterMenuIcon::make(true).pixmap(24, 24).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied),
        PrinterMenuIcon::draw(24, Background::Light));
}

TEST(PrinterMenuIconTest, FallsBackOnTheDrawnPictureWhereTheThemeHasNone)
{
    EXPECT_FALSE(PrinterMenuIcon::make().isNull());
    EXPECT_EQ(PrinterMenuIcon::make().pixmap(32, 32).toImage(), PrinterMenuIcon::make(true).pixmap(32, 32).toImage());
}

} // namespace
