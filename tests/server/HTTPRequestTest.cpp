#include "server/HTTPRequest.h"

#include "server/RequestVerdict.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using harrowmint::test::RequestVerdict;
using harrowmint::test::verdictOn;

namespace {

using Headers = std::map<QString, QString>;

/// A good GET whose header block, without the blank line after it, is exactly `bytes` long.
QByteArray getWithHeaderBytes(qsizetype bytes)
{
    const QByteArray start = "GET /health HTTP/1.1\r\nX-Fill: ";
    return start + QByteArray(bytes - start.size(), 'x') + "\r\n\r\n";
}

QByteArray post(const QByteArray& declaredLength, const QByteArray& body)
{
    return "POST /print HTTP/1.1\r\nContent-Length: " + declaredLength + "\r\n\r\n" + body;
}

QByteArray getWith(const QByteArray& headerLine)
{
    return "GET /health HTTP/1.1\r\n" + headerLine + "\r\n\r\n";
}

HTTPRequest requestFrom(const QByteArray& data)
{
    const RequestVerdict verdict = verdictOn(data);
    EXPECT_TRUE(verdict.request) << testing::PrintToString(verdict);
    return verdict.request.value_or(HTTPRequest());
}

QString errorOf(const QByteArray& data)
{
    const RequestVerdict verdict = verdictOn(data);
    EXPECT_FALSE(verdict.error.isEmpty()) << testing::PrintToString(verdict);
    return verdict.error;
}

bool isIncomplete(const QByteArray& data)
{
    return verdictOn(data).isIncomplete();
}

struct RefusalRow {
    const char* name;
    QByteArray data;
    QString message;
};

class HTTPRequestRefusal : public testing::TestWithParam<RefusalRow> { };

const QString invalidHeaders = QStringLiteral("Invalid headers.");
const QString unsupportedRequest = QStringLiteral("Unsupported request.");
const QString invalidHeader = QStringLiteral("Invalid header.");
const QString duplicateOrInvalid = QStringLiteral("Duplicate or invalid header.");
const QString unsupportedEncoding = QStringLiteral("Unsupported transfer encoding.");
const QString invalidLength = QStringLiteral("Invalid body length.");
const QString bodyRequired = QStringLiteral("A JSON body is required.");
const QString unexpectedBody = QStringLiteral("Unexpected request body.");
const QString onlyOne = QStringLiteral("Only one request is allowed.");
const QString headersTooLarge = QStringLiteral("Headers too large.");
const QString requestTooLarge = QStringLiteral("Request too large.");

} // namespace

TEST(HTTPRequest, ReadsMethodPathHeadersAndBody)
{
    const QByteArray body("a\r\n\r\n\0\xff", 7);
    const HTTPRequest expected{QStringLiteral("POST"), QStringLiteral("/print?x=%20y#z"),
        Headers{{QStringLiteral("host"), QStringLiteral("127.0.0.1:9100")},
            {QStringLiteral("content-length"), QStringLiteral("7")},
            {QStringLiteral("content-type"), QStringLiteral("text/plain; q=\"a:b\"")},
            {QStringLiteral("x-1-empty"), QString()}, {QStringLiteral("x-blank"), QString()}},
        body};
    EXPECT_EQ(requestFrom("POST /print?x=%20y#z HTTP/1.1\r\n"
                          "Host: 127.0.0.1:9100\r\n"
                          "CONTENT-LENGTH:7\r\n"
                          "Content-Type:   text/plain; q=\"a:b\"  \r\n"
                          "X-1-Empty:\r\n"
                          "x-blank:   \r\n"
                          "\r\n"
                  + body),
        expected);
}

TEST(HTTPRequest, ReadsEachMethodAndNeedsNoHeader)
{
    EXPECT_EQ(requestFrom("GET / HTTP/1.1\r\n\r\n"), (HTTPRequest{QStringLiteral("GET"), QStringLiteral("/"), {}, {}}));
    EXPECT_EQ(requestFrom("OPTIONS * HTTP/1.1\r\n\r\n"),
        (HTTPRequest{QStringLiteral("OPTIONS"), QStringLiteral("*"), {}, {}}));
    EXPECT_EQ(requestFrom(post("2", "{}")).method, QStringLiteral("POST"));
}

TEST(HTTPRequest, TakesAnEmptyPathAsItWasSent)
{
    EXPECT_EQ(requestFrom("GET  HTTP/1.1\r\n\r\n").path, QString());
}

