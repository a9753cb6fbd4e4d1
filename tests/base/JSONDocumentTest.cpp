#include "base/JSONDocument.h"

#include "base/CanonicalJSON.h"
#include "base/PrinterError.h"

#include <QThread>

using namespace harrowmint;

namespace {

/// What the parser says about a text that is not JSON; empty for JSON.
QString complaint(const QByteArray& text)
{
    try {
        const JSONDocument document(text);
        return {};
    } catch (const PrinterError& error) {
        EXPECT_FALSE(error.message().isEmpty());
        return error.message();
    }
}

bool isJSON(const QByteArray& text)
{
    return complaint(text).isEmpty();
}

/// The one entry of an array, canonically: how its value was read.
QByteArray readBack(const QByteArray& value)
{
    const JSONDocument document('[' + value + ']');
    return canonicalJSON(document.root().array()->at(0));
}

struct Text {
    const char* name;
    QByteArray json;
};

void PrintTo(const Text& text, std::ostream* out)
{
    *out << text.json.left(60).toStdString();
}

class AcceptedJSON : public ::testing::TestWithParam<Text> { };
class RefusedJSON : public ::testing::TestWithParam<Text> { };
const auto rowName = [](const auto& info) { return std::string(info.param.name); };

TEST_P(AcceptedJSON, IsRead)
{
    EXPECT_EQ(complaint(GetParam().json), QString());
}

TEST_P(RefusedJSON, IsToldInTheParsersWords)
{
    EXPECT_NE(complaint(GetParam().json), QString());
}

QByteArray nested(int depth, char open, char close)
{
    return QByteArray(depth, open) + QByteArray(depth, close);
}

QByteArray nestedObjects(int depth)
{
    return QByteArray(R"({"a":)").repeated(depth - 1) + "{}" + QByteArray(depth - 1, '}');
}

const Text accepted[] = {
    {"EmptyArray", "[]"},
    {"EmptyObject", "{}"},
    {"WhiteSpaceAround", " \t\r\n[ ] \n"},
    {"EmptyKey", R"({"":1})"},
    {"EscapedNull", R"(["\u0000"])"},
    {"EveryEscape", R"(["\"\\\/\b\f\n\r\t\u00e9"])"},
    {"SurrogatePair", R"(["\ud83d\ude00"])"},
    {"Noncharacter", R"(["\uffff"])"},
    {"DeleteCharacter", "[\"\x7f\"]"},
    {"NegativeZero", "[-0, -0.0]"},
    {"Exponents", "[1e5,1E+5,1.5e-5,0e0]"},
    {"LargestIntegers", "[-9223372036854775808,9223372036854775807,18446744073709551615]"},
    {"LargestDouble", "[1.7976931348623157e308]"},
    {"WholeNumberBeyond64BitsWithFraction", "[18446744073709551616.0]"},
    {"UnderflowToZero", "[1e-400]"},
    {"DuplicateKeys", R"({"a":1,"a":2})"},
    {"ArraysOfDepth64", nested(64, '[', ']')},
    {"ObjectsOfDepth64", nestedObjects(64)},
};
INSTANTIATE_TEST_SUITE_P(Each, AcceptedJSON, ::testing::ValuesIn(accepted), rowName);

