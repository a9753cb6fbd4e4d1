#pragma once

#include "documents/ReceiptDocument.h"
#include "documents/Samples.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

// One valid block of each type, for tests to change.
inline const Members text{{"type", "\"text\""}, {"text", "\"Hi\""}};
inline const Members pair{{"type", "\"pair\""}, {"text", "\"Total\""}, {"right", "\"1.00\""}};
inline const Members rule{{"type", "\"rule\""}};
inline const Members space{{"type", "\"space\""}};
inline const Members qr{{"type", "\"qr\""}, {"text", "\"https://a.example\""}};

[[nodiscard]] inline Members imageOf(int width, int height)
{
    const QByteArray bitmap(width / 8 * height, '\x5a');
    return Members{{"type", "\"image\""}, {"width", QByteArray::number(width)}, {"height", QByteArray::number(height)},
        {"data", '"' + bitmap.toBase64() + '"'}};
}

[[nodiscard]] inline QByteArray array(const std::vector<QByteArray>& entries)
{
    QByteArray json;
    for (const QByteArray& entry : entries)
        json += (json.isEmpty() ? "" : ",") + entry;
    return '[' + json + ']';
}

[[nodiscard]] inline QByteArray withBlocks(const std::vector<QByteArray>& blocks)
{
    return Members{{"version", "1"}, {"blocks", array(blocks)}}.json();
}

[[nodiscard]] inline ReceiptBlock block(const Members& members)
{
    const auto document = decoded<ReceiptDocument>(withBlocks({members.json()}));
    EXPECT_EQ(document.blocks.size(), 1U);
    return document.blocks.front();
}

[[nodiscard]] inline QString blockFailure(const Members& members)
{
    return failureOf([&] { (void)block(members); });
}

[[nodiscard]] inline QString documentFailure(const QByteArray& json)
{
    return failureOf([&] { (void)decoded<ReceiptDocument>(json); });
}

[[nodiscard]] inline QString letters(qsizetype count)
{
    return QString(count, QLatin1Char('a'));
}

} // namespace harrowmint::test
