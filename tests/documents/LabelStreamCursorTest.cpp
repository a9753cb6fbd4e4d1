#include "documents/LabelDocument.h"

#include <gtest/gtest.h>
#include <random>

namespace harrowmint::test {
namespace {

LabelDocument label(int width, int height)
{
    QByteArray bitmap(width / 8 * height, '\0');
    for (qsizetype i = 0; i < bitmap.size(); ++i)
        bitmap[i] = static_cast<char>(i * 7 + i / 251);
    return {1, width, height, bitmap.toBase64()};
}

/// The sizes of the chunks from the start to the end of the stream.
std::vector<int> chunkSizes(LabelStreamCursor& cursor, int maximum)
{
    std::vector<int> sizes;
    while (const auto chunk = cursor.next(maximum)) {
        sizes.push_back(static_cast<int>(chunk->size()));
        cursor.advance(sizes.back());
    }
    return sizes;
}

TEST(LabelStreamCursor, StartsAtTheBeginning)
{
    const LabelStreamCursor cursor(label(8, 1));
    EXPECT_EQ(cursor.offset(), 0);
    EXPECT_EQ(cursor.lastCount(), 0);
    EXPECT_FALSE(cursor.finished());
}

TEST(LabelStreamCursor, HandsOutCommandThenHeaderThenWholeRows)
{
    LabelStreamCursor cursor(label(384, 10));
    EXPECT_EQ(chunkSizes(cursor, 182), (std::vector<int>{2, 8, 144, 144, 144, 48}));
    EXPECT_TRUE(cursor.finished());
}

TEST(LabelStreamCursor, GivesTheCommandsAsTheirOwnChunks)
{
    LabelStreamCursor cursor(label(384, 800));
    EXPECT_EQ(cursor.next(512)->toHex(), QByteArray("1b40"));
    cursor.advance(2);
    EXPECT_EQ(cursor.next(512)->toHex(), QByteArray("1d76300030002003"));
}

TEST(LabelStreamCursor, CutsRowsThatAreLargerThanAChunk)
{
    LabelStreamCursor cursor(label(384, 2));
    EXPECT_EQ(chunkSizes(cursor, 20), (std::vector<int>{2, 8, 20, 20, 20, 20, 16}));
}

struct RowFit {
    const char* name;
    int maximum;
    int chunk;
};

class LabelStreamCursorRowFit : public testing::TestWithParam<RowFit> { };

TEST_P(LabelStreamCursorRowFit, CutsTheChunkToWholeRows)
{
    LabelStreamCursor cursor(label(384, 100));
    cursor.advance(2);
    cursor.advance(8);
    EXPECT_EQ(cursor.next(GetParam().maximum)->size(), GetParam().chunk);
}

INSTANTIATE_TEST_SUITE_P(Rows, LabelStreamCursorRowFit,
    testing::Values(RowFit{"JustBelowOneRow", 47, 47}, RowFit{"ExactlyOneRow", 48, 48},
        RowFit{"JustAboveOneRow", 49, 48}, RowFit{"JustBelowTwoRows", 95, 48}, RowFit{"ExactlyTwoRows", 96, 96},
        RowFit{"AllRows", 4800, 4800}, RowFit{"MoreThanAllRows", 100000, 4800}, RowFit{"TheSmallestChunk", 8, 8}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(LabelStreamCursor, GivesNothingBelowEightBytesAtAnyOffset)
{
    LabelStreamCursor cursor(label(8, 4));
    for (const int count : {2, 8, 1}) {
        EXPECT_EQ(cursor.next(7), std::nullopt);
        EXPECT_EQ(cursor.next(0), std::nullopt);
        EXPECT_EQ(cursor.next(-1), std::nullopt);
        EXPECT_TRUE(cursor.next(8).has_value());
        cursor.advance(count);
    }
}

TEST(LabelStreamCursor, GivesNothingAtTheEnd)
{
    LabelStreamCursor cursor(label(8, 1));
    (void)chunkSizes(cursor, 8);
    EXPECT_TRUE(cursor.finished());
    EXPECT_EQ(cursor.next(512), std::nullopt);
    EXPECT_EQ(cursor.offset(), 11);
}

TEST(LabelStreamCursor, NextDoesNotMove)
{
    LabelStreamCursor cursor(label(384, 3));
    for (int chunk = 0; chunk < 3; ++chunk) {
        const auto first = cursor.next(100);
        EXPECT_EQ(cursor.next(100), first);
        cursor.advance(static_cast<int>(first->size()));
    }
}

TEST(LabelStreamCursor, RemembersTheLastConfirmedChunk)
{
    LabelStreamCursor cursor(label(384, 3));
    cursor.advance(2);
    EXPECT_EQ(cursor.lastCount(), 2);
    cursor.advance(8);
    EXPECT_EQ(cursor.lastCount(), 8);
    EXPECT_EQ(cursor.offset(), 10);
    cursor.advance(48);
    EXPECT_EQ(cursor.lastCount(), 48);
    EXPECT_EQ(cursor.offset(), 58);
}

TEST(LabelStreamCursor, FollowsAMaximumThatChangesOnTheWay)
{
    LabelStreamCursor cursor(label(384, 4));
    cursor.advance(2);
    cursor.advance(8);
    cursor.advance(static_cast<int>(cursor.next(20)->size()));
    EXPECT_EQ(cursor.offset(), 30);
    EXPECT_EQ(cursor.next(100)->size(), 96);
}

TEST(LabelStreamCursor, OutlivesItsDocument)
{
    const auto cursor = [] {
        const LabelDocument document = label(8, 1);
        return LabelStreamCursor(document);
    }();
    EXPECT_EQ(cursor.next(8)->toHex(), QByteArray("1b40"));
}

TEST(LabelStreamCursor, ChunksOfRandomMaximaAddUpToTheStream)
{
    constexpr unsigned seed = 7;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        const LabelDocument document =
            label(8 * std::uniform_int_distribution(1, 48)(random), std::uniform_int_distribution(1, 60)(random));
        LabelStreamCursor cursor(document);
        QByteArray collected;
        while (!cursor.finished()) {
            const int maximum = std::uniform_int_distribution(8, 600)(random);
            const auto chunk = cursor.next(maximum);
            ASSERT_TRUE(chunk && !chunk->isEmpty() && chunk->size() <= maximum);
            collected += *chunk;
            cursor.advance(static_cast<int>(chunk->size()));
        }
        ASSERT_EQ(collected, document.bytes());
    }
}

} // namespace
} // namespace harrowmint::test
