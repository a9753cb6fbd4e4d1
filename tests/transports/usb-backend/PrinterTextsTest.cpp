#include "transports/linux/usb-backend/PrinterTexts.h"

#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

using usb::deviceIdValue;
using usb::lineText;

TEST(DeviceId, GivesTheValueOfAKey)
{
    constexpr char id[] = "MFG:EPSON;CMD:ESC/POS;MDL:TM-T20;CLS:PRINTER;";
    EXPECT_EQ(deviceIdValue(id, {"MFG"}), "EPSON");
    EXPECT_EQ(deviceIdValue(id, {"MDL"}), "TM-T20");
    EXPECT_EQ(deviceIdValue(id, {"SN"}), "");
}

TEST(DeviceId, PrefersTheKeyNamedFirst)
{
    EXPECT_EQ(deviceIdValue("MFG:a;MANUFACTURER:b;", {"MANUFACTURER", "MFG"}), "b");
    EXPECT_EQ(deviceIdValue("MFG:a;", {"MANUFACTURER", "MFG"}), "a");
    EXPECT_EQ(deviceIdValue("MFG:a;MANUFACTURER:;", {"MANUFACTURER", "MFG"}), "");
}

TEST(DeviceId, TakesTheFirstOfSeveralEqualKeys)
{
    EXPECT_EQ(deviceIdValue("MFG:a;MFG:b;", {"MFG"}), "a");
}

TEST(DeviceId, IgnoresCaseOfKeysAndBlanksAround)
{
    EXPECT_EQ(deviceIdValue(" mfg : spaced  out ; MDL : m ;", {"MFG"}), "spaced  out");
    EXPECT_EQ(deviceIdValue(" MFG : spaced ; MDL : m ;", {"MDL"}), "m");
}

TEST(DeviceId, NeedsNoFinalSemicolonAndKeepsColonsOfTheValue)
{
    EXPECT_EQ(deviceIdValue("MFG:a:b", {"MFG"}), "a:b");
}

TEST(DeviceId, SurvivesRubbish)
{
    EXPECT_EQ(deviceIdValue("", {"MFG"}), "");
    EXPECT_EQ(deviceIdValue(";;;:;MFG", {"MFG"}), "");
    EXPECT_EQ(deviceIdValue(std::string_view("\0MFG:x\0;", 8), {"MFG"}), "x");
}

TEST(LineText, KeepsWellFormedText)
{
    for (const char* text :
        {"", "plain ~", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x96\xA8", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(lineText(text), text);
}

TEST(LineText, TurnsControlsIntoBlanks)
{
    EXPECT_EQ(lineText(std::string_view("a\nb\rc\0d\x1F\x7F", 9)), "a b c d  ");
}

TEST(LineText, TurnsUnicodesOtherControlsAndLineEndsIntoBlanks)
{
    EXPECT_EQ(lineText("a\xC2\x80"
                       "b\xC2\x85"
                       "c\xC2\x9F"
                       "d\xE2\x80\xA8"
                       "e\xE2\x80\xA9"
                       "f"),
        "a b c d e f");
    for (const char* text : {"\xC2\xA0", "\xC3\x85", "\xE2\x80\xA7", "\xE2\x80\xAA", "\xE2\x81\xA8"})
        EXPECT_EQ(lineText(text), text) << "the neighbours stay";
}

TEST(ShortenedText, EndsWithAWholeCharacter)
{
    EXPECT_EQ(usb::shortened("abc", 3), "abc");
    EXPECT_EQ(usb::shortened("abcd", 3), "abc");
    EXPECT_EQ(usb::shortened("a\xE2\x82\xAC"
                             "b",
                  3),
        "a");
    EXPECT_EQ(usb::shortened("a\xE2\x82\xAC"
                             "b",
                  4),
        "a\xE2\x82\xAC");
    EXPECT_EQ(usb::shortened("\xFF\xFF\xFF", 2), "\xFF\xFF") << "what is no character";
    EXPECT_EQ(usb::shortened("", 2), "");
}

TEST(LineText, TurnsWhatIsNotUtf8IntoQuestionMarks)
{
    EXPECT_EQ(lineText("\xE9 latin"), "? latin");
    EXPECT_EQ(lineText("\xC3"), "?");
    EXPECT_EQ(lineText("\xC0\x80"), "??") << "overlong";
    EXPECT_EQ(lineText("\xE0\x9F\xBF"), "???") << "overlong";
    EXPECT_EQ(lineText("\xED\xA0\x80"), "???") << "surrogate";
    EXPECT_EQ(lineText("\xF4\x90\x80\x80"), "????") << "beyond the last character";
    EXPECT_EQ(lineText("\xE2\x82x"), "??x");
    EXPECT_EQ(lineText("\xFF\x80"), "??");
}

} // namespace
} // namespace harrowmint::test
