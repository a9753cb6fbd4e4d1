#include "render/TextBlock.h"

#include "render/Paper.h"
#include "render/Samples.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

constexpr int paperWidth = 576;
constexpr int left = 16;
constexpr int top = 12;

struct Drawn {
    int height;
    Dots dots;
};

Drawn draw(const QString& text, const TextStyle& style = {}, int width = 544)
{
    const TextBlock block(text, style, width);
    Paper paper(paperWidth, block.height() + 100);
    block.drawOn(paper, QPoint(left, top));
    return {block.height(), readReceipt(paper.take())};
}

/// The lengths of the black runs of a row.
std::vector<int> runs(const Dots& dots, int y)
{
    std::vector<int> result;
    for (int x = 0; x < dots.width; ++x) {
        if (!dots.at(x, y))
            continue;
        if (x == 0 || !dots.at(x - 1, y))
            result.push_back(0);
        ++result.back();
    }
    return result;
}

/// The bounds of every connected group of black dots, corners included.
std::vector<QRect> groups(Dots dots)
{
    std::vector<QRect> result;
    for (int start = 0; start < dots.width * dots.height; ++start) {
        if (!dots.black[std::size_t(start)])
            continue;
        QRect bounds;
        std::vector<QPoint> open = {QPoint(start % dots.width, start / dots.width)};
        while (!open.empty()) {
            const QPoint dot = open.back();
            open.pop_back();
            if (!QRect(0, 0, dots.width, dots.height).contains(dot) || !dots.at(dot.x(), dot.y()))
                continue;
            dots.black[std::size_t(dot.y()) * std::size_t(dots.width) + std::size_t(dot.x())] = false;
            bounds |= QRect(dot, QSize(1, 1));
            for (int i = 0; i < 9; ++i)
                open.push_back(dot + QPoint(i % 3 - 1, i / 3 - 1));
        }
        result.push_back(bounds);
    }
    return result;
}

TEST(TextBlock, TakesOneLineWhenEmpty)
{
    for (const QString& text : {QString(), QStringLiteral(""), QStringLiteral(" "), QStringLiteral("x")})
        EXPECT_EQ(draw(text).height, fontLineHeight(23));
}

struct Broken {
    const char* name;
    QString text;
    int lines;
};

class TextBlockBreaks : public ::testing::TestWithParam<Broken> { };

TEST_P(TextBlockBreaks, IntoLines)
{
    EXPECT_EQ(draw(GetParam().text).height, GetParam().lines * fontLineHeight(23));
}

INSTANTIATE_TEST_SUITE_P(Table, TextBlockBreaks,
    ::testing::Values(Broken{"LineSeparator", QStringLiteral("a\u2028b"), 2},
        Broken{"ParagraphSeparator", QStringLiteral("a\u2029b"), 2}, Broken{"LineFeed", QStringLiteral("a\nb"), 2},
        Broken{"CarriageReturn", QStringLiteral("a\rb"), 2}, Broken{"BothTogether", QStringLiteral("a\r\nb"), 2},
        Broken{"TwoOfThem", QStringLiteral("a\n\nb"), 3}, Broken{"NextLine", QStringLiteral("a\u0085b"), 2},
        Broken{"AtTheEnd", QStringLiteral("a\u2029"), 2}, Broken{"AtTheStart", QStringLiteral("\u2029a"), 2},
        Broken{"TwoLineSeparators", QStringLiteral("a\u2028\u2028b"), 3},
        Broken{"LineSeparatorAtTheEnd", QStringLiteral("a\u2028"), 2},
        Broken{"NoBreakSpace", QStringLiteral("a\u00a0b"), 1}),
    [](const auto& info) { return info.param.name; });

