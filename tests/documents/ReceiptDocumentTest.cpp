#include "documents/ReceiptBlocks.h"

namespace harrowmint::test {
namespace {

// What each type reads, and what it leaves at the defaults.

TEST(ReceiptDocument, DecodesTheSmallestDocument)
{
    const auto document = decoded<ReceiptDocument>(R"({"version":1,"blocks":[{"type":"text","text":"Hi"}]})");
    EXPECT_EQ(document.version, 1);
    EXPECT_EQ(document.bottomPadding, 160);
    const ReceiptBlock expected{QStringLiteral("text"), QStringLiteral("Hi"), QString(), 23, false,
        QStringLiteral("natural"), 10, 0, 0, QByteArray(), 0.45};
    EXPECT_EQ(document.blocks, std::vector<ReceiptBlock>{expected});
}

TEST(ReceiptDocument, ReadsEveryFieldOfAPair)
{
    const ReceiptBlock expected{QStringLiteral("pair"), QStringLiteral("Total"), QStringLiteral("1.00"), 40, true,
        QStringLiteral("right"), 0, 0, 0, QByteArray(), 0.7};
    EXPECT_EQ(block(pair.with("size", "40")
                        .with("gap", "0")
                        .with("align", "\"right\"")
                        .with("bold", "true")
                        .with("rightWidth", "0.7")),
        expected);
}

TEST(ReceiptDocument, ReadsEveryFieldOfAText)
{
    const ReceiptBlock expected{QStringLiteral("text"), QStringLiteral("Hi"), QString(), 16, true,
        QStringLiteral("center"), 24, 0, 0, QByteArray(), 0.3};
    EXPECT_EQ(block(text.with("size", "16")
                        .with("gap", "24")
                        .with("align", "\"center\"")
                        .with("bold", "true")
                        .with("right", "\" \\n \"")
                        .with("rightWidth", "0.3")),
        expected);
}

TEST(ReceiptDocument, DefaultsOfARule)
{
    ReceiptBlock expected;
    expected.type = QStringLiteral("rule");
    expected.height = 2;
    EXPECT_EQ(block(rule), expected);
}

TEST(ReceiptDocument, DefaultsOfASpaceWithoutAGap)
{
    ReceiptBlock expected;
    expected.type = QStringLiteral("space");
    expected.height = 12;
    expected.gap = 0;
    EXPECT_EQ(block(space), expected);
}

TEST(ReceiptDocument, DefaultsOfAQrCode)
{
    ReceiptBlock expected;
    expected.type = QStringLiteral("qr");
    expected.text = QStringLiteral("https://a.example");
    expected.size = 280;
    expected.gap = 12;
    EXPECT_EQ(block(qr), expected);
}

TEST(ReceiptDocument, DefaultsOfAnImage)
{
    ReceiptBlock expected;
    expected.type = QStringLiteral("image");
    expected.width = 16;
    expected.height = 2;
    expected.gap = 12;
    expected.data = QByteArray("WlpaWg==");
    EXPECT_EQ(block(imageOf(16, 2)), expected);
}

TEST(ReceiptDocument, KeepsAnImageInCanonicalBase64)
{
    EXPECT_EQ(block(imageOf(8, 1).with("data", "\"gP==\"")).data, QByteArray("gA=="));
}

TEST(ReceiptDocument, KeepsTheBlocksInTheirOrder)
{
    const auto document = decoded<ReceiptDocument>(
        withBlocks({rule.json(), text.json(), space.json(), imageOf(8, 1).json(), qr.json(), pair.json()}));
    QStringList types;
    for (const ReceiptBlock& block : document.blocks)
        types << block.type;
    EXPECT_EQ(types.join(u' '), QStringLiteral("rule text space image qr pair"));
}

TEST(ReceiptDocument, TakesTheLastOfDuplicateKeys)
{
    const auto document = decoded<ReceiptDocument>(
        R"({"version":2,"blocks":[],"version":1,"blocks":[{"type":"qr","type":"text","text":"a","text":"Hi"}]})");
    EXPECT_EQ(document.blocks.front().text, QStringLiteral("Hi"));
}

// Texts.

TEST(ReceiptDocument, CleansTexts)
{
    EXPECT_EQ(block(text.with("text", escaped(QStringLiteral("\t a\nb\u0007c\u200dd\u00ad \u2003")))).text,
        QStringLiteral("a bcd"));
    EXPECT_EQ(block(pair.with("right", escaped(QStringLiteral("1\r\n2\u0085")))).right, QStringLiteral("1  2"));
}

TEST(ReceiptDocument, CleansTheTypeAndTheAlignment)
{
    EXPECT_EQ(block(text.with("type", "\" te\\u0000xt\\n\"")).type, QStringLiteral("text"));
    EXPECT_EQ(block(text.with("align", "\"\\tleft \"")).align, QStringLiteral("left"));
}

TEST(ReceiptDocument, EmptyAlignmentIsNatural)
{
    EXPECT_EQ(block(text.with("align", "\"\"")).align, QStringLiteral("natural"));
    EXPECT_EQ(block(text.with("align", "\" \\n \"")).align, QStringLiteral("natural"));
}

TEST(ReceiptDocument, KnowsFourAlignments)
{
    for (const char* name : {"natural", "left", "right", "center"}) {
        const QString align = QString::fromLatin1(name);
        EXPECT_EQ(block(text.with("align", quoted(align))).align, align);
    }
}

TEST(ReceiptDocument, APairNeedsOnlyOneOfItsTexts)
{
    EXPECT_EQ(block(pair.without("text")).right, QStringLiteral("1.00"));
    EXPECT_EQ(block(pair.without("right")).text, QStringLiteral("Total"));
}

TEST(ReceiptDocument, TextsAreCountedInScalarsBeforeCleaning)
{
    const QString scalar = QStringLiteral("\U0001F600");
    EXPECT_EQ(block(text.with("text", escaped(scalar.repeated(2000)))).text.size(), 4000);
    EXPECT_EQ(blockFailure(text.with("text", escaped(scalar.repeated(2001)))), QStringLiteral("Invalid receipt text."));
    // One letter as a person sees it, 2001 scalars.
    EXPECT_EQ(blockFailure(text.with("text", escaped(u'e' + QString(2000, QChar(0x301))))),
        QStringLiteral("Invalid receipt text."));
    EXPECT_EQ(
        blockFailure(text.with("text", quoted(QString(2000, u' ') + u'a'))), QStringLiteral("Invalid receipt text."));
}

TEST(ReceiptDocument, RightTextsHaveTheSameLimit)
{
    EXPECT_EQ(block(pair.with("right", quoted(letters(2000)))).right.size(), 2000);
    EXPECT_EQ(blockFailure(pair.with("right", quoted(letters(2001)))), QStringLiteral("Invalid receipt text."));
    EXPECT_EQ(blockFailure(text.with("right", quoted(letters(2001)))), QStringLiteral("Invalid receipt text."));
}

TEST(ReceiptDocument, TypesHaveALimitOf16Scalars)
{
    EXPECT_EQ(block(text.with("type", "\"text            \"")).type, QStringLiteral("text"));
    EXPECT_EQ(blockFailure(text.with("type", "\"text             \"")), QStringLiteral("Invalid receipt text."));
    EXPECT_EQ(blockFailure(text.with("type", quoted(letters(16)))),
        QStringLiteral("Unsupported receipt block. No receipt was printed."));
}

TEST(ReceiptDocument, AlignmentsHaveALimitOf10Scalars)
{
    EXPECT_EQ(block(text.with("align", "\"center    \"")).align, QStringLiteral("center"));
    EXPECT_EQ(blockFailure(text.with("align", "\"center     \"")), QStringLiteral("Invalid receipt text."));
    EXPECT_EQ(blockFailure(text.with("align", quoted(letters(10)))), QStringLiteral("Invalid receipt alignment."));
}

// The limits across all blocks.

TEST(ReceiptDocument, TakesUpTo256Blocks)
{
    const std::vector<QByteArray> most(256, rule.json());
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks(most)).blocks.size(), 256U);
    const std::vector<QByteArray> tooMany(257, rule.json());
    EXPECT_EQ(documentFailure(withBlocks(tooMany)), QStringLiteral("Unsupported or invalid receipt document."));
}