const Text refused[] = {
    {"Empty", ""},
    {"Blank", " \n"},
    {"Null", "null"},
    {"True", "true"},
    {"Number", "1"},
    {"String", "\"a\""},
    {"TrailingText", "{} x"},
    {"TrailingBracket", "[]]"},
    {"TwoTexts", "{}{}"},
    {"TwoTextsOnTwoLines", "{}\n{}"},
    {"TrailingNull", QByteArray("{}\0", 3)},
    {"NullInside", QByteArray("[\0]", 3)},
    {"ByteOrderMark", "\xef\xbb\xbf{}"},
    {"ByteOrderMarkInside", "[\xef\xbb\xbf]"},
    {"UTF16", QByteArray("[\0]\0", 4)},
    {"UnclosedArray", "["},
    {"UnclosedObject", R"({"a":1)"},
    {"UnclosedString", "[\"a]"},
    {"WrongBracket", "[}"},
    {"TrailingComma", "[1,]"},
    {"TrailingCommaInObject", R"({"a":1,})"},
    {"LeadingComma", "[,1]"},
    {"MissingComma", "[1 2]"},
    {"MissingColon", R"({"a" 1})"},
    {"MissingValue", R"({"a":})"},
    {"KeyWithoutQuotes", "{a:1}"},
    {"KeyThatIsANumber", "{1:1}"},
    {"SingleQuotes", "['a']"},
    {"Comment", "[1/*a*/]"},
    {"LineComment", "[1]//a"},
    {"CapitalLiteral", "[True]"},
    {"LongerLiteral", "[truex]"},
    {"ShorterLiteral", "[nul]"},
    {"NaN", "[NaN]"},
    {"Infinity", "[-Infinity]"},
    {"NumberWithoutWholePart", "[.5]"},
    {"NumberWithoutFraction", "[1.]"},
    {"NumberWithoutFractionBeforeExponent", "[1.e5]"},
    {"NumberWithoutExponent", "[1e]"},
    {"NumberWithoutExponentDigits", "[1e+]"},
    {"NumberWithPlus", "[+1]"},
    {"NumberWithLeadingZero", "[01]"},
    {"NegativeNumberWithLeadingZero", "[-01]"},
    {"MinusAlone", "[-]"},
    {"HexadecimalNumber", "[0x10]"},
    {"NumberWithText", "[1a]"},
    {"NumberWithTwoPoints", "[1.2.3]"},
    {"NumberOfOtherDigits", "[\xd9\xa1]"},
    {"IntegerBeyond64Bits", "[18446744073709551616]"},
    {"NegativeIntegerBeyond64Bits", "[-9223372036854775809]"},
    {"NumberBeyondADouble", "[1e309]"},
    {"RawTab", "[\"a\tb\"]"},
    {"RawLineFeed", "[\"a\nb\"]"},
    {"RawNull", QByteArray("[\"a\0b\"]", 7)},
    {"RawUnitSeparator", "[\"a\x1f\"]"},
    {"RawControlInKey", "{\"a\nb\":1}"},
    {"UnknownEscape", R"(["\x41"])"},
    {"ShortEscape", R"(["\u12"])"},
    {"EscapeOfOtherDigits", R"(["\u12g4"])"},
    {"CapitalUEscape", R"(["\U0041"])"},
    {"EscapeAtTheEnd", "[\"\\"},
    {"LoneHighSurrogate", R"(["\ud800"])"},
    {"LoneLowSurrogate", R"(["\udc00"])"},
    {"HighSurrogateThenText", R"(["\ud800x"])"},
    {"HighSurrogateThenOtherEscape", R"(["\ud800\n"])"},
    {"TwoHighSurrogates", R"(["\ud800\ud800"])"},
    {"SurrogatesTheWrongWayRound", R"(["\udc00\ud800"])"},
    {"LoneSurrogateInKey", R"({"\ud800":1})"},
    {"OverlongUTF8", "[\"\xc0\xaf\"]"},
    {"SurrogateInUTF8", "[\"\xed\xa0\x80\"]"},
    {"BeyondTheLastScalar", "[\"\xf4\x90\x80\x80\"]"},
    {"ShortUTF8", "[\"\xe2\x82\"]"},
    {"Latin1", "[\"\xfc\"]"},
    {"UTF8OutsideAString", "[\xc2\xa0]"},
    {"ArraysOfDepth65", nested(65, '[', ']')},
    {"ObjectsOfDepth65", nestedObjects(65)},
    {"MixedNestingOfDepth65", QByteArray(R"([{"a":)").repeated(32) + "[]" + QByteArray("}]").repeated(32)},
    {"DeepNestingUnclosed", QByteArray(65000, '[')},
};
INSTANTIATE_TEST_SUITE_P(Each, RefusedJSON, ::testing::ValuesIn(refused), rowName);