TEST(TextBlock, AlignsEachParagraphByItsOwnDirection)
{
    const Drawn drawn = draw(QStringLiteral("Hello\u2029مرحبا\u202912 مرحبا\u2029123"));
    const int row = fontLineHeight(23);
    const auto ink = [&](int line) { return drawn.dots.ink(QRect(0, top + line * row, paperWidth, row)); };
    EXPECT_NEAR(ink(0).left(), left, 3);
    EXPECT_NEAR(ink(1).right() + 1, 560, 3);
    EXPECT_NEAR(ink(2).right() + 1, 560, 3);
    EXPECT_NEAR(ink(3).left(), left, 3);
}

TEST(TextBlock, KeepsTheParagraphsDirectionAfterALineSeparator)
{
    const Drawn drawn = draw(QStringLiteral("مرحبا\u2028Hello"));
    const int row = fontLineHeight(23);
    EXPECT_NEAR(drawn.dots.ink(QRect(0, top + row, paperWidth, row)).right() + 1, 560, 3);
}

TEST(TextBlock, PutsWrappedLinesToTheSideOfTheirAlignment)
{
    const QString words =
        QStringLiteral("word longer words and words that fill some lines of the column ").repeated(3) + u'.';
    const int row = fontLineHeight(23);
    const Drawn right = draw(words, {23, false, TextAlignment::Right});
    const Drawn middle = draw(words, {23, false, TextAlignment::Center});
    for (int line = 0; line * row < right.height; ++line) {
        const QRect area(0, top + line * row, paperWidth, row);
        EXPECT_NEAR(right.dots.ink(area).right() + 1, 560, 3) << line;
        const QRect ink = middle.dots.ink(area);
        EXPECT_NEAR(ink.left() + ink.right() + 1, paperWidth, 5) << line;
    }
}

TEST(TextBlock, PutsWrappedRightToLeftLinesToTheRight)
{
    const Drawn drawn = draw(QStringLiteral("خبز تنور طازج مع زعتر وجبنة بيضاء وزيت زيتون بلدي ").repeated(4));
    const int row = fontLineHeight(23);
    ASSERT_GT(drawn.height, 2 * row);
    for (int line = 0; line * row < drawn.height; ++line)
        EXPECT_NEAR(drawn.dots.ink(QRect(0, top + line * row, paperWidth, row)).right() + 1, 560, 4) << line;
}

TEST(TextBlock, WrapsBetweenWordsBeforeItBreaksOne)
{
    const Drawn two = draw(QStringLiteral("mmmmmmmmmm mmmmmmmmmm"), {}, 300);
    EXPECT_EQ(two.height, 2 * fontLineHeight(23));
    const int row = fontLineHeight(23);
    EXPECT_EQ(two.dots.ink(QRect(0, top, paperWidth, row)).width(),
        two.dots.ink(QRect(0, top + row, paperWidth, row)).width());
}

TEST(TextBlock, BreaksAWordThatIsWiderThanTheColumn)
{
    for (const QString& word :
        {QString(200, u'W'), QString(300, u'i'), QString(120, QChar(0x0645)), QString(100, u'/')}) {
        const Drawn drawn = draw(word);
        EXPECT_GE(drawn.height, 2 * fontLineHeight(23));
        EXPECT_GE(drawn.dots.ink().left(), left);
        EXPECT_LT(drawn.dots.ink().right(), 560);
    }
    const Drawn once = draw(QStringLiteral("W"));
    EXPECT_EQ(draw(QString(200, u'W')).dots.count(), 200 * once.dots.count()) << "no letter is lost";
}

TEST(TextBlock, CutsAGlyphThatIsWiderThanItsColumn)
{
    const Drawn drawn = draw(QStringLiteral("W\ufdfaW"), {40, true, TextAlignment::Natural}, 20);
    EXPECT_GT(drawn.dots.count(), 0);
    EXPECT_GE(drawn.dots.ink().left(), left);
    EXPECT_LT(drawn.dots.ink().right(), left + 20);
}

