#include "ScriptedProgram.h"

namespace harrowmint {

void PrintTo(const USBPrinter& printer, std::ostream* out)
{
    *out << printer.uri.toStdString() << " = " << printer.name.toStdString();
}

namespace test {
namespace {

using Printers = std::vector<USBPrinter>;

USBPrinter printer(const char* uri, const char* name)
{
    return {QString::fromUtf8(uri), QString::fromUtf8(name)};
}

struct Row {
    const char* name;
    QByteArray listing;
    Printers printers;
};

class USBListing : public ScriptedPrograms { };
class USBListingTable : public ScriptedPrograms, public ::testing::WithParamInterface<Row> { };

TEST_P(USBListingTable, YieldsThePrintersOfItsDirectLines)
{
    const QString program = script("exec cat \"$0.listing\"");
    writeFile(program + QStringLiteral(".listing"), GetParam().listing);
    EXPECT_EQ(USBBackend::discover(program, patient), GetParam().printers);
}

const QByteArray directLine =
    "direct usb://Star/TSP143?serial=1 \"Star TSP143\" \"Star TSP143 USB\" \"MFG:Star;\" \"\"";
const USBPrinter star = printer("usb://Star/TSP143?serial=1", "Star TSP143");

INSTANTIATE_TEST_SUITE_P(Lines, USBListingTable,
    ::testing::Values(Row{"Nothing", "", {}}, //
        Row{"OneDirectAndOneNetworkLine",
            "network ipp \"Unknown\" \"Internet Printing Protocol\"\n" + directLine + '\n', {star}},
        Row{"NoLineFeedAtTheEnd", directLine, {star}}, //
        Row{"DuplicatesStayInOrder", directLine + "\ndirect usb://B/2 \"B\" \"\"\n" + directLine + '\n',
            {star, printer("usb://B/2", "B"), star}},
        Row{"OnlyTheTwoFieldsThatAreNeeded", "direct usb://B/2 \"B\"\n", {printer("usb://B/2", "B")}},
        Row{"FirstQuotedFieldIsTheName", "direct usb://B/2 \"First\"\"Second\"\n", {printer("usb://B/2", "First")}},
        Row{"NameInOtherScripts", "direct usb://B/2 \"\xd8\xb7\xd8\xa7\xd8\xa8\xd8\xb9\xd8\xa9\"\n",
            {printer("usb://B/2", "\xd8\xb7\xd8\xa7\xd8\xa8\xd8\xb9\xd8\xa9")}},
        Row{"NameCutAtAnEmbeddedQuote", "direct usb://B/2 \"B \\\"x\\\"\" \"\"\n", {printer("usb://B/2", "B \\")}},
        Row{"NameThatBeginsWithAQuoteIsSkipped", "direct usb://B/2 \"\"B\" \"\"\n", {}},
        Row{"QuoteInTheAddress", "direct usb://B/\"2\" \"B\"\n", {printer("usb://B/\"2\"", "B")}},
        Row{"EmptyName", "direct usb://B/2 \"\" \"B\"\n", {}}, //
        Row{"NameWithoutItsClosingQuote", "direct usb://B/2 \"B\n", {}},
        Row{"UnquotedName", "direct usb://B/2 B\n", {}}, //
        Row{"EmptyAddress", "direct usb:// \"B\"\n", {}}, //
        Row{"OtherAddress", "direct hp:/usb/B \"B\"\ndirect usb:/B \"B\"\ndirect USB://B \"B\"\n", {}},
        Row{"SerialLine", "serial serial:/dev/ttyS0?baud=115200 \"Unknown\" \"Serial Port #1\"\n", {}},
        Row{"BlankBeforeTheLine", " direct usb://B/2 \"B\"\n", {}}, //
        Row{"TwoBlanks", "direct  usb://B/2 \"B\"\ndirect usb://B/2  \"B\"\n", {}}, //
        Row{"Tab", "direct\tusb://B/2 \"B\"\n", {}}, //
        Row{"OtherCase", "Direct usb://B/2 \"B\"\n", {}},
        Row{"EveryNewlineEndsALine",
            "direct usb://A \"A\"\r\ndirect usb://B \"B\"\rdirect usb://C \"C\"\xe2\x80\xa8"
            "direct usb://D \"D\"\xe2\x80\xa9"
            "direct usb://E \"E\"\xc2\x85"
            "direct usb://F \"F\"\vdirect usb://G \"G\"\fdirect usb://H \"H\"",
            {printer("usb://A", "A"), printer("usb://B", "B"), printer("usb://C", "C"), printer("usb://D", "D"),
                printer("usb://E", "E"), printer("usb://F", "F"), printer("usb://G", "G"), printer("usb://H", "H")}},
        Row{"NewlineInTheName", "direct usb://B/2 \"B\nC\"\n", {}},
        Row{"ControlCharactersInTheName", QByteArray("direct usb://B/2 \"B\tC\"\n"), {printer("usb://B/2", "B\tC")}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(USBListing, Of65536BytesIsReadAndLongerIsRefused)
{
    const QString program = script("exec cat \"$0.listing\"");
    for (const qsizetype size : {65536, 65537}) {
        const QByteArray listing = directLine + '\n';
        writeFile(program + QStringLiteral(".listing"), listing + QByteArray(size - listing.size(), 'x'));
        Printers printers;
        EXPECT_EQ(failure([&] { printers = USBBackend::discover(program, patient); }),
            QString::fromLatin1(size == 65536 ? "" : unreadableList));
        EXPECT_EQ(printers, size == 65536 ? Printers{star} : Printers{});
    }
}

TEST_F(USBListing, OfManyMegabytesIsReadToItsEndAndRefused)
{
    const QString program = script("head -c 20000000 /dev/zero; echo done > \"$0.done\"");
    EXPECT_EQ(failure([&] { static_cast<void>(USBBackend::discover(program, patient)); }),
        QString::fromLatin1(unreadableList));
    EXPECT_EQ(readFile(program + QStringLiteral(".done")), "done\n");
}

TEST_F(USBListing, ThatIsNotUTF8IsRefused)
{
    for (const char* bytes : {"\\377", "\\303", "\\355\\240\\200", "direct usb://B \"\\200\""}) {
        const QString program = script(QByteArray("printf '") + bytes + "'");
        EXPECT_EQ(failure([&] { static_cast<void>(USBBackend::discover(program, patient)); }),
            QString::fromLatin1(unreadableList));
    }
}

TEST_F(USBListing, FailsWithTheProgram)
{
    const QString program = script("echo 'direct usb://B/2 \"B\"'; exit 1");
    EXPECT_EQ(failure([&] { static_cast<void>(USBBackend::discover(program, patient)); }),
        QString::fromLatin1(transferFailed));
}

TEST_F(USBListing, IsReadToTheEndOfFileThoughTheProgramHasEnded)
{
    const QString program = script("(" + waitForGo
        + "echo 'direct usb://B/2 \"B\"') &\n"
          "(sleep 0.1; echo > \"$0.go\") > /dev/null &");
    EXPECT_EQ(USBBackend::discover(program, patient), Printers{printer("usb://B/2", "B")});
}

TEST_F(USBListing, IsWhatCameWhenSomebodyElseKeepsThePipeOpen)
{
    // What keeps the pipe open outlives the call, and ends when the test says so.
    const QString program = script("(" + waitForGo + ") &\necho 'direct usb://B/2 \"B\"'");
    Printers printers;
    for (auto limit = std::chrono::milliseconds(100); printers.empty(); limit *= 2) {
        try {
            printers = USBBackend::discover(program, {limit, limit, limit});
        } catch (const std::exception&) {
            continue; // this machine needs longer to start the program
        }
    }
    EXPECT_EQ(printers, Printers{printer("usb://B/2", "B")});
    writeFile(program + QStringLiteral(".go"), "");
}

TEST(USBBackend, NamesTheProgramOfThePlatformOrOfThePackager)
{
    EXPECT_EQ(USBBackend::path(), QStringLiteral(EXPECTED_USB_BACKEND));
}

} // namespace
} // namespace test
} // namespace harrowmint