TEST(ReceiptDocument, TakesUpTo24000ScalarsInAll)
{
    std::vector<QByteArray> blocks(11, text.with("text", quoted(letters(2000))).json());
    blocks.push_back(pair.with("text", quoted(letters(1000))).with("right", quoted(letters(990))).json());
    blocks.push_back(qr.with("text", quoted(letters(10))).json());
    blocks.push_back(rule.json());
    blocks.push_back(imageOf(8, 1).json());
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks(blocks)).blocks.size(), 15U);
    blocks.push_back(text.with("text", "\"a\"").json());
    EXPECT_EQ(documentFailure(withBlocks(blocks)), QStringLiteral("Receipt text is too long."));
}

TEST(ReceiptDocument, WhatCleaningTakesAwayDoesNotCountInAll)
{
    std::vector<QByteArray> blocks(12, text.with("text", quoted(letters(1999) + u' ')).json());
    blocks.push_back(text.with("text", quoted(letters(12))).json());
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks(blocks)).blocks.size(), 13U);
}

TEST(ReceiptDocument, TextInAllIsCountedInScalars)
{
    const std::vector<QByteArray> blocks(
        12, text.with("text", quoted(QStringLiteral("\U0001F600").repeated(2000))).json());
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks(blocks)).blocks.size(), 12U);
}