TEST(HTTPRequest, KeepsABareCarriageReturnOrLineFeedInsideAValue)
{
    EXPECT_EQ(requestFrom(getWith("X: a\rb\nc")).header(QStringLiteral("x")), QStringLiteral("a\rb\nc"));
    EXPECT_EQ(requestFrom(getWith("X: a\n\r")).header(QStringLiteral("x")), QStringLiteral("a\n\r"));
    EXPECT_EQ(requestFrom("GET /a\nb HTTP/1.1\r\n\r\n").path, QStringLiteral("/a\nb"));
}

TEST(HTTPRequest, FindsAHeaderByItsLowerCaseNameOnly)
{
    const HTTPRequest request = requestFrom(getWith("Origin: https://shop.example"));
    EXPECT_EQ(request.header(QStringLiteral("origin")), QStringLiteral("https://shop.example"));
    EXPECT_EQ(request.header(QStringLiteral("Origin")), std::nullopt);
    EXPECT_EQ(request.header(QStringLiteral("host")), std::nullopt);
}

TEST(HTTPRequest, TakesALengthOfZeroWhereNoBodyBelongs)
{
    EXPECT_EQ(requestFrom(getWith("Content-Length: 0")).body, QByteArray());
    EXPECT_EQ(requestFrom(getWith("Content-Length: 000000")).body, QByteArray());
}

TEST(HTTPRequest, TakesALengthWithLeadingZerosUpToSixDigits)
{
    EXPECT_EQ(requestFrom(post("000002", "{}")).body, QByteArray("{}"));
}

