// Whole print requests: an invoice with or without a receipt document, or a label job.
#include "DocumentsFuzz.h"
#include "documents/Receipt.h"

using namespace harrowmint;
using fuzz::require;

static void checkLines(const Receipt& receipt)
{
    constexpr std::size_t fixedLines = 25;
    constexpr std::size_t maximumItems = 60;
    constexpr std::size_t linesAnItem = 3;
    require(receipt.lines.size() <= fixedLines + maximumItems * linesAnItem, "the number of lines is bounded");
    for (const ReceiptLine& line : receipt.lines) {
        require(!line.text.isEmpty() && line.text.size() <= 8192, "a line has a text of bounded length");
        require(fuzz::isClean(line.text), "no control character comes through");
        require(line.size >= 19 && line.size <= 32, "a line has one of the known sizes");
    }
    require(receipt.website.isEmpty() || receipt.lines.back().text == receipt.website, "the website is the last line");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray body = fuzz::bytesOf(data, size);
    const auto decode = [&] { return Receipt::decode(body, QStringLiteral("USD")); };
    const auto receipt = fuzz::attempt(decode);
    require(receipt == fuzz::attempt(decode), "decoding twice gives the same");
    if (!receipt)
        return 0;
    require(fuzz::isDigest(receipt->fingerprint), "the fingerprint is a digest");
    require(fuzz::isDigest(receipt->jobKey(QStringLiteral("https://a.example"))), "the key is a digest");
    require(receipt->labelDocument ? receipt->lines.empty() && !receipt->printRequestId : !receipt->lines.empty(),
        "a label has no lines, an invoice has");
    require(!receipt->printRequestId || isUuid(*receipt->printRequestId), "the identifier is a UUID");
    if (!receipt->labelDocument)
        checkLines(*receipt);
    return 0;
}
