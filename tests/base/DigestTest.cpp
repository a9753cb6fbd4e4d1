#include "base/Digest.h"

#include <random>

using namespace harrowmint;

namespace {

TEST(Digest, GivesThePublishedSHA256Digests)
{
    EXPECT_EQ(sha256Hex(""), QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    EXPECT_EQ(sha256Hex("abc"), QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_EQ(sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
        QStringLiteral("248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"));
    EXPECT_EQ(sha256Hex(QByteArray(1'000'000, 'a')),
        QStringLiteral("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"));
}

TEST(Digest, TakesEveryByte)
{
    EXPECT_NE(sha256Hex(QByteArray("a\0b", 3)), sha256Hex("a"));
}

TEST(Base64, ReadsThePublishedVectors)
{
    const std::pair<const char*, const char*> vectors[] = {{"", ""}, {"Zg==", "f"}, {"Zm8=", "fo"}, {"Zm9v", "foo"},
        {"Zm9vYg==", "foob"}, {"Zm9vYmE=", "fooba"}, {"Zm9vYmFy", "foobar"}, {"+/+/", "\xfb\xff\xbf"}};
    for (const auto& [encoded, bytes] : vectors)
        EXPECT_EQ(decodedBase64(encoded), QByteArray(bytes)) << encoded;
}

TEST(Base64, RefusesWhatIsNotInTheStandardsForm)
{
    for (const char* text : {"Zg", "Zg=", "Zm8", "Z", "Zm9vY", "Zm9vYg=", "=",
             "==", "===", "====", "Z===", "Zg===", "Zm9v====", "Zg==Zg==", "Zm8=Zm9v", "Z=g=", "=Zg=", "Zm9v\n",
             "Zm9v\nZm9v", " Zm9v", "Zm 9", "Zm9-", "Zm9_", "Zm9*", "Zm9v Zm9", "Zm=v", "Zg=a", "\xc3\xbcZm"})
        EXPECT_EQ(decodedBase64(text), std::nullopt) << text;
    EXPECT_EQ(decodedBase64(QByteArray("Zm9\0", 4)), std::nullopt);
}

TEST(Base64, IgnoresUnusedBitsOfTheLastCharacter)
{
    EXPECT_EQ(decodedBase64("Zh=="), QByteArray("f"));
    EXPECT_EQ(decodedBase64("Zm9="), QByteArray("fo"));
}

TEST(Base64, ReadsBackWhatTheToolkitWrites)
{
    std::mt19937 engine(64);
    for (int size = 0; size < 300; ++size) {
        QByteArray bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(engine());
        EXPECT_EQ(decodedBase64(bytes.toBase64()), bytes) << "seed 64, " << size << " bytes";
    }
}

} // namespace
