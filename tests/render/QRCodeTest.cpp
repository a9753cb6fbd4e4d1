#include "render/QRCode.h"

#include "render/Samples.h"

#include <ZXing/ReadBarcode.h>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

struct Read {
    QByteArray payload;
    std::string level;
};

/// What a reader makes of the one code in the picture.
std::vector<Read> readCodes(const QImage& grey)
{
    const ZXing::ImageView view(
        grey.constBits(), grey.width(), grey.height(), ZXing::ImageFormat::Lum, int(grey.bytesPerLine()));
    ZXing::DecodeHints hints;
    hints.setFormats(ZXing::BarcodeFormat::QRCode);
    std::vector<Read> codes;
    for (const ZXing::Result& result : ZXing::ReadBarcodes(view, hints)) {
        const auto& bytes = result.bytes();
        codes.push_back(
            {QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())), result.ecLevel()});
    }
    return codes;
}

void expectCode(const Dots& dots, const QByteArray& payload)
{
    const std::vector<Read> codes = readCodes(dots.picture());
    ASSERT_EQ(codes.size(), 1u);
    EXPECT_EQ(codes[0].payload, payload);
    EXPECT_EQ(codes[0].level, "M");
}

QString address(int bytes)
{
    return QStringLiteral("https://") + QString(bytes - 9, u'a') + u'/';
}

/// Level M holds so many bytes in the code of `modules` modules a side (ISO/IEC 18004, table 7).
struct Capacity {
    int bytes;
    int modules;
};

constexpr Capacity capacities[] = {{14, 21}, {26, 25}, {42, 29}, {62, 33}, {84, 37}, {106, 41}, {122, 45}, {152, 49},
    {180, 53}, {213, 57}, {251, 61}, {287, 65}, {331, 69}, {362, 73}, {412, 77}, {450, 81}, {504, 85}, {560, 89},
    {624, 93}, {666, 97}, {711, 101}, {779, 105}, {857, 109}, {911, 113}, {997, 117}, {1059, 121}, {1125, 125},
    {1190, 129}, {1264, 133}, {1370, 137}, {1452, 141}, {1538, 145}, {1628, 149}, {1722, 153}, {1809, 157}, {1911, 161},
    {1989, 165}, {2099, 169}, {2213, 173}, {2331, 177}};

TEST(QRCode, IsTheSmallestThatHoldsItsPayloadAtLevelM)
{
    for (std::size_t i = 0; i < std::size(capacities); ++i) {
        const auto code = QRCode::encode(QByteArray(capacities[i].bytes, 'a'));
        ASSERT_TRUE(code);
        EXPECT_EQ(code->modules, capacities[i].modules);
        EXPECT_EQ(code->dark.size(), capacities[i].modules * capacities[i].modules);
        const auto larger = QRCode::encode(QByteArray(capacities[i].bytes + 1, 'a'));
        if (i + 1 < std::size(capacities))
            EXPECT_EQ(larger->modules, capacities[i + 1].modules);
        else
            EXPECT_FALSE(larger);
    }
}

TEST(QRCode, StaysInByteModeForDigits)
{
    EXPECT_EQ(QRCode::encode(QByteArray(14, '7'))->modules, 21);
    EXPECT_EQ(QRCode::encode(QByteArray(15, '7'))->modules, 25);
}

TEST(QRCode, OfNothingCannotBeMade)
{
    EXPECT_FALSE(QRCode::encode({}));
}

TEST(QRCode, HoldsAnyBytes)
{
    QByteArray payload;
    for (int i = 0; i < 256; ++i)
        payload.append(char(i));
    const auto code = QRCode::encode(payload);
    ASSERT_TRUE(code);
    QImage picture((code->modules + 8) * 4, (code->modules + 8) * 4, QImage::Format_Grayscale8);
    picture.fill(255);
    for (const QRect& area : code->areas(4, picture.width(), 0)) {
        for (int y = area.top(); y <= area.bottom(); ++y)
            std::fill_n(picture.scanLine(y) + area.left(), area.width(), uchar(0));
    }
    const std::vector<Read> codes = readCodes(picture);
    ASSERT_EQ(codes.size(), 1u);
    EXPECT_EQ(codes[0].payload, payload);
}

class StoreCode : public ::testing::TestWithParam<Capacity> { };

TEST_P(StoreCode, IsCentredBelowTheLinesWithItsQuietZone)
{
    const auto& [bytes, modules] = GetParam();
    const int scale = 280 / (modules + 8);
    const int linesEnd = 12 + fontLineHeight(23) + 10;
    for (const int paper : {58, 80}) {
        const Dots dots = printed(receiptOf({line(QStringLiteral("x"))}, address(bytes)), paper);
        EXPECT_EQ(dots.height, allowance + fontLineHeight(23) + 10 + (modules + 8) * scale + 12);
        const int left = (dots.width - modules * scale) / 2;
        const QRect below(0, linesEnd, dots.width, dots.height - linesEnd);
        EXPECT_EQ(dots.ink(below), QRect(left, linesEnd + 4 * scale, modules * scale, modules * scale));
        expectCode(dots, address(bytes).toUtf8());
    }
}