TEST(TextBlock, MovesAnOverhangingLetterIntoItsColumnWhole)
{
    for (int size = 16; size <= 40; ++size) {
        const TextStyle style{double(size), false, TextAlignment::Left};
        const int alone = draw(QStringLiteral("j"), style).dots.count();
        const int beside =
            draw(QStringLiteral("H  j"), style).dots.count() - draw(QStringLiteral("H"), style).dots.count();
        EXPECT_EQ(alone, beside) << size;
        const Drawn right = draw(QStringLiteral("f"), {double(size), true, TextAlignment::Right});
        EXPECT_EQ(
            right.dots.count(), draw(QStringLiteral("f"), {double(size), true, TextAlignment::Left}).dots.count());
    }
}

class StemsAt : public ::testing::TestWithParam<int> { };

TEST_P(StemsAt, AreTwoDotsAndEvenEverywhereInALine)
{
    const Drawn drawn = draw(QStringLiteral("lilIll illI llil"), {double(GetParam()), false, TextAlignment::Left});
    const int middle = top + GetParam() * 13 / 20;
    std::vector<int> stems = runs(drawn.dots, middle + 2);
    EXPECT_EQ(stems, std::vector<int>(14, 2));
}

INSTANTIATE_TEST_SUITE_P(Sizes, StemsAt, ::testing::Values(19, 20, 21, 22, 23));

TEST(TextBlock, DrawsALetterAlikeAtEveryPlace)
{
    for (int size = 16; size <= 40; ++size) {
        const Dots dots = draw(QStringLiteral("a a a a a a a a"), {double(size), false, TextAlignment::Left}).dots;
        const std::vector<QRect> letters = groups(dots);
        ASSERT_EQ(letters.size(), 8u);
        for (const QRect& letter : letters) {
            EXPECT_EQ(letter.size(), letters[0].size());
            EXPECT_EQ(dots.count(letter), dots.count(letters[0]));
        }
    }
}

class JoinedAt : public ::testing::TestWithParam<int> { };

TEST_P(JoinedAt, ArabicLettersTouchFromTheFirstToTheLast)
{
    for (const bool bold : {false, true}) {
        for (const QString& word : {QStringLiteral("مستشفى"), QStringLiteral("لمسلم"), QStringLiteral("بيضتين"),
                 QStringLiteral("كهم"), QStringLiteral("عليه"), QStringLiteral("حسن")}) {
            const Dots dots = draw(word, {double(GetParam()), bold, TextAlignment::Natural}).dots;
            int widest = 0;
            for (const QRect& group : groups(dots))
                widest = std::max(widest, group.width());
            EXPECT_GE(widest, dots.ink().width() - 2) << word.toStdString() << (bold ? " bold" : "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, JoinedAt, ::testing::Range(16, 41));

TEST(TextBlock, ShapesArabicFromRightToLeft)
{
    // An isolated alef is a bare stem: it stands right of the beh, which is first typed.
    const Drawn drawn = draw(QStringLiteral("اب"));
    std::vector<QRect> shapes = groups(drawn.dots);
    const auto tallest = std::max_element(
        shapes.begin(), shapes.end(), [](const QRect& a, const QRect& b) { return a.height() < b.height(); });
    EXPECT_EQ(tallest->right(), drawn.dots.ink().right());
}

TEST(TextBlock, AlignsFiguresInColumns)
{
    const TextStyle style{23, false, TextAlignment::Right};
    const QRect ones = draw(QStringLiteral("111.11"), style).dots.ink();
    const QRect eights = draw(QStringLiteral("888.88"), style).dots.ink();
    EXPECT_NEAR(ones.center().x(), eights.center().x(), 2);
}

TEST(TextBlock, DrawsSomethingForCharactersThatNoFontHas)
{
    for (const QString& text : {QStringLiteral("漢字"), QStringLiteral("😀👩‍👩‍👧‍👦🇦🇪"),
             QStringLiteral("\U0001F9FE\U000E0041"), QStringLiteral("\ue000\uf8ff"), QString(QChar(0xd800)),
             QString(QChar(0xfffe))})
        EXPECT_GE(draw(text).height, fontLineHeight(23));
    EXPECT_GT(draw(QStringLiteral("\ue000")).dots.count(), 0);
}

} // namespace
} // namespace harrowmint::test
