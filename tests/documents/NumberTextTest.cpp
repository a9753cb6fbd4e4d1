#include "documents/NumberText.h"

#include <QLocale>
#include <clocale>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

namespace harrowmint::test {
namespace {

struct Formatted {
    double value;
    const char* money;
    const char* general;
};

void PrintTo(const Formatted& row, std::ostream* out)
{
    *out << row.general;
}

class NumberText : public testing::TestWithParam<Formatted> { };

TEST_P(NumberText, IsWrittenAsPrintfDoes)
{
    EXPECT_EQ(fixedText(GetParam().value, 2), QLatin1String(GetParam().money));
    EXPECT_EQ(generalText(GetParam().value), QLatin1String(GetParam().general));
}

// Ties that are exact in binary go to the even digit; 1.005, 2.675 and 1.115 lie just below theirs.
INSTANTIATE_TEST_SUITE_P(Values, NumberText,
    testing::Values(Formatted{0, "0.00", "0"}, Formatted{1, "1.00", "1"}, Formatted{12.5, "12.50", "12.5"},
        Formatted{0.125, "0.12", "0.125"}, Formatted{0.375, "0.38", "0.375"}, Formatted{0.625, "0.62", "0.625"},
        Formatted{1.005, "1.00", "1.005"}, Formatted{2.675, "2.67", "2.675"}, Formatted{1.115, "1.11", "1.115"},
        Formatted{0.004999, "0.00", "0.004999"}, Formatted{0.005001, "0.01", "0.005001"},
        Formatted{0.995, "0.99", "0.995"}, Formatted{0.999, "1.00", "0.999"}, Formatted{0.0001, "0.00", "0.0001"},
        Formatted{0.00001, "0.00", "1e-05"}, Formatted{1.5e-10, "0.00", "1.5e-10"},
        Formatted{5e-324, "0.00", "4.94066e-324"}, Formatted{100000, "100000.00", "100000"},
        Formatted{999999, "999999.00", "999999"}, Formatted{1000000, "1000000.00", "1e+06"},
        Formatted{999999.5, "999999.50", "1e+06"}, Formatted{123456.5, "123456.50", "123456"},
        Formatted{123457.5, "123457.50", "123458"}, Formatted{1234567, "1234567.00", "1.23457e+06"},
        Formatted{1e9, "1000000000.00", "1e+09"}, Formatted{0.1 + 0.2, "0.30", "0.3"},
        Formatted{1.0 / 3, "0.33", "0.333333"}, Formatted{-1.5, "-1.50", "-1.5"}));

TEST(NumberTexts, LargestDoubleFits)
{
    EXPECT_EQ(fixedText(std::numeric_limits<double>::max(), 17).size(), 309 + 1 + 17);
}

TEST(NumberTexts, RandomValuesAreWrittenAsTheClassicStreamDoes)
{
    constexpr unsigned seed = 31;
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const double magnitude = std::pow(10, std::uniform_real_distribution(-8.0, 9.0)(random));
        // Every other value lies on or near a tie.
        const double value = round % 2 == 0 ? magnitude : std::round(magnitude * 1000) / 1000 + 0.125;
        std::ostringstream stream;
        stream.imbue(std::locale::classic());
        stream << value << ' ' << std::fixed;
        stream.precision(2);
        stream << value << ' ';
        stream.precision(4);
        stream << value;
        const QString text = generalText(value) + u' ' + fixedText(value, 2) + u' ' + fixedText(value, 4);
        ASSERT_EQ(text, QString::fromStdString(stream.str()));
    }
}

TEST(NumberTexts, AnyDecimalPointBecomesADot)
{
    EXPECT_EQ(withPoint("1234,50"), QStringLiteral("1234.50"));
    EXPECT_EQ(withPoint("12.50"), QStringLiteral("12.50"));
    EXPECT_EQ(withPoint("-1\xd9\xab"
                        "5e-07"),
        QStringLiteral("-1.5e-07")); // U+066B in UTF-8
    EXPECT_EQ(withPoint("1e+06"), QStringLiteral("1e+06"));
    EXPECT_EQ(withPoint("7"), QStringLiteral("7"));
}

TEST(NumberTexts, FollowNoDefaultLocaleOfTheToolkit)
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(fixedText(1234.5, 2), QStringLiteral("1234.50"));
    EXPECT_EQ(generalText(1.5), QStringLiteral("1.5"));
    EXPECT_EQ(decimalValue("1234.5"), 1234.5);
    EXPECT_EQ(decimalValue("1,5"), std::nullopt);
    QLocale::setDefault(before);
}

