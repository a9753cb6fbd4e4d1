#include "base/Text.h"

#include "base/PrinterError.h"

using namespace harrowmint;

namespace {

QString text(std::initializer_list<char32_t> scalars)
{
    QString result;
    for (const char32_t scalar : scalars)
        result.append(QChar::fromUcs4(scalar));
    return result;
}

struct ScalarRow {
    const char* name;
    char32_t scalar;
    bool control;
    bool newline;
    bool blank; ///< white space or newline
};

void PrintTo(const ScalarRow& row, std::ostream* out)
{
    *out << "U+" << std::hex << static_cast<std::uint32_t>(row.scalar);
}

class Scalar : public ::testing::TestWithParam<ScalarRow> { };

TEST_P(Scalar, IsClassified)
{
    const ScalarRow& row = GetParam();
    EXPECT_EQ(isControl(row.scalar), row.control);
    EXPECT_EQ(isNewline(row.scalar), row.newline);
    EXPECT_EQ(isWhitespaceOrNewline(row.scalar), row.blank);
}

const ScalarRow scalars[] = {
    {"Null", 0x00, true, false, false},
    {"Backspace", 0x08, true, false, false},
    {"Tab", 0x09, true, false, true},
    {"LineFeed", 0x0a, true, true, true},
    {"LineTabulation", 0x0b, true, true, true},
    {"FormFeed", 0x0c, true, true, true},
    {"CarriageReturn", 0x0d, true, true, true},
    {"ShiftOut", 0x0e, true, false, false},
    {"UnitSeparator", 0x1f, true, false, false},
    {"Space", 0x20, false, false, true},
    {"ExclamationMark", 0x21, false, false, false},
    {"Tilde", 0x7e, false, false, false},
    {"Delete", 0x7f, true, false, false},
    {"BreakPermittedHere", 0x84, true, false, false},
    {"NextLine", 0x85, true, true, true},
    {"ApplicationProgramCommand", 0x9f, true, false, false},
    {"NoBreakSpace", 0xa0, false, false, true},
    {"SoftHyphen", 0xad, true, false, false},
    {"OghamSpace", 0x1680, false, false, true},
    {"MongolianVowelSeparator", 0x180e, true, false, false},
    {"EnQuad", 0x2000, false, false, true},
    {"HairSpace", 0x200a, false, false, true},
    {"ZeroWidthSpace", 0x200b, true, false, false},
    {"ZeroWidthJoiner", 0x200d, true, false, false},
    {"RightToLeftMark", 0x200f, true, false, false},
    {"LineSeparator", 0x2028, false, true, true},
    {"ParagraphSeparator", 0x2029, false, true, true},
    {"RightToLeftOverride", 0x202e, true, false, false},
    {"NarrowNoBreakSpace", 0x202f, false, false, true},
    {"MathematicalSpace", 0x205f, false, false, true},
    {"WordJoiner", 0x2060, true, false, false},
    {"IdeographicSpace", 0x3000, false, false, true},
    {"LoneHighSurrogate", 0xd800, false, false, false},
    {"LoneLowSurrogate", 0xdfff, false, false, false},
    {"PrivateUse", 0xe000, false, false, false},
    {"ByteOrderMark", 0xfeff, true, false, false},
    {"Unassigned", 0x0378, false, false, false},
    {"Emoji", 0x1f600, false, false, false},
    {"LanguageTag", 0xe0001, true, false, false},
    {"TagLetter", 0xe0041, true, false, false},
    {"LastScalar", 0x10ffff, false, false, false},
};
INSTANTIATE_TEST_SUITE_P(
    Each, Scalar, ::testing::ValuesIn(scalars), [](const auto& info) { return std::string(info.param.name); });

TEST(Text, TrimsWhiteSpaceAndNewlinesOfAnyKind)
{
    EXPECT_EQ(trimmed(u"\u2003 \t\nA b\u2029\u0085 "), QStringLiteral("A b"));
    EXPECT_EQ(trimmed(u"\u00a0\u3000\u000b\u000c\rA\u1680\u205f\u2028"), QStringLiteral("A"));
    EXPECT_EQ(trimmed(u" \n\t "), QString());
    EXPECT_EQ(trimmed(u""), QString());
}

TEST(Text, TrimsNothingElse)
{
    for (const char32_t scalar : {0x00, 0x1f, 0x200b, 0x180e, 0xfeff, 0x2060})
        EXPECT_EQ(trimmed(text({scalar, U'a', scalar})), text({scalar, U'a', scalar}))
            << std::hex << static_cast<std::uint32_t>(scalar);
}

TEST(Text, RemovesControlsAndThenTrims)
{
    EXPECT_EQ(withoutControls(u"plain"), QStringLiteral("plain"));
    EXPECT_EQ(withoutControls(u"  plain text "), QStringLiteral("plain text"));
    EXPECT_EQ(withoutControls(text({U'a', 9, U'b', 10, U'c', 0}) + QStringLiteral("d\u200be\u00adf\U000e0041g")),
        QStringLiteral("abcdefg"));
    EXPECT_EQ(withoutControls(u"\u200b a \u200b"), QStringLiteral("a")) << "blanks behind a control are at an end";
    EXPECT_EQ(withoutControls(u"a\u2028b"), QStringLiteral("a\u2028b")) << "a line separator is no control";
    EXPECT_EQ(withoutControls(u"\u0001\u0002"), QString());
    EXPECT_EQ(withoutControls(u"é😀ü"), QStringLiteral("é😀ü"));
}

TEST(Text, TurnsControlsThatAreBlankIntoOneSpaceEach)
{
    EXPECT_EQ(withControlsAsSpaces(u"a\tb\nc"), QStringLiteral("a b c"));
    EXPECT_EQ(withControlsAsSpaces(u"a\r\nb"), QStringLiteral("a  b"));
    EXPECT_EQ(withControlsAsSpaces(u"a\u0085b\u000bc\u000cd"), QStringLiteral("a b c d"));
    EXPECT_EQ(withControlsAsSpaces(text({U'a', 0, U'b', 0x200b, U'c'})), QStringLiteral("abc"));
    EXPECT_EQ(withControlsAsSpaces(u"\n a \n"), QStringLiteral("a"));
    EXPECT_EQ(withControlsAsSpaces(u"a\u2028b\u00a0c"), QStringLiteral("a\u2028b\u00a0c")) << "these are no controls";
    EXPECT_EQ(withControlsAsSpaces(u"plain  text"), QStringLiteral("plain  text"));
}

TEST(Text, KeepsLoneSurrogatesWhereTheyAre)
{
    const QString lone = QStringLiteral("a") + QChar(0xdc00) + QChar(0xd800) + QStringLiteral("\u00adb");
    EXPECT_EQ(withoutControls(lone), QString(lone).remove(QChar(0xad)));
    EXPECT_EQ(scalarCount(lone), 5);
}

TEST(Text, CountsScalars)
{
    EXPECT_EQ(scalarCount(u""), 0);
    EXPECT_EQ(scalarCount(u"abc"), 3);
    EXPECT_EQ(scalarCount(u"e\u0301"), 2);
    EXPECT_EQ(scalarCount(u"😀"), 1);
    EXPECT_EQ(scalarCount(u"👨‍👩‍👧"), 5);
    EXPECT_EQ(scalarCount(text({0xd83d})), 1);
}

TEST(Text, TakesTheFirstScalarOff)
{
    const QString whole = text({U'a', 0x1f600, 0xd800, U'b'});
    QStringView rest = whole;
    EXPECT_EQ(takeScalar(rest), U'a');
    EXPECT_EQ(takeScalar(rest), char32_t{0x1f600});
    EXPECT_EQ(takeScalar(rest), char32_t{0xd800});
    EXPECT_EQ(takeScalar(rest), U'b');
    EXPECT_TRUE(rest.isEmpty());
}

TEST(Text, KnowsTheFormOfAUUID)
{
    EXPECT_TRUE(isUuid(u"01234567-89ab-cdef-ABCD-EF0123456789"));
    EXPECT_TRUE(isUuid(u"00000000-0000-0000-0000-000000000000"));
    for (const char16_t* other : {u"", u"01234567-89ab-cdef-ABCD-EF012345678", u"01234567-89ab-cdef-ABCD-EF01234567890",
             u"{01234567-89ab-cdef-ABCD-EF0123456789}", u"0123456789ab-cdef-ABCD-EF0123456789-",
             u"01234567-89ab-cdef-ABCD-EF012345678g", u"01234567-89ab-cdef-ABCD-EF012345678G",
             u"01234567-89ab-cdef-ABCD-EF012345678@", u"01234567-89ab-cdef-ABCD-EF012345678/",
             u"01234567-89ab-cdef-ABCD-EF012345678:", u"01234567-89ab-cdef-ABCD-EF012345678`",
             u"01234567-89ab-cdef-ABCD-EF012345678\n", u" 1234567-89ab-cdef-ABCD-EF0123456789",
             u"01234567_89ab-cdef-ABCD-EF0123456789", u"0123456-789ab-cdef-ABCD-EF0123456789",
             u"01234567-89ab-cdef-ABCD-EF01234５6789"})
        EXPECT_FALSE(isUuid(other)) << QStringView(other).toUtf8().toStdString();
}

TEST(PrinterError, CarriesOneSentence)
{
    const PrinterError error(QStringLiteral("Das Papier ist groß."));
    EXPECT_EQ(error.message(), QStringLiteral("Das Papier ist groß."));
    EXPECT_STREQ(error.what(), "Das Papier ist gro\xc3\x9f.");
    EXPECT_EQ(errorText(error), error.message());
    EXPECT_EQ(errorText(std::runtime_error("other")), QStringLiteral("other"));
}

} // namespace
