// The request parser on arbitrary bytes: it must never crash, its requests must keep what they promise, and a request
// within the limits must get the same verdict however it arrives.
#include "base/PrinterError.h"
#include "server/HTTPRequest.h"

#include <QHash>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace harrowmint;

namespace {

struct Verdict {
    std::optional<HTTPRequest> request;
    QString error;

    bool operator==(const Verdict&) const = default;
    [[nodiscard]] bool isIncomplete() const { return !request && error.isEmpty(); }
};

Verdict verdictOn(QByteArrayView data, HTTPRequest::Progress& progress)
{
    try {
        return {HTTPRequest::parse(data, progress), {}};
    } catch (const PrinterError& error) {
        return {std::nullopt, error.message()};
    }
}

Verdict verdictOn(QByteArrayView data)
{
    HTTPRequest::Progress none;
    return verdictOn(data, none);
}

void require(bool condition, const char* promise)
{
    if (condition)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

void checkRequest(const HTTPRequest& request, QByteArrayView data)
{
    const bool isPost = request.method == QStringLiteral("POST");
    require(isPost || request.method == QStringLiteral("GET") || request.method == QStringLiteral("OPTIONS"), "method");
    const QString line = request.method + u' ' + request.path + QStringLiteral(" HTTP/1.1\r\n");
    require(data.startsWith(line.toLatin1()), "request line");
    require(isPost == !request.body.isEmpty() && data.endsWith(request.body), "body");
    require(data.chopped(request.body.size()).endsWith("\r\n\r\n"), "nothing between the headers and the body");
    for (const auto& [name, value] : request.headers) {
        require(!name.isEmpty() && name == name.toLower() && !name.contains(u' '), "name");
        require(!value.startsWith(u' ') && !value.endsWith(u' '), "value");
    }
    require(!request.headers.contains(QStringLiteral("transfer-encoding")), "transfer encoding");
}

/// Whether the verdict must not depend on how the bytes arrive: no terminator at the header limit, nothing after the
/// body, and not larger than any request can be.
bool isIndependentOfArrival(QByteArrayView data, const Verdict& whole)
{
    constexpr qsizetype maximumHeaderBytes = 8'192;
    const qsizetype end = data.indexOf("\r\n\r\n");
    const bool terminatedInTime = end >= 0 && end + 4 <= maximumHeaderBytes + 1;
    return (terminatedInTime || data.size() <= maximumHeaderBytes) && data.size() <= HTTPRequest::maximumBytes
        && whole.error != QStringLiteral("Only one request is allowed.");
}

/// Every prefix says "more" or what the whole says; then so does every split. Long inputs are tried at some places
/// only, other ones for every input.
void checkSplits(QByteArrayView data, const Verdict& whole)
{
    const qsizetype step = 1 + data.size() / 48;
    const qsizetype first = static_cast<qsizetype>(qHash(data) % static_cast<std::size_t>(step));
    HTTPRequest::Progress progress;
    for (qsizetype size = first; size < data.size(); size += step) {
        const Verdict verdict = verdictOn(data.first(size));
        require(verdict.isIncomplete() || verdict == whole, "the same verdict for every split");
        require(verdictOn(data.first(size), progress) == verdict, "the same verdict from readings that go on");
    }
    require(verdictOn(data, progress) == whole, "the same verdict at last");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArrayView data(bytes, static_cast<qsizetype>(size));
    const Verdict whole = verdictOn(data);
    if (whole.request)
        checkRequest(*whole.request, data);
    if (isIndependentOfArrival(data, whole))
        checkSplits(data, whole);
    return 0;
}
