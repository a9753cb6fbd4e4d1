#include "transports/linux/usb-backend/PrinterURI.h"

#include <gtest/gtest.h>
#include <random>

namespace harrowmint::test {
namespace {

using usb::encoded;
using usb::listingLine;
using usb::matches;
using usb::parsePrinterURI;
using usb::PrinterTexts;
using usb::PrinterURI;
using usb::printerURI;

/// What Debian 12's own backend (CUPS 2.4.2) listed for a virtual printer with these texts.
struct SystemsURI {
    const char* name;
    PrinterTexts texts;
    int interface;
    const char* uri;
};

const SystemsURI systemsURIs[] = {
    {"Plain", {"LabMaker", "RP-80", "LAB0001", "MFG:LabMaker;MDL:RP-80;CMD:ESC/POS;CLS:PRINTER;SN:LAB0001;"}, 0,
        "usb://LabMaker/RP-80?serial=LAB0001"},
    {"ReservedFirstHalf",
        {"LabMaker", "RP-80", "LAB0001",
            "MFG:A!B\"C#D$E%F&G'H(I)J*K+L,M-N.O/P;MDL:a:b<c=d>e?f@g[h\\i]j^k_l`m{n|o}p~q r;SN:1;CLS:PRINTER;"},
        0,
        "usb://A!B%22C%23D$E%25F&G'H(I)J*K+L,M-N.O%2FP/"
        "a:b<c=d>e?f@g[h\\i]j^k_l`m{n|o}p~q%20r?serial=LAB0001"},
    {"ReservedSecondHalf",
        {"LabMaker", "RP-80", "1!2\"3#4$5%6&7(8)9*0+a,b-c.d/e:f;g<h=i>j?k@l[m\\n]o^p_q`r{s|t}u~v w\xC3\xA9",
            "MFG:a:b<c=d>e?f@g[h\\i]j^k_l`m{n|o}p~q r;MDL:A!B\"C#D$E%F&GH(I)J*K+L,M-N.O/P;"},
        0,
        "usb://a%3Ab%3Cc=d%3Ee%3Ff%40g%5Bh%5Ci%5Dj%5Ek_l%60m%7Bn%7Co%7Dp~q%20r/"
        "A!B\"C#D$E%25F&GH(I)J*K+L,M-N.O/P?serial="
        "1!2\"3#4$5%256&7(8)9*0+a,b-c.d/e:f;g<h=i>j?k@l[m\\n]o^p_q`r{s|t}u~v%20w?"},
    {"HewlettPackard", {"LabMaker", "RP-80", "LAB0001", "MFG:Hewlett-Packard;MDL:HP LaserJet 3;SN:ID1;"}, 0,
        "usb://HP/LaserJet%203?serial=LAB0001"},
    {"Lexmark", {"LabMaker", "RP-80", "  pad ", "MFG:Lexmark International;MDL:X Y;SN:;"}, 0,
        "usb://Lexmark/X%20Y?serial=%20%20pad%20"},
    {"VendorInTheModel", {"LabMaker", "RP-80", "LAB0001", "MFG:EPSON;MDL:EPSON TM-T20;"}, 0,
        "usb://EPSON/TM-T20?serial=LAB0001"},
    {"VendorInTheModelsWord", {"LabMaker", "RP-80", "LAB0001", "MFG:X;MDL:xY;SN:;"}, 0, "usb://X/xY?serial=LAB0001"},
    {"BlanksAndOtherSerial", {"LabMaker", "RP-80", "LAB0001", "MFG:EPSON;CMD:X;MDL:TM  T88 ;SERN:abc def;DES:Foo;"}, 0,
        "usb://EPSON/TM%20%20T88?serial=LAB0001"},
    {"LongKeys", {"LabMaker", "RP-80", "LAB0001", "MANUFACTURER:Acme Co;MODEL:P 1;SERIALNUMBER:xyz;"}, 0,
        "usb://Acme%20Co/P%201?serial=LAB0001"},
    {"OnlyModel", {"LabMaker", "RP-80", "LAB0001", "MDL:Only Model;"}, 0, "usb://LabMaker/Only%20Model?serial=LAB0001"},
    {"OnlyVendor", {"LabMaker", "RP-80", "LAB0001", "MFG:Only;"}, 0, "usb://Only/RP-80?serial=LAB0001"},
    {"OnlyDescription", {"LabMaker", "RP-80", "LAB0001", "DES:Some Described Thing;"}, 0,
        "usb://LabMaker/RP-80?serial=LAB0001"},
    {"NoDeviceId", {"LabMaker", "RP-80", "LAB0001", ""}, 0, "usb://LabMaker/RP-80?serial=LAB0001"},
    {"NotAscii", {"LabMaker", "RP-80", "LAB0001", "MFG:\xC3\x89 co;MDL:Z\xC3\xBC;SN:\xC3\xB1;"}, 0,
        "usb://%C3%89%20co/Z%C3%BC?serial=LAB0001"},
    {"LowerCaseKeys", {"LabMaker", "RP-80", "LAB0001", "mfg:lower;mdl:case;sn:1"}, 0,
        "usb://lower/case?serial=LAB0001"},
    {"SpacedKeys", {"LabMaker", "RP-80", "LAB0001", " MFG : spaced ; MDL : m ;"}, 0, "usb://spaced/m?serial=LAB0001"},
    {"NoSerial", {"LabMaker", "RP-80", "", "MFG:X;MDL:Y;"}, 0, "usb://X/Y"},
    {"SerialOfTheIdAlone", {"LabMaker", "RP-80", "", "MFG:X;MDL:Y;SN:IDSN 1/2;"}, 0, "usb://X/Y"},
    {"SecondInterface", {"LabMaker", "RP-80", "LAB0001", "MFG:LabMaker;MDL:RP-80;"}, 1,
        "usb://LabMaker/RP-80?serial=LAB0001&interface=1"},
};

class SystemsURIs : public ::testing::TestWithParam<SystemsURI> { };

TEST_P(SystemsURIs, AreMadeAlike)
{
    EXPECT_EQ(encoded(printerURI(GetParam().texts, GetParam().interface)), GetParam().uri);
}

TEST_P(SystemsURIs, AreReadBack)
{
    EXPECT_EQ(parsePrinterURI(GetParam().uri), printerURI(GetParam().texts, GetParam().interface));
}

INSTANTIATE_TEST_SUITE_P(Printers, SystemsURIs, ::testing::ValuesIn(systemsURIs),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PrinterURITest, NamesAPrinterWithoutAnyText)
{
    EXPECT_EQ(encoded(printerURI({}, 0)), "usb://Unknown/Printer");
}

TEST(PrinterURITest, OfASecondInterfaceWithoutSerialNumber)
{
    const PrinterURI uri{"A", "B", "", 2};
    EXPECT_EQ(encoded(uri), "usb://A/B?interface=2");
    EXPECT_EQ(parsePrinterURI("usb://A/B?interface=2"), uri);
}

TEST(PrinterURITest, NeverHoldsBlanksOrControls)
{
    std::mt19937 random(20'240'117);
    for (int round = 0; round < 2000; ++round) {
        const auto text = [&random] {
            std::string result;
            for (auto length = random() % 12 + 1; length > 0; --length)
                result += static_cast<char>(random() % 256);
            return result;
        };
        const PrinterURI uri{text(), text(), "", 0};
        const std::string made = encoded(uri);
        for (const char character : made)
            ASSERT_TRUE(character > ' ' && character < 0x7F) << made;
        ASSERT_EQ(parsePrinterURI(made), uri) << made;
    }
}

TEST(PrinterURITest, RefusesWhatIsNoUSBAddress)
{
    for (const char* text :
        {"", "usb", "usb:/A/B", "USB://A/B", "ipp://A/B", "usb://", "usb://A", "usb://A/", "usb:///B", " usb://A/B"})
        EXPECT_EQ(parsePrinterURI(text), std::nullopt) << text;
}

TEST(PrinterURITest, ReadsPercentSignsThatEncodeNothingAsThemselves)
{
    EXPECT_EQ(parsePrinterURI("usb://A%2/B%zz%"), (PrinterURI{"A%2", "B%zz%", "", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A%2f/B%5a%"), (PrinterURI{"A/", "BZ%", "", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A/B%-1"), (PrinterURI{"A", "B%-1", "", 0}));
}

TEST(PrinterURITest, ReadsAnInterfaceOnlyAtTheEnd)
{
    EXPECT_EQ(parsePrinterURI("usb://A/B?serial=x&interface=1y"), (PrinterURI{"A", "B", "x&interface=1y", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A/B?interface=-1"), (PrinterURI{"A", "B?interface=-1", "", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A/B?interface=99999999999"), (PrinterURI{"A", "B?interface=99999999999", "", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A/Binterface=1"), (PrinterURI{"A", "Binterface=1", "", 0}));
    EXPECT_EQ(parsePrinterURI("usb://A/B?interface="), (PrinterURI{"A", "B?interface=", "", 0}));
}

TEST(PrinterURITest, MatchesThePrinterItWasMadeFor)
{
    const PrinterURI found{"EPSON", "TM-T20", "S1", 0};
    EXPECT_TRUE(matches(found, found));
    EXPECT_TRUE(matches({"Epson", "tm-t20", "S1", 0}, found)) << "case of vendor and model";
    EXPECT_FALSE(matches({"EPSON", "TM-T20", "s1", 0}, found)) << "case of the serial number";
    EXPECT_FALSE(matches({"EPSON", "TM-T20", "S2", 0}, found));
    EXPECT_FALSE(matches({"EPSON", "TM-T20", "", 0}, found)) << "another printer of the model, without a number";
    EXPECT_FALSE(matches({"EPSON", "TM-T88", "S1", 0}, found));
    EXPECT_FALSE(matches({"STAR", "TM-T20", "S1", 0}, found));
}

TEST(PrinterURITest, MatchesTheInterfaceOnlyWhereOneIsNamed)
{
    const PrinterURI found{"A", "B", "S", 1};
    EXPECT_TRUE(matches({"A", "B", "S", 0}, found));
    EXPECT_TRUE(matches({"A", "B", "S", 1}, found));
    EXPECT_FALSE(matches({"A", "B", "S", 2}, found));
}

TEST(ListingLine, HasTheFormOfTheConventions)
{
    EXPECT_EQ(listingLine({"LabMaker", "RP-80", "LAB0001", 0}, "MFG:LabMaker;MDL:RP-80;"),
        "direct usb://LabMaker/RP-80?serial=LAB0001 \"LabMaker RP-80\" \"LabMaker RP-80 USB\" "
        "\"MFG:LabMaker;MDL:RP-80;\" \"\"\n");
}

TEST(ListingLine, KeepsQuotationMarksOutOfNamesAndEscapesThemInTheId)
{
    EXPECT_EQ(listingLine({"A\"B", "C\\D", "", 0}, "MFG:A\"B;MDL:C\\D;"),
        "direct usb://A%22B/C\\D \"A'B C\\D\" \"A'B C\\D USB\" \"MFG:A\\\"B;MDL:C\\\\D;\" \"\"\n");
}

TEST(ListingLine, IsOneLineOfUtf8WhateverThePrinterSays)
{
    EXPECT_EQ(listingLine({"A\nB", "\xFF", "", 0}, "MFG:\xE9\n;"),
        "direct usb://A%0AB/%FF \"A B ?\" \"A B ? USB\" \"MFG:? ;\" \"\"\n");
}

TEST(ListingLine, StaysOneLineWhateverUnicodeTakesForALineEnd)
{
    const std::string ends = "\xC2\x85\xE2\x80\xA8\xE2\x80\xA9";
    const std::string line = listingLine({"A" + ends, "B", "", 0}, "MFG:" + ends);
    for (const char* end : {"\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"})
        EXPECT_EQ(line.find(end), std::string::npos);
}

TEST(ListingLine, OfThreePrintersThatSayAsMuchAsTheyCanFitsIntoAListing)
{
    for (const char* unit : {"x", "\"", "\xE2\x82\xAC", "\xFF"}) {
        std::string much;
        while (much.size() < 4000)
            much += unit;
        const PrinterTexts texts{much, much, much, "MDL:" + much + ";MFG:" + much + ';'};
        const PrinterURI uri = printerURI(texts, 0);
        EXPECT_LT(3 * listingLine(uri, texts.deviceId).size(), 65536U);
        EXPECT_EQ(parsePrinterURI(encoded(uri)), uri) << "it can still be printed on";
    }
}

TEST(ListingLine, CutsNamesAndIdAtACharacter)
{
    std::string euros;
    for (int i = 0; i < 500; ++i)
        euros += "\xE2\x82\xAC";
    const std::string line = listingLine({"A", euros, "", 0}, euros);
    EXPECT_NE(line.find("\"A " + euros.substr(0, 252) + "\" "), std::string::npos);
    EXPECT_NE(line.find(" \"" + euros.substr(0, 1023) + "\" \"\"\n"), std::string::npos);
}

} // namespace
} // namespace harrowmint::test