TEST(JSONDocument, HasADepthOf64InMixedNestingToo)
{
    EXPECT_TRUE(isJSON(QByteArray(R"([{"a":)").repeated(31) + "[[]]" + QByteArray("}]").repeated(31)));
    EXPECT_FALSE(isJSON(QByteArray(R"([{"a":)").repeated(31) + "[[[]]]" + QByteArray("}]").repeated(31)));
}

TEST(JSONDocument, NeedsLittleStackForDeepNesting)
{
    // A reader that recursed 65 000 times would need far more than this.
    constexpr uint stackBytes = 512 * 1024;
    QString said;
    QByteArray deepest;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        said = complaint(nested(65000, '[', ']'));
        const JSONDocument document(nestedObjects(64));
        deepest = canonicalJSON(document.root());
    }));
    thread->setStackSize(stackBytes);
    thread->start();
    thread->wait();
    EXPECT_EQ(said, complaint(nested(65, '[', ']')));
    EXPECT_EQ(deepest, nestedObjects(64));
}

TEST(JSONDocument, TakesTheLastOfDuplicateKeys)
{
    const JSONDocument document(R"({"b":0,"a":1,"\u0061":2,"c":0,"a":null,"a":3})");
    const auto object = document.root().object();
    ASSERT_TRUE(object);
    EXPECT_EQ(object->size(), 3U);
    EXPECT_EQ(object->value("a")->number(), 3);
    EXPECT_EQ(canonicalJSON(document.root()), R"({"a":3,"b":0,"c":0})");
}

TEST(JSONDocument, FindsKeysByTheirWholeText)
{
    const JSONDocument document(R"({"a":1,"ab":2,"a\u0000":3,"é":4,"😀":5})");
    const auto object = *document.root().object();
    EXPECT_EQ(object.value("a")->number(), 1);
    EXPECT_EQ(object.value("ab")->number(), 2);
    EXPECT_EQ(object.value(std::string_view("a\0", 2))->number(), 3);
    EXPECT_EQ(object.value("é")->number(), 4);
    EXPECT_EQ(object.value("😀")->number(), 5);
    EXPECT_FALSE(object.contains(""));
    EXPECT_FALSE(object.contains("A"));
    EXPECT_FALSE(object.contains("abc"));
}

TEST(JSONDocument, TellsAMissingKeyFromANullOne)
{
    const JSONDocument document(R"({"a":null})");
    const auto object = *document.root().object();
    ASSERT_TRUE(object.value("a"));
    EXPECT_TRUE(object.value("a")->isNull());
    EXPECT_FALSE(object.value("b"));
}

TEST(JSONValue, HasExactlyOneKind)
{
    using Kind = JSONValue::Kind;
    const JSONDocument document(R"([null,true,1,-1,9223372036854775808,1.0,"1",[],{}])");
    const Kind kinds[] = {Kind::Null, Kind::Boolean, Kind::Integer, Kind::Integer, Kind::UnsignedInteger, Kind::Double,
        Kind::String, Kind::Array, Kind::Object};
    const auto values = *document.root().array();
    ASSERT_EQ(values.size(), std::size(kinds));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Kind kind = kinds[i];
        EXPECT_EQ(values[i].kind(), kind) << i;
        EXPECT_EQ(values[i].isNull(), kind == Kind::Null) << i;
        EXPECT_EQ(values[i].boolean().has_value(), kind == Kind::Boolean) << i;
        const bool isNumber = kind == Kind::Integer || kind == Kind::UnsignedInteger || kind == Kind::Double;
        EXPECT_EQ(values[i].isNumber(), isNumber) << i;
        EXPECT_EQ(values[i].number().has_value(), isNumber) << i;
        EXPECT_EQ(values[i].numberText().has_value(), isNumber) << i;
        EXPECT_EQ(values[i].integerText().isEmpty(), !isNumber || kind == Kind::Double) << i;
        EXPECT_EQ(values[i].string().has_value(), kind == Kind::String) << i;
        EXPECT_EQ(values[i].utf8().has_value(), kind == Kind::String) << i;
        EXPECT_EQ(values[i].isString("1"), kind == Kind::String) << i;
        EXPECT_EQ(values[i].array().has_value(), kind == Kind::Array) << i;
        EXPECT_EQ(values[i].object().has_value(), kind == Kind::Object) << i;
    }
}