TEST(HTTPRequest, IsIncompleteWhileEmptyOrWithoutATerminator)
{
    EXPECT_TRUE(isIncomplete({}));
    EXPECT_TRUE(verdictOn(QByteArrayView()).isIncomplete());
    EXPECT_TRUE(isIncomplete("GET / HTTP/1.1\r\n\r"));
    EXPECT_TRUE(isIncomplete(QByteArray(8'192, 'x')));
}

TEST(HTTPRequest, RefusesMoreThan8192BytesWithoutATerminator)
{
    EXPECT_EQ(errorOf(QByteArray(8'193, 'x')), headersTooLarge);
    EXPECT_EQ(errorOf(QByteArray(140'000, 'x')), headersTooLarge);
}

TEST(HTTPRequest, Takes8192BytesOfHeadersAndRefusesOneMore)
{
    EXPECT_EQ(requestFrom(getWithHeaderBytes(8'192)).method, QStringLiteral("GET"));
    EXPECT_EQ(errorOf(getWithHeaderBytes(8'193)), invalidHeaders);
}

TEST(HTTPRequest, RefusesMoreThan140000BytesWhateverTheySay)
{
    EXPECT_EQ(errorOf(QByteArray(140'001, 'x')), requestTooLarge);
    const QByteArray good = post("131072", QByteArray(131'072, 'b'));
    EXPECT_EQ(errorOf(good + QByteArray(140'000 - good.size(), 'x')), onlyOne);
    EXPECT_EQ(errorOf(good + QByteArray(140'001 - good.size(), 'x')), requestTooLarge);
}

TEST(HTTPRequest, TakesABodyOf131072BytesAndRefusesToDeclareOneMore)
{
    const QByteArray body(131'072, 'b');
    EXPECT_EQ(requestFrom(post("131072", body)).body, body);
    EXPECT_EQ(errorOf(post("131073", body + "b")), invalidLength);
    EXPECT_EQ(errorOf(post("131073", {})), invalidLength);
}

TEST(HTTPRequest, TakesTheLargestHeadersTogetherWithTheLargestBody)
{
    const QByteArray start = "POST /print HTTP/1.1\r\nContent-Length: 131072\r\nX-Fill: ";
    const QByteArray body(131'072, 'b');
    EXPECT_EQ(requestFrom(start + QByteArray(8'192 - start.size(), 'x') + "\r\n\r\n" + body).body, body);
}

TEST(HTTPRequest, IsIncompleteUntilTheWholeBodyIsThereAndRefusesOneByteMore)
{
    EXPECT_TRUE(isIncomplete(post("3", "")));
    EXPECT_TRUE(isIncomplete(post("3", "ab")));
    EXPECT_EQ(requestFrom(post("3", "abc")).body, QByteArray("abc"));
    EXPECT_EQ(errorOf(post("3", "abcd")), onlyOne);
}

TEST(HTTPRequest, RefusesASecondRequestBehindTheFirst)
{
    const QByteArray get = "GET /health HTTP/1.1\r\n\r\n";
    EXPECT_EQ(errorOf(get + get), onlyOne);
    EXPECT_EQ(errorOf(get + "\r\n"), onlyOne);
}

TEST(HTTPRequest, DecidesInTheOrderOfItsSteps)
{
    const auto get = [](const QByteArray& lines) { return "GET / HTTP/1.1\r\n" + lines + "\r\n\r\n"; };
    EXPECT_EQ(errorOf("FOO / HTTP/1.1\r\nX: \x01\r\n\r\n"), invalidHeaders);
    EXPECT_EQ(errorOf("FOO / HTTP/1.1\r\nno colon\r\n\r\n"), unsupportedRequest);
    EXPECT_EQ(errorOf(get("no colon\r\nbad name: x")), invalidHeader);
    EXPECT_EQ(errorOf(get("bad name: x\r\nno colon")), duplicateOrInvalid);
    EXPECT_EQ(errorOf(get("Expect: x\r\nexpect: x")), duplicateOrInvalid);
    EXPECT_EQ(errorOf(get("Transfer-Encoding: x\r\nContent-Length: x")), unsupportedEncoding);
    EXPECT_EQ(errorOf(get("Content-Length: 131073")), invalidLength);
    EXPECT_EQ(errorOf(post("0", "x")), bodyRequired);
    EXPECT_EQ(errorOf(get("Content-Length: 2")), unexpectedBody) << "before the body has arrived";
    EXPECT_EQ(errorOf(get("Content-Length: 2") + "{}x"), unexpectedBody);
}

TEST(HTTPRequest, RefusesEveryByteButPrintableASCIIInTheHeaders)
{
    for (int byte = 0; byte < 256; ++byte) {
        const RequestVerdict verdict = verdictOn(getWith(QByteArray("X: a") + static_cast<char>(byte) + "b"));
        const bool good = byte == '\r' || byte == '\n' || (byte >= 32 && byte <= 126);
        EXPECT_EQ(verdict.error, good ? QString() : invalidHeaders) << byte;
    }
}

TEST(HTTPRequest, TakesOnlyLettersDigitsAndHyphensInAName)
{
    for (int byte = 33; byte < 127; ++byte) {
        if (byte == ':')
            continue;
        const char c = static_cast<char>(byte);
        const bool good = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
        const RequestVerdict verdict = verdictOn(getWith(QByteArray("n") + c + "m: v"));
        EXPECT_EQ(verdict.error, good ? QString() : duplicateOrInvalid) << c;
    }
}

TEST_P(HTTPRequestRefusal, SaysWhy)
{
    EXPECT_EQ(errorOf(GetParam().data), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(RequestLine, HTTPRequestRefusal,
    testing::Values(RefusalRow{"Empty", "\r\n\r\n", unsupportedRequest},
        RefusalRow{"EmptyLineFirst", "\r\nGET / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"OldVersion", "GET / HTTP/1.0\r\n\r\n", unsupportedRequest},
        RefusalRow{"NewVersion", "GET / HTTP/2\r\n\r\n", unsupportedRequest},
        RefusalRow{"LowerCaseVersion", "GET / http/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"LineFeedAfterVersion", "GET / HTTP/1.1\n\r\n\r\n", unsupportedRequest},
        RefusalRow{"LowerCaseMethod", "get / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"MixedCaseMethod", "Post / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"HEAD", "HEAD / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"PUT", "PUT / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"DELETE", "DELETE / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"CONNECT", "CONNECT / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"LongerMethod", "GETS / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"TwoSpacesBeforePath", "GET  / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"TwoSpacesAfterPath", "GET /  HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"SpaceBeforeMethod", " GET / HTTP/1.1\r\n\r\n", unsupportedRequest},
        RefusalRow{"SpaceAfterVersion", "GET / HTTP/1.1 \r\n\r\n", unsupportedRequest},
        RefusalRow{"TwoPieces", "GET /\r\n\r\n", unsupportedRequest},
        RefusalRow{"OnePiece", "GET\r\n\r\n", unsupportedRequest},
        RefusalRow{"BareLineFeeds", "GET / HTTP/1.1\nHost: x\n\r\n\r\n", unsupportedRequest},
        RefusalRow{"TabInPath", "GET /\t HTTP/1.1\r\n\r\n", invalidHeaders},
        RefusalRow{"AccentInPath", "GET /\xc3\xa9 HTTP/1.1\r\n\r\n", invalidHeaders}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(HeaderLines, HTTPRequestRefusal,
    testing::Values(RefusalRow{"NoColon", getWith("Host"), invalidHeader},
        RefusalRow{"LoneCarriageReturn", getWith("\r"), invalidHeader},
        RefusalRow{"FoldedLine", getWith("X: a\r\n b"), invalidHeader},
        RefusalRow{"FoldedLineWithColon", getWith("X: a\r\n b: c"), duplicateOrInvalid},
        RefusalRow{"NoName", getWith(": x"), duplicateOrInvalid},
        RefusalRow{"SpaceBeforeColon", getWith("Host : x"), duplicateOrInvalid},
        RefusalRow{"SpaceBeforeName", getWith(" Host: x"), duplicateOrInvalid},
        RefusalRow{"LineFeedInName", getWith("Host\n: x"), duplicateOrInvalid},
        RefusalRow{"CarriageReturnBeforeName", getWith("\rHost: x"), duplicateOrInvalid},
        RefusalRow{"Underscore", getWith("Content_Length: 0"), duplicateOrInvalid},
        RefusalRow{"Tab", getWith("Host:\tx"), invalidHeaders},
        RefusalRow{"Null", getWith(QByteArray("Host: \0", 7)), invalidHeaders},
        RefusalRow{"Delete", getWith("Host: \x7f"), invalidHeaders},
        RefusalRow{"Accent", getWith("Host: \xc3\xa9"), invalidHeaders},
        RefusalRow{"BrokenUTF8", getWith("Host: \xc3("), invalidHeaders},
        RefusalRow{"Repeated", getWith("Host: x\r\nAccept: y\r\nHost: x"), duplicateOrInvalid},
        RefusalRow{"RepeatedInOtherCase", getWith("Host: x\r\nhOST: y"), duplicateOrInvalid},
        RefusalRow{"RepeatedEmpty", getWith("X:\r\nX:"), duplicateOrInvalid},
        RefusalRow{"Chunked", getWith("Transfer-Encoding: chunked"), unsupportedEncoding},
        RefusalRow{"Identity", getWith("transfer-encoding: identity"), unsupportedEncoding},
        RefusalRow{"EmptyTransferEncoding", getWith("Transfer-Encoding:"), unsupportedEncoding},
        RefusalRow{"Expect", getWith("Expect: 100-continue"), unsupportedEncoding},
        RefusalRow{"EmptyExpect", getWith("EXPECT:"), unsupportedEncoding}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(BodyLength, HTTPRequestRefusal,
    testing::Values(RefusalRow{"Empty", post("", "{}"), invalidLength},
        RefusalRow{"Plus", post("+2", "{}"), invalidLength}, RefusalRow{"Minus", post("-2", "{}"), invalidLength},
        RefusalRow{"Hexadecimal", post("0x2", "{}"), invalidLength},
        RefusalRow{"Fraction", post("2.0", "{}"), invalidLength}, RefusalRow{"List", post("2, 2", "{}"), invalidLength},
        RefusalRow{"InnerBlank", post("1 2", "{}"), invalidLength},
        RefusalRow{"LineFeedAtEnd", post("2\n", "{}"), invalidLength},
        RefusalRow{"CarriageReturnAtEnd", post("2\r", "{}"), invalidLength},
        RefusalRow{"SevenDigits", post("0000002", "{}"), invalidLength},
        RefusalRow{"SevenZeros", getWith("Content-Length: 0000000"), invalidLength},
        RefusalRow{"SixDigitsTooLarge", post("999999", "{}"), invalidLength},
        RefusalRow{"PostWithZero", post("0", ""), bodyRequired},
        RefusalRow{"PostWithout", "POST /print HTTP/1.1\r\n\r\n", bodyRequired},
        RefusalRow{"PostWithoutThoughBytesFollow", "POST /print HTTP/1.1\r\n\r\n{}", bodyRequired},
        RefusalRow{"GetWithBody", getWith("Content-Length: 2") + "{}", unexpectedBody},
        RefusalRow{"OptionsWithBody", "OPTIONS / HTTP/1.1\r\nContent-Length: 1\r\n\r\nx", unexpectedBody}),
    [](const auto& row) { return std::string(row.param.name); });