/// Sets a locale that writes decimals otherwise than with a dot; puts the old one back at its end.
class OtherNumericLocale {
public:
    OtherNumericLocale()
        : m_before(std::setlocale(LC_NUMERIC, nullptr))
    {
        std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // made by the build
    }
    OtherNumericLocale(const OtherNumericLocale&) = delete;
    OtherNumericLocale& operator=(const OtherNumericLocale&) = delete;
    ~OtherNumericLocale() { std::setlocale(LC_NUMERIC, m_before.c_str()); }

    [[nodiscard]] static bool isSet() { return std::strcmp(std::localeconv()->decimal_point, ".") != 0; }

private:
    std::string m_before;
};

TEST(NumberTexts, FollowNoLocaleOfTheProcess)
{
    const OtherNumericLocale locale;
    ASSERT_TRUE(OtherNumericLocale::isSet()) << "LOCPATH must name the build's folder of locales";
    EXPECT_EQ(fixedText(1234567.5, 2), QStringLiteral("1234567.50"));
    EXPECT_EQ(fixedText(5.25, 4), QStringLiteral("5.2500"));
    EXPECT_EQ(generalText(1.5), QStringLiteral("1.5"));
    EXPECT_EQ(generalText(1.5e-7), QStringLiteral("1.5e-07"));
    EXPECT_EQ(decimalValue("12.5"), 12.5);
    EXPECT_EQ(decimalValue("12,5"), std::nullopt);
}

struct Parsed {
    const char* text;
    double value;
};

TEST(DecimalValue, TakesPlainDecimalsWithAnExponent)
{
    const Parsed rows[] = {{"12.5", 12.5}, {"0", 0}, {"007", 7}, {"-3", -3}, {"+3", 3}, {".5", 0.5}, {"5.", 5},
        {"1e3", 1000}, {"1E+3", 1000}, {"25e-1", 2.5}, {"1.e1", 10}, {"0.1", 0.1}, {"1000000000", 1e9},
        {"123456789012345678901234567890", 123456789012345678901234567890.0}};
    for (const Parsed& row : rows)
        EXPECT_EQ(decimalValue(row.text), row.value) << row.text;
}

TEST(DecimalValue, KeepsTheSignOfANegativeZero)
{
    EXPECT_TRUE(std::signbit(decimalValue("-0.0").value()));
}

TEST(DecimalValue, BeyondADoublesRangeIsInfinityOrNought)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(decimalValue("1e400"), infinity);
    EXPECT_EQ(decimalValue("-1e400"), -infinity);
    EXPECT_EQ(decimalValue("1e99999999999999999999"), infinity);
    EXPECT_EQ(decimalValue(std::string(400, '9')), infinity);
    EXPECT_EQ(decimalValue("1e-400"), 0.0);
}

TEST(DecimalValue, RefusesEverythingElse)
{
    for (const char* text : {"", " ", "1 ", " 1", "1 2", "1\n", "1,5", "1.5.", "1..5", "1_000", "1'000", "--1", "+-1",
             "+", "-", ".", "-.", "e", "e5", ".e5", "1e", "1e+", "1e1.5", "1e1e1", "0x10", "0x1p3", "1f", "1d", "nan",
             "NaN", "inf", "-inf", "infinity", "1 AED", "$1", "\xd9\xa1", "1\xc2\xa0"})
        EXPECT_EQ(decimalValue(text), std::nullopt) << '"' << text << '"';
    EXPECT_EQ(decimalValue(std::string_view("1\0", 2)), std::nullopt);
    EXPECT_EQ(decimalValue(std::string_view("\0", 1)), std::nullopt);
}

} // namespace
} // namespace harrowmint::test
