#include "base/CanonicalJSON.h"

#include <bit>
#include <cmath>
#include <random>

using namespace harrowmint;

namespace {

QByteArray canonical(const QByteArray& json)
{
    const JSONDocument document(json);
    return canonicalJSON(document.root());
}

QByteArray number(double value)
{
    QByteArray text;
    appendJSONNumber(text, value);
    return text;
}

struct NumberVector {
    const char* name;
    std::uint64_t bits;
    const char* text;
};

void PrintTo(const NumberVector& row, std::ostream* out)
{
    *out << std::hex << row.bits;
}

class CanonicalNumber : public ::testing::TestWithParam<NumberVector> { };

TEST_P(CanonicalNumber, IsWrittenAsRFC8785Gives)
{
    EXPECT_EQ(number(std::bit_cast<double>(GetParam().bits)), GetParam().text);
}

// RFC 8785, appendix B; its two rows for what JSON cannot hold (NaN and infinity) have no text.
const NumberVector vectors[] = {
    {"Zero", 0x0000000000000000, "0"},
    {"MinusZero", 0x8000000000000000, "0"},
    {"MinPositive", 0x0000000000000001, "5e-324"},
    {"MinNegative", 0x8000000000000001, "-5e-324"},
    {"MaxPositive", 0x7fefffffffffffff, "1.7976931348623157e+308"},
    {"MaxNegative", 0xffefffffffffffff, "-1.7976931348623157e+308"},
    {"MaxPositiveInteger", 0x4340000000000000, "9007199254740992"},
    {"MaxNegativeInteger", 0xc340000000000000, "-9007199254740992"},
    {"About2To68", 0x4430000000000000, "295147905179352830000"},
    {"BelowE23", 0x44b52d02c7e14af5, "9.999999999999997e+22"},
    {"E23", 0x44b52d02c7e14af6, "1e+23"},
    {"AboveE23", 0x44b52d02c7e14af7, "1.0000000000000001e+23"},
    {"TwoBelowE21", 0x444b1ae4d6e2ef4e, "999999999999999700000"},
    {"BelowE21", 0x444b1ae4d6e2ef4f, "999999999999999900000"},
    {"E21", 0x444b1ae4d6e2ef50, "1e+21"},
    {"BelowEMinus6", 0x3eb0c6f7a0b5ed8c, "9.999999999999997e-7"},
    {"EMinus6", 0x3eb0c6f7a0b5ed8d, "0.000001"},
    {"Thirds2", 0x41b3de4355555553, "333333333.3333332"},
    {"Thirds25", 0x41b3de4355555554, "333333333.33333325"},
    {"Thirds3", 0x41b3de4355555555, "333333333.3333333"},
    {"Thirds4", 0x41b3de4355555556, "333333333.3333334"},
    {"Thirds43", 0x41b3de4355555557, "333333333.33333343"},
    {"MinusThirdsEMinus6", 0xbecbf647612f3696, "-0.0000033333333333333333"},
    {"RoundToEven", 0x43143ff3c1cb0959, "1424953923781206.2"},
};
INSTANTIATE_TEST_SUITE_P(AppendixB, CanonicalNumber, ::testing::ValuesIn(vectors),
    [](const auto& info) { return std::string(info.param.name); });

/// ECMAScript's Number::toString, by trial: the fewest digits that read back the same, and of those the nearest, as
/// the C library's own rounding gives them.
QByteArray numberByTrial(double value)
{
    char digits[40];
    int precision = 0;
    do
        std::snprintf(digits, sizeof digits, "%.*e", precision, value);
    while (std::strtod(digits, nullptr) != value && ++precision < 17);
    const int exponent = std::atoi(std::strchr(digits, 'e') + 1);
    const QByteArray sign = value < 0 ? "-" : "";
    QByteArray all = QByteArray(digits, std::strchr(digits, 'e') - digits).replace("-", "").replace(".", "");
    if (exponent >= 21 || exponent < -6) {
        const QByteArray power = (exponent < 0 ? "e-" : "e+") + QByteArray::number(std::abs(exponent));
        return sign + (all.size() > 1 ? all.left(1) + '.' + all.mid(1) : all) + power;
    }
    if (exponent < 0)
        return sign + "0." + QByteArray(-exponent - 1, '0') + all;
    all = all.leftJustified(exponent + 1, '0');
    return sign + (all.size() > exponent + 1 ? all.left(exponent + 1) + '.' + all.mid(exponent + 1) : all);
}

TEST(CanonicalJSON, WritesTheShortestDigitsOfAnyNumber)
{
    std::mt19937_64 engine(8785);
    for (int i = 0; i < 20000; ++i) {
        const auto value = std::bit_cast<double>(engine());
        if (std::isfinite(value)) {
            ASSERT_EQ(number(value), numberByTrial(value)) << "seed 8785, number " << i;
        }
    }
    for (int i = 0; i < 20000; ++i) {
        const double value =
            static_cast<double>(static_cast<std::int64_t>(engine()) >> (i % 60)) / std::pow(10, i % 12);
        ASSERT_EQ(number(value), numberByTrial(value)) << "seed 8785, amount " << i;
    }
}

TEST(CanonicalJSON, ChangesToExponentsWhereECMAScriptDoes)
{
    EXPECT_EQ(number(1e20), "100000000000000000000");
    EXPECT_EQ(number(1e21), "1e+21");
    EXPECT_EQ(number(1.5e21), "1.5e+21");
    EXPECT_EQ(number(1e-6), "0.000001");
    EXPECT_EQ(number(1e-7), "1e-7");
    EXPECT_EQ(number(1.25e-7), "1.25e-7");
    EXPECT_EQ(number(100), "100");
    EXPECT_EQ(number(-100.25), "-100.25");
    EXPECT_EQ(number(0.5), "0.5");
}

TEST(CanonicalJSON, WritesIntegersOf64BitsExactly)
{
    EXPECT_EQ(canonical("[9007199254740993,-9007199254740993,9223372036854775807,-9223372036854775808,"
                        "18446744073709551615,0,-0]"),
        "[9007199254740993,-9007199254740993,9223372036854775807,-9223372036854775808,18446744073709551615,0,0]");
}

TEST(CanonicalJSON, WritesTheRFCsSampleObject)
{
    const QByteArray input = R"({
        "numbers": [333333333.33333329, 1E30, 4.50, 2e-3, 0.000000000000000000000000001],
        "string": "\u20ac$\u000F\u000aA'\u0042\u0022\u005c\\\"\/",
        "literals": [null, true, false]
    })";
    EXPECT_EQ(canonical(input),
        R"({"literals":[null,true,false],"numbers":[333333333.3333333,1e+30,4.5,0.002,1e-27],)"
        R"("string":"€$\u000f\nA'B\"\\\\\"/"})");
}

