#include "simulator/Paper.h"

#include "base/PrinterError.h"

namespace harrowmint {
namespace {

/// The rows of an image, "#" for a black dot.
QStringList picture(const QImage& image)
{
    QStringList rows;
    for (int y = 0; y < image.height(); ++y) {
        QString row;
        for (int x = 0; x < image.width(); ++x)
            row += image.pixel(x, y) == qRgb(0, 0, 0) ? u'#' : image.pixel(x, y) == qRgb(255, 255, 255) ? u'.' : u'?';
        rows += row;
    }
    return rows;
}

QStringList white(int rows, int width)
{
    return QStringList(rows, QString(width, u'.'));
}

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

QString refusal(const QByteArray& stream)
{
    try {
        static_cast<void>(paper(stream));
    } catch (const PrinterError& error) {
        return error.message();
    }
    return {};
}

TEST(Paper, OfTheSmallestLabelIsOneDot)
{
    EXPECT_EQ(picture(paper(bytes("1b40 1d763000 0100 0100 80"))), QStringList{QStringLiteral("#.......")});
}

TEST(Paper, HasTheLeftmostDotInTheHighestBit)
{
    EXPECT_EQ(picture(paper(bytes("1b40 1d763000 0200 0300 8001 55ff 0000"))),
        (QStringList{QStringLiteral("#..............#"), QStringLiteral(".#.#.#.#########"), //
            QStringLiteral("................")}));
}

TEST(Paper, OfAReceiptJoinsItsBandsAndFeedsWhiteLines)
{
    const QImage image = paper(bytes("1b40 1b6100 1d763000 0100 0200 f00f 1d763000 0100 0100 aa 1b6404"));
    EXPECT_EQ(picture(image),
        (QStringList{QStringLiteral("####...."), QStringLiteral("....####"), QStringLiteral("#.#.#.#.")}
            + white(120, 8)));
}

TEST(Paper, IsWhiteWhereItIsFedBeforeAndBetween)
{
    EXPECT_EQ(picture(paper(bytes("1b40 1b6401 1d763000 0100 0100 ff 1b6402 1d763000 0100 0100 ff 1b6400"))),
        white(30, 8) + QStringList{QStringLiteral("########")} + white(60, 8)
            + QStringList{QStringLiteral("########")});
}

TEST(Paper, ReadsTheHighByteOfTheHeight)
{
    const QImage image = paper(bytes("1b40 1d763000 0100 2c01") + QByteArray(299, '\0') + '\x01');
    ASSERT_EQ(image.size(), QSize(8, 300));
    EXPECT_EQ(picture(image), white(299, 8) + QStringList{QStringLiteral(".......#")});
}

TEST(Paper, IsAOneBitImageOf203DotsPerInch)
{
    const QImage image = paper(bytes("1b40 1d763000 4800 0100") + QByteArray(72, '\0'));
    EXPECT_EQ(image.size(), QSize(576, 1));
    EXPECT_EQ(image.depth(), 1);
    EXPECT_EQ(image.dotsPerMeterX(), 8000);
    EXPECT_EQ(image.dotsPerMeterY(), 8000);
}

TEST(Paper, DoesNotTakeDotsForCommands)
{
    EXPECT_EQ(picture(paper(bytes("1b40 1d763000 0300 0100 1b6404"))),
        QStringList{QStringLiteral("...##.##.##..#.......#..")});
}

TEST(Paper, MayBe20000RowsLong)
{
    const QByteArray start = bytes("1b40 1d763000 0100 204e") + QByteArray(20000, '\0');
    EXPECT_EQ(paper(start).height(), 20000);
    EXPECT_EQ(refusal(start + bytes("1d763000 0100 0100 00")), QStringLiteral("Too much paper at byte 20010."));
    EXPECT_EQ(refusal(start + bytes("1b6401")), QStringLiteral("Too much paper at byte 20010."));
    EXPECT_EQ(refusal("\x1b@" + QByteArray("\x1b\x64\xff").repeated(3)), QStringLiteral("Too much paper at byte 8."));
}

struct Row {
    const char* name;
    QByteArray stream;
    const char* message;
};

class RefusedStream : public ::testing::TestWithParam<Row> { };

TEST_P(RefusedStream, IsRefusedWithItsSentence)
{
    EXPECT_EQ(refusal(GetParam().stream), QString::fromLatin1(GetParam().message));
}

constexpr char notInitialised[] = "The stream does not begin by initialising the printer.";

INSTANTIATE_TEST_SUITE_P(Streams, RefusedStream,
    ::testing::Values(Row{"Empty", "", notInitialised}, //
        Row{"HalfOfTheFirstCommand", bytes("1b"), notInitialised},
        Row{"ImageFirst", bytes("1d763000 0100 0100 80"), notInitialised},
        Row{"BlankFirst", bytes("20 1b40 1d763000 0100 0100 80"), notInitialised},
        Row{"InitialiseAlone", bytes("1b40"), "Nothing is printed."},
        Row{"FeedAlone", bytes("1b40 1b6404"), "Nothing is printed."},
        Row{"InitialiseAgain", bytes("1b40 1d763000 0100 0100 80 1b40"), "Unknown command at byte 11."},
        Row{"Text", "\x1b@hello\n", "Unknown command at byte 2."},
        Row{"TextBehind", bytes("1b40 1d763000 0100 0100 80 0a"), "Unknown command at byte 11."},
        Row{"OneByteMoreOfTheImage", bytes("1b40 1d763000 0100 0100 80 00"), "Unknown command at byte 11."},
        Row{"Cut", bytes("1b40 1d763000 0100 0100 80 1d5600"), "Unknown command at byte 11."},
        Row{"FeedInDots", bytes("1b40 1b4a10"), "Unknown command at byte 2."},
        Row{"OtherRasterCommand", bytes("1b40 1d763100 0100 0100 80"), "Unknown command at byte 2."},
        Row{"Centred", bytes("1b40 1b6101"), "Unsupported justification at byte 2."},
        Row{"JustificationInText", bytes("1b40 1b6130"), "Unsupported justification at byte 2."},
        Row{"DoubleWidth", bytes("1b40 1d763001 0100 0100 80"), "Unsupported raster mode at byte 2."},
        Row{"NoWidth", bytes("1b40 1d763000 0000 0100"), "Impossible raster size at byte 2."},
        Row{"NoHeight", bytes("1b40 1d763000 0100 0000"), "Impossible raster size at byte 2."},
        Row{"WiderThanThePaper", bytes("1b40 1d763000 4900 0100") + QByteArray(73, '\0'),
            "Impossible raster size at byte 2."},
        Row{"HighByteOfTheWidth", bytes("1b40 1d763000 0101 0100") + QByteArray(257, '\0'),
            "Impossible raster size at byte 2."},
        Row{"TwoWidths", bytes("1b40 1d763000 0100 0100 80 1d763000 0200 0100 8000"),
            "Another raster width at byte 11."},
        Row{"EscapeAtTheEnd", bytes("1b40 1d763000 0100 0100 80 1b"), "Unknown command at byte 11."},
        Row{"FeedWithoutItsCount", bytes("1b40 1b64"), "The stream ends inside the command at byte 2."},
        Row{"JustificationWithoutItsKind", bytes("1b40 1b61"), "The stream ends inside the command at byte 2."},
        Row{"RasterWithoutItsMode", bytes("1b40 1d7630"), "The stream ends inside the command at byte 2."},
        Row{"RasterWithoutItsHeight", bytes("1b40 1d763000 0100 01"), "The stream ends inside the command at byte 2."},
        Row{"RasterWithADotTooFew", bytes("1b40 1d763000 0100 0200 80"),
            "The stream ends inside the command at byte 2."}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace harrowmint
