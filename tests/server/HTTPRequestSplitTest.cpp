#include "server/RequestVerdict.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using harrowmint::test::RequestVerdict;
using harrowmint::test::verdictOn;

namespace {

struct Sample {
    const char* name;
    QByteArray data;
};

/// Requests within the limits with nothing after the body: good, bad and unfinished ones.
const std::vector<Sample>& samples()
{
    static const QByteArray browser = "Host: 127.0.0.1:9100\r\nConnection: keep-alive\r\nAccept: */*\r\n"
                                      "Origin: https://shop.example\r\nSec-Fetch-Mode: cors\r\n"
                                      "Referer: https://shop.example/\r\nAccept-Encoding: gzip, deflate, br\r\n";
    static const std::vector<Sample> all = {
        {"Health", "GET /health HTTP/1.1\r\nHost: 127.0.0.1:9100\r\n\r\n"},
        {"NoHeaders", "GET / HTTP/1.1\r\n\r\n"},
        {"Preflight",
            "OPTIONS /print HTTP/1.1\r\n" + browser
                + "Access-Control-Request-Method: POST\r\nAccess-Control-Request-Headers: content-type\r\n"
                  "Access-Control-Request-Private-Network: true\r\n\r\n"},
        {"Print",
            "POST /print HTTP/1.1\r\n" + browser
                + "Content-Type: application/json\r\nContent-Length: 18\r\n\r\n{\"action\":\"print\"}"},
        {"Pair", "POST /pair HTTP/1.1\r\n" + browser + "Content-Length: 17\r\n\r\n{\"action\":\"pair\"}"},
        {"BodyLooksLikeTerminators", "POST / HTTP/1.1\r\nContent-Length: 12\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n"},
        {"BareLineEndsInValues", "GET / HTTP/1.1\r\nA: \r\r\nB: \n\r\nC: \n\r\r\n\r\n"},
        {"NoTerminator", "GET / HTTP/1.1\r\nHost: x\r\n"},
        {"ShortBody", "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n{}"},
        {"EmptyHeaders", "\r\n\r\n"},
        {"BadVersion", "GET / HTTP/1.0\r\nHost: x\r\n\r\n"},
        {"BadByte", "GET / HTTP/1.1\r\nHost:\tx\r\n\r\n"},
        {"NoColon", "GET / HTTP/1.1\r\nHost\r\n\r\n"},
        {"Repeated", "GET / HTTP/1.1\r\nA: x\r\na: x\r\n\r\n"},
        {"Chunked", "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n"},
        {"BadLength", "POST / HTTP/1.1\r\nContent-Length: 2x\r\n\r\n{}"},
        {"NoBody", "POST / HTTP/1.1\r\nContent-Length: 0\r\n\r\n"},
        {"BodyOfAGet", "GET / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}"},
        {"HeadersNearTheirLimit", "GET / HTTP/1.1\r\nX: " + QByteArray(8'000, 'x') + "\r\n\r\n"},
        {"LargestBody", "POST / HTTP/1.1\r\nContent-Length: 131072\r\n\r\n" + QByteArray(131'072, 'b')},
    };
    return all;
}

/// What a server that parses after every piece concludes at last.
RequestVerdict verdictInPieces(QByteArrayView data, const std::vector<qsizetype>& ends)
{
    for (const qsizetype end : ends) {
        RequestVerdict verdict = verdictOn(data.first(end));
        if (!verdict.isIncomplete())
            return verdict;
    }
    return verdictOn(data);
}

/// What a server concludes at last that goes on from its earlier readings after each piece of `step` bytes.
RequestVerdict verdictInProgress(QByteArrayView data, qsizetype step)
{
    HTTPRequest::Progress progress;
    for (qsizetype end = step; end < data.size(); end += step) {
        RequestVerdict verdict = verdictOn(data.first(end), progress);
        if (!verdict.isIncomplete())
            return verdict;
    }
    return verdictOn(data, progress);
}

class HTTPRequestSplit : public testing::TestWithParam<Sample> { };

QByteArray getWithHeaderBytes(qsizetype bytes)
{
    const QByteArray start = "GET / HTTP/1.1\r\nX: ";
    return start + QByteArray(bytes - start.size(), 'x') + "\r\n\r\n";
}

} // namespace

// A verdict after pieces is the first verdict on a prefix that is not "more": when every prefix gives either that or
// the verdict on the whole, so does every split into any number of pieces.
TEST_P(HTTPRequestSplit, GivesTheVerdictOfTheWholeAtEveryPlace)
{
    const QByteArray& data = GetParam().data;
    const RequestVerdict whole = verdictOn(data);
    const qsizetype step = data.size() > 10'000 ? 97 : 1;
    for (qsizetype end = 0; end <= data.size(); end = end < 300 ? end + 1 : end + step) {
        const RequestVerdict verdict = verdictOn(QByteArrayView(data).first(end));
        ASSERT_TRUE(verdict.isIncomplete() || verdict == whole)
            << "after " << end << " bytes: " << testing::PrintToString(verdict);
    }
}

TEST_P(HTTPRequestSplit, GivesTheVerdictOfTheWholeInManyPiecesAndInTwo)
{
    const QByteArray& data = GetParam().data;
    const RequestVerdict whole = verdictOn(data);
    std::vector<qsizetype> all;
    const qsizetype step = data.size() > 10'000 ? 1'499 : 1;
    for (qsizetype end = 1; end < data.size(); end += step) {
        ASSERT_EQ(verdictInPieces(data, {end}), whole) << end;
        all.push_back(end);
    }
    EXPECT_EQ(verdictInPieces(data, all), whole);
}

TEST_P(HTTPRequestSplit, GivesTheVerdictOfTheWholeFromReadingsThatGoOn)
{
    const QByteArray& data = GetParam().data;
    const RequestVerdict whole = verdictOn(data);
    for (const qsizetype step : {1, 2, 3, 4, 5, 7, 97, 1'499})
        EXPECT_EQ(verdictInProgress(data, step), whole) << step;
}

INSTANTIATE_TEST_SUITE_P(Samples, HTTPRequestSplit, testing::ValuesIn(samples()),
    [](const auto& row) { return std::string(row.param.name); });

TEST(HTTPRequestArrival, DecidesWhenATerminatorAtTheHeaderLimitArrivesSplit)
{
    const QByteArray atLimit = getWithHeaderBytes(8'192);
    EXPECT_TRUE(verdictOn(atLimit).request);
    EXPECT_TRUE(verdictOn(atLimit.first(8'192)).isIncomplete());
    for (qsizetype end = 8'193; end < 8'196; ++end)
        EXPECT_EQ(verdictOn(atLimit.first(end)).error, QStringLiteral("Headers too large.")) << end;
}

TEST(HTTPRequestArrival, DecidesNothingWhenTheTerminatorEndsWithinTheHeaderLimit)
{
    const QByteArray below = getWithHeaderBytes(8'189);
    EXPECT_TRUE(verdictOn(below).request);
    for (qsizetype end = 0; end < below.size(); ++end)
        ASSERT_TRUE(verdictOn(below.first(end)).isIncomplete()) << end;
}

TEST(HTTPRequestArrival, DecidesHowHeadersBeyondTheLimitAreRefused)
{
    const QByteArray beyond = getWithHeaderBytes(8'193);
    EXPECT_EQ(verdictOn(beyond).error, QStringLiteral("Invalid headers."));
    EXPECT_EQ(verdictOn(beyond.first(8'196)).error, QStringLiteral("Headers too large."));
}

TEST(HTTPRequestArrival, IsSearchedForTheEndOfTheHeadersAndThenAwaited)
{
    const QByteArray headers = "POST / HTTP/1.1\r\nContent-Length: 131072\r\n\r\n";
    const QByteArray data = headers + QByteArray(131'072, 'b');
    HTTPRequest::Progress progress;
    for (qsizetype size = 0; size < data.size(); size += size < 300 ? 1 : 997) {
        ASSERT_FALSE(HTTPRequest::parse(QByteArrayView(data).first(size), progress));
        const bool inBody = size >= headers.size();
        ASSERT_EQ(progress.searched, inBody ? headers.size() - 4 : std::max<qsizetype>(0, size - 3)) << size;
        ASSERT_EQ(progress.awaited, inBody ? data.size() : 0) << size;
    }
    EXPECT_TRUE(HTTPRequest::parse(data, progress));
}

TEST(HTTPRequestArrival, DecidesWhetherBytesAfterTheBodyAreSeen)
{
    const QByteArray request = "POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}";
    const QByteArray data = request + "GET / HTTP/1.1\r\n\r\n";
    EXPECT_EQ(verdictOn(data).error, QStringLiteral("Only one request is allowed."));
    EXPECT_EQ(verdictInPieces(data, {request.size() - 1, request.size() + 1}).error,
        QStringLiteral("Only one request is allowed."));
    EXPECT_EQ(verdictInPieces(data, {request.size()}), verdictOn(request));
    EXPECT_TRUE(verdictOn(request).request);
}
