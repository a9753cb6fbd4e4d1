#include "base/Text.h"

using namespace harrowmint;

namespace {

struct Characters {
    const char* name;
    std::u16string_view text;
    int count;
};

void PrintTo(const Characters& row, std::ostream* out)
{
    *out << QStringView(row.text).toUtf8().toStdString();
}

class Grapheme : public ::testing::TestWithParam<Characters> { };

TEST_P(Grapheme, IsCountedAsAPersonSeesIt)
{
    const QStringView text(GetParam().text);
    const int count = GetParam().count;
    EXPECT_FALSE(hasMoreCharactersThan(text, count));
    if (count > 0) {
        EXPECT_TRUE(hasMoreCharactersThan(text, count - 1));
    }
}

TEST_P(Grapheme, CountsAlikeAmongPlainText)
{
    const QString row = QStringView(GetParam().text).toString();
    const bool joinsWhatIsBefore = row.startsWith(u'\u0301');
    const QString text = QStringLiteral("ab\u0301") + row + QStringLiteral("y\u0301z") + row + QChar(u'n');
    const int count = 2 * GetParam().count + 5 - (joinsWhatIsBefore ? 2 : 0);
    EXPECT_FALSE(hasMoreCharactersThan(text, count));
    EXPECT_TRUE(hasMoreCharactersThan(text, count - 1));
    EXPECT_TRUE(hasMoreCharactersThan(text, 1)) << "plain text alone is too much";
}

const Characters rows[] = {
    {"Empty", u"", 0},
    {"Letters", u"abc", 3},
    {"CombiningMark", u"e\u0301", 1},
    {"ManyCombiningMarks", u"Z\u0351\u036b\u0343\u036a\u0302\u036b", 1},
    {"MarkAtTheStart", u"\u0301a", 2},
    {"CarriageReturnLineFeed", u"\r\n", 1},
    {"LineFeedCarriageReturn", u"\n\r", 2},
    {"MarkAfterLineFeed", u"\n\u0301", 2},
    {"MarkAfterZeroWidthSpace", u"\u200b\u0301", 2},
    {"MarkAfterNull", std::u16string_view(u"\0\u0301", 2), 2},
    {"TwoNulls", std::u16string_view(u"\0\0", 2), 2},
    {"HangulLetters", u"\u1100\u1161\u11a8", 1},
    {"HangulTwoLeads", u"\u1100\u1100\uac00\u11a8\u11a8", 1},
    {"HangulSyllables", u"한국어", 3},
    {"HangulClosedSyllableThenVowel", u"\uac01\u1161", 2},
    {"HangulSyllableThenLead", u"\uac00\u1100", 2},
    {"HangulVowelThenLead", u"\u1161\u1100", 2},
    {"HangulTailThenVowel", u"\u11a8\u1161", 2},
    {"Flag", u"🇩🇪", 1},
    {"TwoFlags", u"🇩🇪🇫🇷", 2},
    {"ThreeIndicators", u"🇩🇪🇫", 2},
    {"FlagAfterAnotherEmoji", u"😀🇩🇪", 2},
    {"FlagsApart", u"🇩\u200d🇪🇫", 2},
    {"IndicatorsAroundALetter", u"🇩a🇪🇫", 3},
    {"SkinTone", u"👍🏽", 1},
    {"SkinToneAfterALetter", u"a🏽", 1},
    {"Family", u"👨‍👩‍👧‍👦", 1},
    {"FamilyWithSkinTones", u"👩🏽‍❤️‍💋‍👨🏿", 1},
    {"JoinerBetweenLetters", u"a\u200db", 2},
    {"JoinerAfterALetter", u"a\u200d😀", 2},
    {"TwoJoiners", u"😀\u200d\u200d😀", 2},
    {"MarkAfterTheJoiner", u"😀\u200d\u0301😀", 2},
    {"MarkBeforeTheJoiner", u"😀\u0301\u200d😀", 1},
    {"Keycap", u"1️⃣", 1},
    {"TextPictograph", u"©\u200d®", 1},
    {"Subdivision", u"🏴\U000e0067\U000e0062\U000e0065\U000e006e\U000e0067\U000e007f", 1},
    {"SpacingMark", u"\u0915\u0940", 1},
    {"DevanagariWord", u"नमस्ते", 4},
    {"DevanagariBesideAnEmoji", u"नमस्ते😀", 5},
    {"Tamil", u"நி", 1},
    {"ThaiVowel", u"กำ", 1},
    {"ThaiWord", u"สวัสดี", 4},
    {"ThaiBesideAnEmoji", u"👨ก", 2},
    {"PrependedSign", u"\u0600\u0661", 1},
    {"PrependedSignBeforeControl", u"\u0600\n", 2},
    {"MyanmarVowelThatIsNoSpacingMark", u"\u1000\u102b", 2},
    {"Arabic", u"مرحبا", 5},
    {"ZeroWidthNonJoiner", u"a\u200cb", 2},
    {"HalfWidthVoicedMark", u"\uff76\uff9e", 1},
    {"SoftHyphen", u"a\u00adb", 3},
    {"LoneSurrogates", std::u16string_view(u"\xd800\xd800\xdc00", 3), 2},
    {"LoneSurrogateThenMark", std::u16string_view(u"\xdc00\u0301", 2), 2},
};
INSTANTIATE_TEST_SUITE_P(
    Each, Grapheme, ::testing::ValuesIn(rows), [](const auto& info) { return std::string(info.param.name); });

TEST(Graphemes, AreCountedOnBothSidesOfALongLimit)
{
    const QString character = QStringLiteral("👩🏽‍❤️‍💋‍👨🏿");
    EXPECT_FALSE(hasMoreCharactersThan(character.repeated(256), 256));
    EXPECT_TRUE(hasMoreCharactersThan(character.repeated(257), 256));
    EXPECT_FALSE(hasMoreCharactersThan(QStringLiteral("a") + QStringLiteral("\u0301").repeated(100000), 1));
}

} // namespace
