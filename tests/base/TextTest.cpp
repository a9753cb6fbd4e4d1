#include "base/Text.h"

#include <gtest/gtest.h>

using namespace harrowmint;

TEST(Text, TrimsWhiteSpaceAndNewlinesOfAnyKind)
{
    EXPECT_EQ(trimmed(u"\u2003 \t\nA b\u2029\u0085 "), QStringLiteral("A b"));
}