TEST_P(StoreCode, HasModulesOfWholeSquares)
{
    const auto& [bytes, modules] = GetParam();
    const int scale = 280 / (modules + 8);
    const Dots dots = printed(receiptOf({}, address(bytes)));
    const QRect area = dots.ink();
    for (int y = 0; y < area.height(); ++y) {
        for (int x = 0; x < area.width(); ++x) {
            const bool module = dots.at(area.left() + x / scale * scale, area.top() + y / scale * scale);
            ASSERT_EQ(dots.at(area.left() + x, area.top() + y), module) << x << " " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, StoreCode,
    ::testing::Values(Capacity{14, 21}, Capacity{26, 25}, Capacity{62, 33}, Capacity{300, 69}, Capacity{512, 89},
        Capacity{1190, 129}),
    [](const auto& info) { return "Bytes" + std::to_string(info.param.bytes); });

TEST(StoreCode, Of33ModulesTakes246Rows)
{
    EXPECT_EQ(printed(receiptOf({}, address(62))).height, allowance + 246 + 12);
}

TEST(StoreCode, WithModulesOfOneDotFails)
{
    EXPECT_EQ(failureOf(receiptOf({}, address(1190))), QString());
    EXPECT_EQ(failureOf(receiptOf({}, address(1191))), QStringLiteral("Store QR code is too large."));
    EXPECT_EQ(failureOf(receiptOf({}, address(2331))), QStringLiteral("Store QR code is too large."));
}

TEST(StoreCode, ThatNoCodeCanHoldFails)
{
    EXPECT_EQ(failureOf(receiptOf({}, address(2332))), QStringLiteral("Unable to render the store QR code."));
}

ReceiptBlock sized(int payloadBytes, int size, int width)
{
    ReceiptBlock result = codeBlock(address(payloadBytes), size);
    result.width = width;
    return result;
}

struct DocumentCodeCase {
    const char* name;
    int paper;
    int payloadBytes;
    int size;
    int width;
    int modules;
    int scale;
};

class DocumentCode : public ::testing::TestWithParam<DocumentCodeCase> { };

TEST_P(DocumentCode, StandsAtTheTopOfItsRowCentred)
{
    const DocumentCodeCase& c = GetParam();
    const Dots dots =
        printed(documentOf({ruleBlock(2, 5), sized(c.payloadBytes, c.size, c.width), ruleBlock(1, 0)}, 0), c.paper);
    const int side = (c.modules + 8) * c.scale;
    EXPECT_EQ(dots.height, 24 + 7 + side + 12 + 1);
    const int top = 12 + 7;
    EXPECT_EQ(dots.ink(QRect(0, top, dots.width, side)),
        QRect((dots.width - side) / 2 + 4 * c.scale, top + 4 * c.scale, c.modules * c.scale, c.modules * c.scale));
    EXPECT_EQ(dots.count(QRect(16, top + side + 12, dots.width - 32, 1)), dots.width - 32);
    expectCode(dots, address(c.payloadBytes).toUtf8());
}

INSTANTIATE_TEST_SUITE_P(Table, DocumentCode,
    ::testing::Values(DocumentCodeCase{"SizeIsTheTarget", 80, 26, 280, 0, 25, 280 / 33},
        DocumentCodeCase{"LargestSize", 80, 26, 320, 0, 25, 320 / 33},
        DocumentCodeCase{"SmallestSize", 80, 26, 128, 0, 25, 3}, DocumentCodeCase{"NarrowPaper", 58, 62, 320, 0, 33, 7},
        DocumentCodeCase{"WidthInsteadOfSize", 80, 26, 280, 200, 25, 6},
        DocumentCodeCase{"WidthAboveTheColumn", 58, 26, 280, 1000, 25, 352 / 33},
        DocumentCodeCase{"NegativeWidthIsNone", 80, 26, 280, -5, 25, 8},
        DocumentCodeCase{"LongestPayload", 58, 512, 320, 0, 89, 3},
        DocumentCodeCase{"TwoDotModules", 80, 251, 138, 0, 61, 2}),
    [](const auto& info) { return info.param.name; });

TEST(DocumentCode, ReadsBackUnicodePayloads)
{
    const QString payload = QStringLiteral("المبلغ: 71.50 درهم – größe 漢字 😀");
    for (const int paper : {58, 80})
        expectCode(printed(documentOf({codeBlock(payload)}), paper), payload.toUtf8());
}

TEST(DocumentCode, ThatFitsOnlyOneDotAModuleFails)
{
    // 53 modules and the quiet zone are 61: twice in 122 dots, and once in 121.
    const QString failure = QStringLiteral("Receipt QR cannot fit this paper width.");
    EXPECT_EQ(failureOf(documentOf({sized(180, 122, 0)})), QString());
    EXPECT_EQ(failureOf(documentOf({sized(180, 121, 0)})), failure);
    EXPECT_EQ(failureOf(documentOf({sized(180, 280, 121)})), failure);
    EXPECT_EQ(failureOf(documentOf({sized(2331, 5000, 0)}), 58), failure);
}

TEST(DocumentCode, ThatCannotBeMadeFails)
{
    const QString failure = QStringLiteral("Unable to render receipt QR.");
    EXPECT_EQ(failureOf(documentOf({codeBlock(QString())})), failure);
    EXPECT_EQ(failureOf(documentOf({codeBlock(QString(2332, u'a'), 500)})), failure);
}

} // namespace
} // namespace harrowmint::test
