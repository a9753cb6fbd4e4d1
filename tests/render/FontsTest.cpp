#include "render/Fonts.h"

#include "render/FontTables.h"
#include "render/Samples.h"
#include "support/Files.h"

#include <QtEndian>
#include <gtest/gtest.h>
#include <thread>

namespace harrowmint::test {
namespace {

QByteArray resource(const char16_t* path)
{
    return readFile(QString::fromUtf16(path));
}

int number(const QByteArray& font, qsizetype at)
{
    return qFromBigEndian<quint16>(font.constData() + at);
}

/// The number of languages over all scripts of the font's table `tag`; -1 without such a table.
int languages(const QByteArray& font, const char* tag)
{
    for (int i = 0; i < number(font, 4); ++i) {
        const qsizetype record = 12 + 16 * i;
        if (font.mid(record, 4) != tag)
            continue;
        const qsizetype table = qFromBigEndian<quint32>(font.constData() + record + 8);
        const qsizetype scripts = table + number(font, table + 4);
        int sum = 0;
        for (qsizetype script = 0; script < number(font, scripts); ++script)
            sum += number(font, scripts + number(font, scripts + 2 + 6 * script + 4) + 2);
        return sum;
    }
    return -1;
}

TEST(Fonts, TravelWithTheProgramAndTheirLicence)
{
    EXPECT_TRUE(Fonts::ofThisThread().bundled());
    EXPECT_TRUE(resource(u":/fonts/LICENSE").contains("Bitstream"));
    EXPECT_EQ(Fonts::ofThisThread().font(23, false).familyName(), QStringLiteral("DejaVu Sans"));
    EXPECT_EQ(Fonts::ofThisThread().font(23, true).weight(), int(QFont::Bold));
    EXPECT_EQ(Fonts::ofThisThread().font(23, true).pixelSize(), 23);
    EXPECT_EQ(Fonts::ofThisThread().font(23, true).hintingPreference(), QFont::PreferVerticalHinting);
}

TEST(Fonts, AreTheInterfaceFontWhereNoneTravelWithTheProgram)
{
    Fonts fonts(QStringLiteral(":/nowhere"));
    EXPECT_FALSE(fonts.bundled());
    EXPECT_TRUE(fonts.font(23, false).isValid());
    EXPECT_EQ(fonts.font(31, true).pixelSize(), 31);
}

TEST(Fonts, KeepOneFontASizeAndWeight)
{
    Fonts& fonts = Fonts::ofThisThread();
    EXPECT_EQ(&fonts.font(23, false), &fonts.font(23.2, false));
    EXPECT_NE(&fonts.font(23, false), &fonts.font(23, true));
    EXPECT_EQ(fonts.font(0, false).pixelSize(), 1);
    EXPECT_EQ(fonts.font(-5, false).pixelSize(), 1);
    EXPECT_EQ(fonts.font(1e9, false).pixelSize(), 256);
}

TEST(Fonts, MayBeWarmedAgainAndOnAnotherThread)
{
    warmFonts();
    warmFonts();
    const Receipt receipt = receiptOf({line(QStringLiteral("thread شكراً"))});
    const QByteArray here = RasterReceipt::render(receipt, 80).bytes();
    QByteArray there;
    std::thread([&] {
        warmFonts();
        there = RasterReceipt::render(receipt, 80).bytes();
    }).join();
    EXPECT_EQ(there, here);
}

TEST(FontTables, LoseTheirLanguagesAndNothingElse)
{
    for (const char16_t* path : {u":/fonts/DejaVuSans.ttf", u":/fonts/DejaVuSans-Bold.ttf"}) {
        const QByteArray font = resource(path);
        ASSERT_GT(languages(font, "GSUB"), 0);
        const QByteArray neutral = withoutLanguageSystems(font);
        EXPECT_EQ(languages(neutral, "GSUB"), 0);
        EXPECT_EQ(languages(neutral, "GPOS"), 0);
        ASSERT_EQ(neutral.size(), font.size());
        int changed = 0;
        for (qsizetype i = 0; i < font.size(); ++i)
            changed += font[i] != neutral[i] ? 1 : 0;
        EXPECT_LT(changed, 40);
    }
}

TEST(FontTables, StayWithinAFontThatIsCutOff)
{
    const QByteArray font = resource(u":/fonts/DejaVuSans.ttf");
    for (const qsizetype size : {0, 3, 5, 12, 13, 20, 28, 300, 500000, 700000})
        EXPECT_EQ(withoutLanguageSystems(font.first(size)).size(), size);
    EXPECT_EQ(withoutLanguageSystems(QByteArray(1000, '\xff')).size(), 1000);
}

QByteArray printedLine(const QString& text, int size)
{
    return RasterReceipt::render(receiptOf({line(text, size)}), 80).bytes();
}

TEST(GlyphCache, BeginsAnewWhenItIsLargeWithoutHarmToWhatWasDrawn)
{
    GlyphCache& cache = Fonts::ofThisThread().glyphs();
    cache = GlyphCache(20000);
    const RasterReceipt kept = RasterReceipt::render(receiptOf({line(QStringLiteral("kept شكراً"), 40)}), 80);
    const QImage before = kept.bitmap();
    const std::weak_ptr<const GlyphCache::Store> first = cache.store();
    for (char16_t letter = u'!'; cache.store() == first.lock() && letter < u'~'; ++letter)
        static_cast<void>(printedLine(QString(QChar(letter)), 40));
    EXPECT_NE(cache.store(), first.lock());
    EXPECT_FALSE(first.expired()) << "the receipt holds what it was drawn with";
    EXPECT_EQ(kept.bitmap(), before);
    EXPECT_EQ(printedLine(QStringLiteral("kept شكراً"), 40), kept.bytes());
    cache = GlyphCache();
}

TEST(GlyphCache, DrawsAGlyphOnceAPhase)
{
    GlyphCache cache;
    const auto store = cache.store();
    const QRawFont font = Fonts::ofThisThread().font(23, false);
    GlyphCache::Index& index = cache.indexOf(font);
    const quint32 letter = font.glyphIndexesForString(QStringLiteral("m"))[0];
    const Glyph& zero = cache.glyph(index, font, letter, GlyphPhase::Zero);
    EXPECT_EQ(&cache.glyph(index, font, letter, GlyphPhase::Zero), &zero);
    EXPECT_NE(&cache.glyph(index, font, letter, GlyphPhase::Two), &zero);
    EXPECT_EQ(cache.glyph(index, font, letter, GlyphPhase::Three).phase, 0.75);
    EXPECT_EQ(store->size(), 3u);
}

TEST(GlyphCache, ChoosesThePhaseOfTheLeastGrey)
{
    GlyphCache cache;
    const auto grey = [](const Glyph& glyph) {
        int sum = 0;
        for (const int level : glyph.mask.levels)
            sum += level * (255 - level);
        return sum;
    };
    const QRawFont font = Fonts::ofThisThread().font(23, false);
    GlyphCache::Index& index = cache.indexOf(font);
    for (const quint32 glyph : font.glyphIndexesForString(QStringLiteral("Hamburgefonstiv0123456789"))) {
        const int least = grey(cache.glyph(index, font, glyph, GlyphPhase::Sharpest));
        for (const GlyphPhase phase : {GlyphPhase::Zero, GlyphPhase::One, GlyphPhase::Two, GlyphPhase::Three})
            EXPECT_LE(least, grey(cache.glyph(index, font, glyph, phase)));
    }
}

} // namespace
} // namespace harrowmint::test