TEST(ReceiptDocument, QrPayloadsCountTowardsTheTextInAll)
{
    std::vector<QByteArray> blocks(12, text.with("text", quoted(letters(2000))).json());
    blocks.push_back(qr.with("text", "\"a\"").json());
    EXPECT_EQ(documentFailure(withBlocks(blocks)), QStringLiteral("Receipt text is too long."));
}

TEST(ReceiptDocument, TakesTwoQrCodes)
{
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks({qr.json(), qr.json()})).blocks.size(), 2U);
    EXPECT_EQ(
        documentFailure(withBlocks({qr.json(), qr.json(), qr.json()})), QStringLiteral("Invalid receipt QR code."));
}

TEST(ReceiptDocument, TakesTwoImages)
{
    const QByteArray one = imageOf(8, 1).json();
    EXPECT_EQ(decoded<ReceiptDocument>(withBlocks({one, one})).blocks.size(), 2U);
    EXPECT_EQ(documentFailure(withBlocks({one, one, one})), QStringLiteral("Invalid receipt image."));
}

TEST(ReceiptDocument, TakesUpTo65536ImageBytesInAll)
{
    const QByteArray largest = imageOf(576, 512).json(); // 36864 bytes, 49152 characters
    const auto fits = decoded<ReceiptDocument>(withBlocks({largest, imageOf(512, 448).json()})); // 28672 bytes
    EXPECT_EQ(fits.blocks[0].data.size(), 49152);
    EXPECT_EQ(documentFailure(withBlocks({largest, imageOf(512, 449).json()})),
        QStringLiteral("Receipt image is too large."));
    EXPECT_EQ(documentFailure(withBlocks({largest, largest})), QStringLiteral("Receipt image is too large."));
    EXPECT_EQ(
        documentFailure(withBlocks({largest, text.json(), imageOf(576, 512).json(), text.with("text", "1").json()})),
        QStringLiteral("Receipt image is too large."));
}

TEST(ReceiptDocument, QrPayloadsAreLimitedInScalarsAndInBytes)
{
    EXPECT_EQ(block(qr.with("text", quoted(letters(512)))).text.size(), 512);
    EXPECT_EQ(blockFailure(qr.with("text", quoted(letters(513)))), QStringLiteral("Invalid receipt text."));
    const QString euro = QStringLiteral("€");
    EXPECT_EQ(block(qr.with("text", quoted(euro.repeated(170) + letters(2)))).text.size(), 172); // 512 bytes
    EXPECT_EQ(blockFailure(qr.with("text", quoted(euro.repeated(171)))), QStringLiteral("Invalid receipt QR code."));
}

TEST(ReceiptDocument, QrPayloadsAreWeighedAfterCleaning)
{
    const QString payload = letters(500) + QString(12, QChar(0x200b)); // 536 bytes, 500 of them stay
    EXPECT_EQ(block(qr.with("text", quoted(payload))).text, letters(500));
    EXPECT_EQ(blockFailure(qr.with("text", "\" \\u200b \"")), QStringLiteral("Invalid receipt QR code."));
}

} // namespace
} // namespace harrowmint::test
