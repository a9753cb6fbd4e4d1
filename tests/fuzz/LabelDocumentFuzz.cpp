// Label documents by themselves, and their way to the printer in chunks.
#include "DocumentsFuzz.h"
#include "documents/LabelDocument.h"

#include <random>

using namespace harrowmint;
using fuzz::require;

/// Walks the stream in chunks of at most `maximum()` bytes.
template <class Maximum>
static void checkChunks(const LabelDocument& label, Maximum&& maximum)
{
    LabelStreamCursor cursor(label);
    QByteArray collected;
    while (!cursor.finished()) {
        const int most = maximum();
        const auto chunk = cursor.next(most);
        require(chunk.has_value() == (most >= 8), "there is a chunk from eight bytes on");
        if (!chunk)
            continue;
        require(!chunk->isEmpty() && chunk->size() <= most, "a chunk is not empty and fits");
        require(chunk == cursor.next(most), "looking does not move");
        collected += *chunk;
        cursor.advance(static_cast<int>(chunk->size()));
    }
    require(collected == label.bytes(), "the chunks add up to the stream");
    require(!cursor.next(512), "nothing comes after the end");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray json = fuzz::bytesOf(data, size);
    const auto decode = [&] { return LabelDocument::decode(JSONDocument(json).root()); };
    const auto label = fuzz::attempt(decode);
    require(label == fuzz::attempt(decode), "decoding twice gives the same");
    if (!label)
        return 0;
    require(label->bytes().size() == 10 + label->width / 8 * label->height, "the stream has its size");
    require(fuzz::isDigest(label->fingerprint()), "the fingerprint is a digest");
    std::mt19937 random(qChecksum(json));
    checkChunks(*label, [&] { return std::uniform_int_distribution(0, 600)(random); });
    checkChunks(*label, [] { return 182; });
    return 0;
}