TEST(CanonicalJSON, SortsKeysByTheirUTF16CodeUnits)
{
    const QByteArray input = R"({
        "\u20ac": "Euro Sign",
        "\r": "Carriage Return",
        "\ufb33": "Hebrew Letter Dalet With Dagesh",
        "1": "One",
        "\ud83d\ude00": "Emoji: Grinning Face",
        "\u0080": "Control",
        "\u00f6": "Latin Small Letter O With Diaeresis"
    })";
    EXPECT_EQ(canonical(input),
        "{\"\\r\":\"Carriage Return\",\"1\":\"One\",\"\u0080\":\"Control\","
        "\"ö\":\"Latin Small Letter O With Diaeresis\",\"€\":\"Euro Sign\",\"😀\":\"Emoji: Grinning Face\","
        "\"\ufb33\":\"Hebrew Letter Dalet With Dagesh\"}");
}

TEST(CanonicalJSON, SortsLikeTheToolkitComparesUTF16)
{
    std::mt19937 engine(16);
    const char32_t alphabet[] = {0, U'a', 0x7f, 0x80, 0x7ff, 0x800, 0xd7ff, 0xe000, 0xfffd, 0xffff, 0x10000, 0x10ffff};
    for (int round = 0; round < 300; ++round) {
        std::map<QString, QByteArray> expected; // QString compares code units
        QList<QByteArray> members;
        for (int i = 0; i < 12; ++i) {
            QString key;
            for (auto length = engine() % 4; length > 0; --length)
                key.append(QChar::fromUcs4(alphabet[engine() % std::size(alphabet)]));
            QByteArray encoded;
            const QByteArray utf8 = key.toUtf8();
            appendJSONString(encoded, {utf8.constData(), static_cast<std::size_t>(utf8.size())});
            expected[key] = encoded + ':' + QByteArray::number(i);
            members.append(encoded + ':' + QByteArray::number(i));
        }
        QList<QByteArray> sorted;
        for (const auto& [key, member] : expected)
            sorted.append(member);
        ASSERT_EQ(canonical('{' + members.join(',') + '}'), '{' + sorted.join(',') + '}') << "seed 16, round " << round;
    }
}

