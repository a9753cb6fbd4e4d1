#include "render/EscPosReader.h"

#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

TEST(EscPosReader, ReadsTheLeftmostDotFromBitSeven)
{
    const Dots dots = readReceipt(hex("1b40 1b6100 1d763000 0200 0200 80000001 1b6404"));
    EXPECT_EQ(dots.width, 16);
    EXPECT_EQ(dots.height, 2);
    EXPECT_TRUE(dots.at(0, 0));
    EXPECT_TRUE(dots.at(15, 1));
    EXPECT_EQ(dots.count(), 2);
}

class EscPosReaderRefuses : public ::testing::TestWithParam<const char*> { };

TEST_P(EscPosReaderRefuses, Stream)
{
    EXPECT_THROW(static_cast<void>(readReceipt(hex(GetParam()))), NotAReceipt);
}

INSTANTIATE_TEST_SUITE_P(Table, EscPosReaderRefuses,
    ::testing::Values("", "1b40", "1b40 1b6100 1b6404", "1b40 1b6101 1d763000 0100 0100 00 1b6404",
        "1b40 1b6100 1d763001 0100 0100 00 1b6404", "1b40 1b6100 1d763000 0100 0100 1b6404",
        "1b40 1b6100 1d763000 0100 0000 1b6404", "1b40 1b6100 1d763000 0001 0100 00 1b6404",
        "1b40 1b6100 1d763000 0100 0100 00 1b6403", "1b40 1b6100 1d763000 0100 0100 00 1b6404 00",
        "1b40 1b6100 1d763000 0100 0100 00 1d763000 0100 0100 00 1b6404"));

} // namespace
} // namespace harrowmint::test
