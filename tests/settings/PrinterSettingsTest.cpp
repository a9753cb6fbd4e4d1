#include "settings/PrinterSettings.h"
#include "base/PrinterError.h"

#include <QDir>

using namespace harrowmint;

namespace {

const QString outOfBounds =
    QStringLiteral("Check the receipt connection, printer, paper width and three-letter currency code.");
const QString badAddress = QStringLiteral("Enter an exact HTTPS store address, without a page path or wildcard.");
const QString uuid = QStringLiteral("0A1b2C3d-4E5f-6071-8293-a4B5c6D7e8F9");

/// The sentence with which the settings are refused; empty when they pass.
QString refusalOf(const PrinterSettings& settings)
{
    try {
        (void)settings.validated();
        return {};
    } catch (const PrinterError& error) {
        return error.message();
    }
}

QString repeated(const QString& text, int count)
{
    return text.repeated(count);
}

struct Change {
    const char* name;
    std::function<void(PrinterSettings&)> apply;
};

void PrintTo(const Change& change, std::ostream* out)
{
    *out << change.name;
}

const auto rowName = [](const auto& info) { return std::string(info.param.name); };

class AcceptedSettings : public ::testing::TestWithParam<Change> { };
class RefusedSettings : public ::testing::TestWithParam<Change> { };

TEST_P(AcceptedSettings, PassUnchanged)
{
    PrinterSettings settings;
    GetParam().apply(settings);
    EXPECT_EQ(refusalOf(settings), QString());
    EXPECT_EQ(settings.validated(), settings);
}

TEST_P(RefusedSettings, AreRefusedWithTheOneSentence)
{
    PrinterSettings settings;
    GetParam().apply(settings);
    EXPECT_EQ(refusalOf(settings), outOfBounds);
}

#define CHANGE(name, statement)                                                                                        \
    Change                                                                                                             \
    {                                                                                                                  \
        name, [](PrinterSettings& s) { statement; }                                                                    \
    }

const Change accepted[] = {
    CHANGE("Defaults", (void)s),
    CHANGE("Paper58", s.paperWidth = 58),
    CHANGE("Paper80", s.paperWidth = 80),
    CHANGE("CurrencyAAA", s.currency = QStringLiteral("AAA")),
    CHANGE("CurrencyZZZ", s.currency = QStringLiteral("ZZZ")),
    CHANGE("PrinterWithVendorModelAndSerial", s.printerURI = QStringLiteral("usb://EPSON/TM-T20III?serial=5839A")),
    CHANGE("PrinterPrefixAlone", s.printerURI = QStringLiteral("usb://")),
    CHANGE("PrinterOf1024Bytes", s.printerURI = QStringLiteral("usb://") + repeated(QStringLiteral("a"), 1018)),
    CHANGE("PrinterOf1024BytesInFewerCharacters",
        s.printerURI = QStringLiteral("usb://") + repeated(QStringLiteral("é"), 509)),
    CHANGE("PrinterNameOfAnything", s.printerName = repeated(QStringLiteral("\n"), 5000)),
    CHANGE("Paused", s.paused = true),
    CHANGE("ConnectionUSB", s.receiptConnection = QStringLiteral("usb")),
    CHANGE("ConnectionBluetoothWithoutAPrinter", s.receiptConnection = QStringLiteral("bluetooth")),
    CHANGE("ReceiptURIEmpty", s.bluetoothReceiptURI = QString()),
    CHANGE("ReceiptURIOfLE", s.bluetoothReceiptURI = QStringLiteral("ble:") + uuid),
    CHANGE("ReceiptURIOfSerialPort", s.bluetoothReceiptURI = QStringLiteral("spp:0123456789AB")),
    CHANGE("ReceiptURIOfSerialPortInLetters", s.bluetoothReceiptURI = QStringLiteral("spp:ABCDEFABCDEF")),
    CHANGE("ReceiptNameEmpty", s.bluetoothReceiptName = QString()),
    CHANGE("ReceiptNameOf256Letters", s.bluetoothReceiptName = repeated(QStringLiteral("a"), 256)),
    CHANGE("ReceiptNameOf256Emoji", s.bluetoothReceiptName = repeated(QStringLiteral("😀"), 256)),
    CHANGE("ReceiptNameOf256CombinedLetters", s.bluetoothReceiptName = repeated(QStringLiteral("e\u0301\u0302"), 256)),
    CHANGE("ReceiptNameWithLineSeparator", s.bluetoothReceiptName = QStringLiteral("a\u2028b")),
    CHANGE("LabelURIEmpty", s.labelPrinterURI = QString()),
    CHANGE("LabelURIOfLE", s.labelPrinterURI = QStringLiteral("ble:") + uuid),
    CHANGE("LabelNameOf256Letters", s.labelPrinterName = repeated(QStringLiteral("a"), 256)),
    CHANGE("LabelNameOf256CombinedLetters", s.labelPrinterName = repeated(QStringLiteral("e\u0301"), 256)),
    CHANGE("LabelNameWithTab", s.labelPrinterName = QStringLiteral("a\tb")),
    CHANGE("LabelNameWithNull", s.labelPrinterName = QStringLiteral("a") + QChar(0)),
    CHANGE("LabelNameWithZeroWidthJoiner", s.labelPrinterName = QStringLiteral("a\u200db")),
    CHANGE("LabelNameWithUnitSeparator", s.labelPrinterName = QStringLiteral("a\u001fb")),
    CHANGE("EightOrigins", for (int i = 0; i < 8; ++i) s.origins.append(QStringLiteral("https://a.b%1").arg(i))),
};
INSTANTIATE_TEST_SUITE_P(Each, AcceptedSettings, ::testing::ValuesIn(accepted), rowName);

const Change refused[] = {
    CHANGE("Paper72", s.paperWidth = 72),
    CHANGE("Paper57", s.paperWidth = 57),
    CHANGE("Paper59", s.paperWidth = 59),
    CHANGE("Paper79", s.paperWidth = 79),
    CHANGE("Paper81", s.paperWidth = 81),
    CHANGE("Paper0", s.paperWidth = 0),
    CHANGE("PaperMinus80", s.paperWidth = -80),
    CHANGE("Paper80Beyond32Bits", s.paperWidth = (std::int64_t{1} << 32) + 80),
    CHANGE("CurrencyEmpty", s.currency = QString()),
    CHANGE("CurrencyInLowerCase", s.currency = QStringLiteral("usd")),
    CHANGE("CurrencyInMixedCase", s.currency = QStringLiteral("USd")),
    CHANGE("CurrencyOfTwoLetters", s.currency = QStringLiteral("US")),
    CHANGE("CurrencyOfFourLetters", s.currency = QStringLiteral("USDX")),
    CHANGE("CurrencyWithDigit", s.currency = QStringLiteral("US1")),
    CHANGE("CurrencyBeforeA", s.currency = QStringLiteral("US@")),
    CHANGE("CurrencyAfterZ", s.currency = QStringLiteral("US[")),
    CHANGE("CurrencyBeyondASCII", s.currency = QStringLiteral("USÉ")),
    CHANGE("CurrencyWithLineFeedAfter", s.currency = QStringLiteral("USD\n")),
    CHANGE("CurrencyWithLineFeedInstead", s.currency = QStringLiteral("US\n")),
    CHANGE("NineOriginsOfOneStore", s.origins = QStringList(9, QStringLiteral("https://a.b"))),
    CHANGE("NineBadOrigins", s.origins = QStringList(9, QStringLiteral("*"))),
    CHANGE("PrinterOf1025Bytes", s.printerURI = QStringLiteral("usb://") + repeated(QStringLiteral("a"), 1019)),
    CHANGE("PrinterOf1026BytesInFewerCharacters",
        s.printerURI = QStringLiteral("usb://") + repeated(QStringLiteral("é"), 510)),
    CHANGE("PrinterWithSpace", s.printerURI = QStringLiteral("usb://EPSON/TM T20?serial=1")),
    CHANGE("PrinterWithSpaceAfter", s.printerURI = QStringLiteral("usb://EPSON ")),
    CHANGE("PrinterWithNoBreakSpace", s.printerURI = QStringLiteral("usb://EPSON\u00a0TM")),
    CHANGE("PrinterWithIdeographicSpace", s.printerURI = QStringLiteral("usb://EPSON\u3000TM")),
    CHANGE("PrinterWithTab", s.printerURI = QStringLiteral("usb://EPSON\tTM")),
    CHANGE("PrinterWithLineFeed", s.printerURI = QStringLiteral("usb://EPSON\n")),
    CHANGE("PrinterWithNextLine", s.printerURI = QStringLiteral("usb://EPSON\u0085")),
    CHANGE("PrinterOfAnotherScheme", s.printerURI = QStringLiteral("ipp://EPSON")),
    CHANGE("PrinterSchemeInCapitals", s.printerURI = QStringLiteral("USB://EPSON")),
    CHANGE("PrinterWithOneSlash", s.printerURI = QStringLiteral("usb:/EPSON")),
    CHANGE("PrinterWithTextBefore", s.printerURI = QStringLiteral("xusb://EPSON")),
    CHANGE("ConnectionEmpty", s.receiptConnection = QString()),
    CHANGE("ConnectionInCapitals", s.receiptConnection = QStringLiteral("USB")),
    CHANGE("ConnectionWithSpace", s.receiptConnection = QStringLiteral("bluetooth ")),
    CHANGE("ConnectionUnknown", s.receiptConnection = QStringLiteral("network")),
    CHANGE("ReceiptURIOfUSB", s.bluetoothReceiptURI = QStringLiteral("usb://EPSON")),
    CHANGE("ReceiptURIWithLowerCaseDigits", s.bluetoothReceiptURI = QStringLiteral("spp:0123456789ab")),
    CHANGE("ReceiptURIBlank", s.bluetoothReceiptURI = QStringLiteral(" ")),
    CHANGE("ReceiptNameOf257Letters", s.bluetoothReceiptName = repeated(QStringLiteral("a"), 257)),
    CHANGE("ReceiptNameOf257Emoji", s.bluetoothReceiptName = repeated(QStringLiteral("😀"), 257)),
    CHANGE("ReceiptNameWithTab", s.bluetoothReceiptName = QStringLiteral("a\tb")),
    CHANGE("ReceiptNameWithLineFeed", s.bluetoothReceiptName = QStringLiteral("a\n")),
    CHANGE("ReceiptNameWithNull", s.bluetoothReceiptName = QStringLiteral("a") + QChar(0)),
    CHANGE("ReceiptNameWithDelete", s.bluetoothReceiptName = QStringLiteral("a\u007f")),
    CHANGE("ReceiptNameWithZeroWidthJoiner", s.bluetoothReceiptName = QStringLiteral("a\u200db")),
    CHANGE("ReceiptNameWithRightToLeftOverride", s.bluetoothReceiptName = QStringLiteral("a\u202eb")),
    CHANGE("ReceiptNameWithSoftHyphen", s.bluetoothReceiptName = QStringLiteral("a\u00adb")),
    CHANGE("ReceiptNameWithTagBeyondTheBasicPlane", s.bluetoothReceiptName = QStringLiteral("a\U000e0041")),
    CHANGE("LabelURIOfSerialPort", s.labelPrinterURI = QStringLiteral("spp:0123456789AB")),
    CHANGE("LabelURIOfUSB", s.labelPrinterURI = QStringLiteral("usb://EPSON")),
    CHANGE("LabelURIWithoutUUID", s.labelPrinterURI = QStringLiteral("ble:")),
    CHANGE("LabelNameOf257Letters", s.labelPrinterName = repeated(QStringLiteral("a"), 257)),
    CHANGE("LabelNameWithLineFeed", s.labelPrinterName = QStringLiteral("a\nb")),
    CHANGE("LabelNameWithLineTabulation", s.labelPrinterName = QStringLiteral("a\u000bb")),
    CHANGE("LabelNameWithFormFeed", s.labelPrinterName = QStringLiteral("a\u000cb")),
    CHANGE("LabelNameWithCarriageReturn", s.labelPrinterName = QStringLiteral("a\r")),
    CHANGE("LabelNameWithCarriageReturnAndLineFeed", s.labelPrinterName = QStringLiteral("a\r\nb")),
    CHANGE("LabelNameWithNextLine", s.labelPrinterName = QStringLiteral("a\u0085b")),
    CHANGE("LabelNameWithLineSeparator", s.labelPrinterName = QStringLiteral("a\u2028b")),
    CHANGE("LabelNameWithParagraphSeparator", s.labelPrinterName = QStringLiteral("a\u2029b")),
};
INSTANTIATE_TEST_SUITE_P(Each, RefusedSettings, ::testing::ValuesIn(refused), rowName);

TEST(PrinterSettings, HasTheStatedDefaults)
{
    const PrinterSettings settings;
    EXPECT_EQ(settings.printerURI, QString());
    EXPECT_EQ(settings.printerName, QString());
    EXPECT_EQ(settings.paperWidth, 80);
    EXPECT_EQ(settings.currency, QStringLiteral("USD"));
    EXPECT_TRUE(settings.origins.isEmpty());
    EXPECT_FALSE(settings.paused);
    EXPECT_FALSE(settings.receiptConnection || settings.bluetoothReceiptURI || settings.bluetoothReceiptName);
    EXPECT_FALSE(settings.labelPrinterURI || settings.labelPrinterName);
}

TEST(PrinterSettings, NormalisesDeduplicatesAndSortsOrigins)
{
    PrinterSettings settings;
    settings.origins = {QStringLiteral("https://b.example/"), QStringLiteral(" https://A.example:443 "),
        QStringLiteral("https://a.example"), QStringLiteral("https://a-b.example"),
        QStringLiteral("https://a0.example")};
    const QStringList expected = {QStringLiteral("https://a-b.example"), QStringLiteral("https://a.example"),
        QStringLiteral("https://a0.example"), QStringLiteral("https://b.example")};
    EXPECT_EQ(settings.validated().origins, expected);
}

TEST(PrinterSettings, MakesOneOriginOfEightDuplicates)
{
    PrinterSettings settings;
    settings.origins = QStringList(8, QStringLiteral("https://a.b"));
    EXPECT_EQ(settings.validated().origins, QStringList(QStringLiteral("https://a.b")));
}

TEST(PrinterSettings, RefusesABadOriginWithTheAddressSentence)
{
    PrinterSettings settings;
    settings.origins = {QStringLiteral("https://a.b"), QStringLiteral("http://a.b")};
    EXPECT_EQ(refusalOf(settings), badAddress);
}

TEST(PrinterSettings, ChecksEveryOtherFieldBeforeTheOrigins)
{
    for (const Change& change : refused) {
        PrinterSettings settings;
        settings.origins = {QStringLiteral("*")};
        change.apply(settings);
        EXPECT_EQ(refusalOf(settings), outOfBounds) << change.name;
    }
}

TEST(PrinterSettings, LeavesEverythingButTheOriginsAsItIs)
{
    PrinterSettings settings{QStringLiteral("usb://A"), QStringLiteral(" A\n"), 58, QStringLiteral("EUR"), {}, true,
        QStringLiteral("bluetooth"), QStringLiteral("ble:") + uuid, QStringLiteral(" B "),
        QStringLiteral("ble:") + uuid, QStringLiteral("L\t")};
    EXPECT_EQ(settings.validated(), settings);
}

TEST(PrinterSettings, AddressesTheUSBPrinterUnlessBluetoothIsChosen)
{
    PrinterSettings settings;
    settings.printerURI = QStringLiteral("usb://A");
    settings.bluetoothReceiptURI = QStringLiteral("spp:0123456789AB");
    EXPECT_FALSE(settings.usesBluetoothReceipt());
    EXPECT_EQ(settings.activeReceiptURI(), QStringLiteral("usb://A"));
    settings.receiptConnection = QStringLiteral("usb");
    EXPECT_FALSE(settings.usesBluetoothReceipt());
    EXPECT_EQ(settings.activeReceiptURI(), QStringLiteral("usb://A"));
    settings.receiptConnection = QStringLiteral("bluetooth");
    EXPECT_TRUE(settings.usesBluetoothReceipt());
    EXPECT_EQ(settings.activeReceiptURI(), QStringLiteral("spp:0123456789AB"));
}

TEST(PrinterSettings, NeverFallsBackFromBluetoothToTheUSBAddress)
{
    PrinterSettings settings;
    settings.printerURI = QStringLiteral("usb://A");
    settings.receiptConnection = QStringLiteral("bluetooth");
    EXPECT_EQ(settings.activeReceiptURI(), QString());
}

TEST(PrinterSettings, LiveInTheUsersApplicationSupportDirectory)
{
    EXPECT_EQ(PrinterSettings::directory(),
        QDir::homePath() + QStringLiteral("/Library/Application Support/Harrowmint Printer"));
    EXPECT_EQ(PrinterSettings::fileName(), QStringLiteral("settings.json"));
}

struct Port {
    const char* name;
    QString uri;
    bool receipt;
    bool label;
};

void PrintTo(const Port& port, std::ostream* out)
{
    *out << port.uri.toStdString();
}

class BluetoothPort : public ::testing::TestWithParam<Port> { };

TEST_P(BluetoothPort, IsJudgedForReceiptsAndForLabels)
{
    EXPECT_EQ(PrinterSettings::isReceiptBluetoothPort(GetParam().uri), GetParam().receipt);
    EXPECT_EQ(PrinterSettings::isLabelPort(GetParam().uri), GetParam().label);
}

const Port ports[] = {
    {"MixedCaseUUID", QStringLiteral("ble:") + uuid, true, true},
    {"LowerCaseUUID", QStringLiteral("ble:") + uuid.toLower(), true, true},
    {"UpperCaseUUID", QStringLiteral("ble:") + uuid.toUpper(), true, true},
    {"SerialAddress", QStringLiteral("spp:0123456789AB"), true, false},
    {"SerialAddressInLowerCase", QStringLiteral("spp:0123456789aB"), false, false},
    {"SerialAddressOf11Digits", QStringLiteral("spp:0123456789A"), false, false},
    {"SerialAddressOf13Digits", QStringLiteral("spp:0123456789ABC"), false, false},
    {"SerialAddressWithG", QStringLiteral("spp:0123456789AG"), false, false},
    {"SerialAddressWithAt", QStringLiteral("spp:0123456789A@"), false, false},
    {"SerialAddressWithColon", QStringLiteral("spp:0123456789A:"), false, false},
    {"SerialAddressWithSlash", QStringLiteral("spp:0123456789A/"), false, false},
    {"SerialAddressWithLineFeed", QStringLiteral("spp:0123456789AB\n"), false, false},
    {"SerialAddressAfterLineFeed", QStringLiteral("\nspp:0123456789AB"), false, false},
    {"SerialAddressOfFullWidthDigits", QStringLiteral("spp:０１２３４５６７８９AB"), false, false},
    {"SerialAddressAfterCapitalScheme", QStringLiteral("SPP:0123456789AB"), false, false},
    {"SerialAddressAfterLEScheme", QStringLiteral("ble:0123456789AB"), false, false},
    {"UUIDAfterSerialScheme", QStringLiteral("spp:") + uuid, false, false},
    {"UUIDAfterCapitalScheme", QStringLiteral("BLE:") + uuid, false, false},
    {"UUIDAlone", uuid, false, false},
    {"UUIDInBraces", QStringLiteral("ble:{") + uuid + QStringLiteral("}"), false, false},
    {"UUIDWithTail", QStringLiteral("ble:") + uuid + QStringLiteral("0"), false, false},
    {"UUIDWithLineFeed", QStringLiteral("ble:") + uuid + QStringLiteral("\n"), false, false},
    {"UUIDWithSpaceBefore", QStringLiteral("ble: ") + uuid, false, false},
    {"UUIDWithoutHyphens", QStringLiteral("ble:") + QString(uuid).remove(u'-'), false, false},
    {"UUIDWithG", QStringLiteral("ble:") + QString(uuid).replace(0, 1, QStringLiteral("G")), false, false},
    {"UUIDTooShort", QStringLiteral("ble:") + uuid.chopped(1), false, false},
    {"SchemeOfLEAlone", QStringLiteral("ble:"), false, false},
    {"SchemeOfSerialAlone", QStringLiteral("spp:"), false, false},
    {"Empty", QString(), false, false},
};
INSTANTIATE_TEST_SUITE_P(Each, BluetoothPort, ::testing::ValuesIn(ports), rowName);

} // namespace