TEST(JSONValue, GivesWholeNumbersHoweverTheyAreWritten)
{
    for (const char* sixteen : {"16", "16.0", "1.6e1", "160e-1"}) {
        const JSONDocument document(QByteArray("[") + sixteen + ']');
        const JSONValue value = document.root().array()->at(0);
        EXPECT_EQ(value.integer(16, 16), 16) << sixteen;
        EXPECT_EQ(value.integer(0, 15), std::nullopt) << sixteen;
        EXPECT_EQ(value.integer(17, 99), std::nullopt) << sixteen;
    }
    const JSONDocument others(R"([1.5,1e300,-1e300,18446744073709551615,4294967312,"16",true,null])");
    const auto list = *others.root().array();
    for (const JSONValue& value : list)
        EXPECT_EQ(value.integer(INT_MIN, INT_MAX), std::nullopt);
    const JSONDocument extremes("[2147483647,-2147483648,2147483648,-2147483649,-0.0]");
    const auto values = *extremes.root().array();
    EXPECT_EQ(values[0].integer(INT_MIN, INT_MAX), INT_MAX);
    EXPECT_EQ(values[1].integer(INT_MIN, INT_MAX), INT_MIN);
    EXPECT_EQ(values[2].integer(INT_MIN, INT_MAX), std::nullopt);
    EXPECT_EQ(values[3].integer(INT_MIN, INT_MAX), std::nullopt);
    EXPECT_EQ(values[4].integer(0, 0), 0);
}

TEST(JSONValue, GivesStringsWithTheirEscapesResolved)
{
    const JSONDocument document(R"(["\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00\u0000x"])");
    const JSONValue value = document.root().array()->at(0);
    const QString expected = QStringLiteral("\"\\/\b\f\n\r\té😀") + QChar(0) + QStringLiteral("x");
    EXPECT_EQ(value.string(), expected);
    EXPECT_EQ(QString::fromUtf8(value.utf8()->data(), static_cast<qsizetype>(value.utf8()->size())), expected);
    EXPECT_FALSE(value.isString("\""));
}

TEST(JSONValue, GivesTheShortestExactTextOfANumber)
{
    const std::pair<const char*, const char*> rows[] = {{"1024", "1024"}, {"12.50", "12.5"}, {"100000", "100000"},
        {"1e5", "100000"}, {"1.0", "1"}, {"-0", "0"}, {"-0.0", "0"}, {"0.1", "0.1"}, {"1e21", "1e+21"},
        {"1e-7", "1e-7"}, {"9223372036854775807", "9223372036854775807"},
        {"-9223372036854775808", "-9223372036854775808"}, {"18446744073709551615", "18446744073709551615"},
        {"9007199254740993", "9007199254740993"}, {"9007199254740993.0", "9007199254740992"}};
    for (const auto& [written, text] : rows) {
        const JSONDocument document(QByteArray("[") + written + ']');
        EXPECT_EQ(document.root().array()->at(0).numberText(), QString::fromLatin1(text)) << written;
        EXPECT_EQ(readBack(written), text);
    }
}

} // namespace

TEST(JSONDocument, KeepsACharacterThatCouldBeAByteOrderMark)
{
    const harrowmint::JSONDocument document("[\"\xef\xbb\xbf\xef\xbb\xbfUSD\"]");
    const auto entries = document.root().array();
    ASSERT_TRUE(entries);
    EXPECT_EQ(entries->at(0).string(), QStringLiteral("\uFEFF\uFEFFUSD"));
}
