#include "base/Text.h"

#include <gtest/gtest.h>
#include <random>

using namespace harrowmint;

namespace {

/// Ordinary letters, blanks, controls of every kind inside and outside the basic plane, or anything at all.
char32_t randomScalar(std::mt19937& random)
{
    static constexpr char32_t telling[] = {U'a', U' ', U'\u0642', U'\u0301', U'\t', U'\n', U'\r', U'\u0007', U'\u007f',
        U'\u0085', U'\u00a0', U'\u00ad', U'\u0600', U'\u200b', U'\u200d', U'\u2028', U'\u202e', U'\ufeff',
        U'\U0001F600', U'\U000110BD', U'\U000E0020'};
    if (std::uniform_int_distribution(0, 9)(random) > 0)
        return telling[std::uniform_int_distribution<std::size_t>(0, std::size(telling) - 1)(random)];
    const auto scalar = std::uniform_int_distribution<std::uint32_t>(0, 0x10ffff)(random);
    return scalar >= 0xd800 && scalar < 0xe000 ? U'?' : char32_t(scalar);
}

QString randomText(std::mt19937& random)
{
    QString text;
    for (int left = std::uniform_int_distribution(0, 6)(random); left > 0; --left)
        text += QChar::fromUcs4(randomScalar(random));
    return text;
}

/// The rule, scalar by scalar, with `blank` in place of each control that is white space.
QString naivelyCleaned(const QString& text, const QString& blank)
{
    QString kept;
    for (const char32_t scalar : text.toUcs4()) {
        const auto category = QChar::category(scalar);
        if (category != QChar::Other_Control && category != QChar::Other_Format)
            kept += QChar::fromUcs4(scalar);
        else if ((scalar >= 0x09 && scalar <= 0x0d) || scalar == 0x85)
            kept += blank;
    }
    return trimmed(kept);
}

} // namespace

TEST(Controls, AreCleanedOutOfRandomTextsAsScalarByScalar)
{
    constexpr unsigned seed = 7;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 100000; ++round) {
        const QString text = randomText(random);
        ASSERT_EQ(withoutControls(text), naivelyCleaned(text, QString())) << text.toUtf8().toHex(' ').constData();
        ASSERT_EQ(withControlsAsSpaces(text), naivelyCleaned(text, QStringLiteral(" ")))
            << text.toUtf8().toHex(' ').constData();
    }
}
