#include "render/DocumentText.h"

#include "render/Samples.h"

#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

DocumentText text(const QString& text, int width = 544)
{
    return {text, 23, false, QStringLiteral("natural"), width};
}

TEST(DocumentText, HasNoHeightWhenEmpty)
{
    DocumentText empty = text(QString());
    EXPECT_EQ(empty.height(), 0);
    EXPECT_FALSE(empty.take());
}

TEST(DocumentText, IsAsHighAsItsLines)
{
    EXPECT_EQ(text(QStringLiteral("x")).height(), fontLineHeight(23));
    EXPECT_EQ(text(QStringLiteral("x\u2028y")).height(), 2 * fontLineHeight(23));
    EXPECT_EQ(text(QStringLiteral("word word word"), 70).height(), 3 * fontLineHeight(23));
}

TEST(DocumentText, HandsOutWhatItMeasured)
{
    DocumentText words = text(QStringLiteral("word word word"), 70);
    EXPECT_EQ(words.take()->height(), 3 * fontLineHeight(23));
}

} // namespace
} // namespace harrowmint::test