TEST(CanonicalJSON, EscapesWhatItMustAndNothingElse)
{
    for (int c = 0; c < 0x20; ++c) {
        const QByteArray escaped = [c]() -> QByteArray {
            switch (c) {
            case '\b':
                return "\\b";
            case '\t':
                return "\\t";
            case '\n':
                return "\\n";
            case '\f':
                return "\\f";
            case '\r':
                return "\\r";
            default:
                return "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
            }
        }();
        const char character = static_cast<char>(c);
        QByteArray output;
        appendJSONString(output, {&character, 1});
        EXPECT_EQ(output, '"' + escaped + '"') << c;
    }
    const QByteArray untouched = "\"/'<>&\x7f\u0080\u00ad\u2028\u2029\ufeff\uffff😀\"";
    EXPECT_EQ(canonical('[' + untouched + ']'), '[' + untouched + ']');
    EXPECT_EQ(canonical(R"(["\\\"\u005C\u0022"])"), R"(["\\\"\\\""])");
}

TEST(CanonicalJSON, DoesNotNormaliseText)
{
    EXPECT_EQ(canonical("[\"\u00e9\",\"e\u0301\"]"), "[\"\u00e9\",\"e\u0301\"]");
}

TEST(CanonicalJSON, IsItsOwnCanonicalForm)
{
    const QByteArray once = canonical(R"( {"b":[1.0,{"d":{},"c":[]}] , "a":"x" } )");
    EXPECT_EQ(once, R"({"a":"x","b":[1,{"c":[],"d":{}}]})");
    EXPECT_EQ(canonical(once), once);
}

TEST(JSONObjectWriter, WritesItsMembersInCanonicalOrder)
{
    JSONObjectWriter writer;
    writer.text(QStringLiteral("\ufb33"), QStringLiteral("ü\"\n"))
        .number(QStringLiteral("😀"), 0.1)
        .boolean(QStringLiteral("b"), false)
        .boolean(QStringLiteral("a"), true)
        .integer(QStringLiteral("\""), INT64_MIN)
        .encoded(QStringLiteral("list"), jsonArray(QList<QByteArray>{"1", "[]"}));
    const QByteArray written = writer.finish();
    EXPECT_EQ(written,
        "{\"\\\"\":-9223372036854775808,\"a\":true,\"b\":false,\"list\":[1,[]],\"😀\":0.1,\"\ufb33\":\"ü\\\"\\n\"}");
    EXPECT_EQ(canonical(written), written);
}

TEST(JSONObjectWriter, KeepsTheLastValueOfAKey)
{
    JSONObjectWriter writer;
    writer.integer(QStringLiteral("a"), 1).text(QStringLiteral("a"), QString());
    EXPECT_EQ(writer.finish(), R"({"a":""})");
}

TEST(JSONObjectWriter, WritesAnEmptyObjectAndAnEmptyArray)
{
    EXPECT_EQ(JSONObjectWriter().finish(), "{}");
    EXPECT_EQ(jsonArray(QList<QByteArray>()), "[]");
}

} // namespace
