#include "server/HTTPReply.h"

#include "support/Printers.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

const QByteArray fixedHeaders = "Content-Type: application/json\r\n"
                                "Cache-Control: no-store\r\n"
                                "Connection: close\r\n"
                                "X-Content-Type-Options: nosniff\r\n";
const QString store = QStringLiteral("https://shop.example");

QByteArray statusLine(int status)
{
    const QByteArray reply = HTTPReply{.status = status, .message = {}}.encoded();
    return reply.first(reply.indexOf("\r\n"));
}

QByteArray body(const HTTPReply& reply)
{
    const QByteArray encoded = reply.encoded();
    return encoded.sliced(encoded.indexOf("\r\n\r\n") + 4);
}

QByteArray contentLength(const HTTPReply& reply)
{
    const QByteArray encoded = reply.encoded();
    const qsizetype start = encoded.indexOf("Content-Length: ") + 16;
    return encoded.sliced(start, encoded.indexOf("\r\n", start) - start);
}

struct PhraseRow {
    int status;
    QByteArray line;
};

class HTTPReplyPhrase : public testing::TestWithParam<PhraseRow> { };

} // namespace

TEST(HTTPReply, WritesAPlainReplyByteForByte)
{
    const HTTPReply reply{.status = 404, .message = QStringLiteral("Not found.")};
    EXPECT_EQ(reply.encoded(),
        "HTTP/1.1 404 Not Found\r\n" + fixedHeaders
            + "Content-Length: 40\r\n\r\n"
              "{\"success\":false,\"message\":\"Not found.\"}");
}

TEST(HTTPReply, WritesASuccessForAStoreByteForByte)
{
    const HTTPReply reply{
        .status = 200, .message = QStringLiteral("Sent to USB printer. Please check the paper."), .origin = store};
    EXPECT_EQ(reply.encoded(),
        "HTTP/1.1 200 OK\r\n" + fixedHeaders
            + "Access-Control-Allow-Origin: https://shop.example\r\n"
              "Vary: Origin\r\n"
              "Content-Length: 73\r\n\r\n"
              "{\"success\":true,\"message\":\"Sent to USB printer. Please check the paper.\"}");
}

TEST(HTTPReply, WritesAGrantedPreflightByteForByte)
{
    const HTTPReply reply{.status = 204, .message = {}, .origin = store, .preflight = true, .privateNetwork = true};
    EXPECT_EQ(reply.encoded(),
        "HTTP/1.1 204 No Content\r\n" + fixedHeaders
            + "Access-Control-Allow-Origin: https://shop.example\r\n"
              "Vary: Origin\r\n"
              "Access-Control-Allow-Methods: POST\r\n"
              "Access-Control-Allow-Headers: Content-Type, Accept\r\n"
              "Access-Control-Allow-Private-Network: true\r\n"
              "Content-Length: 0\r\n\r\n");
}

TEST(HTTPReply, WritesAPreflightWithoutPrivateNetworkWithoutThatHeader)
{
    const HTTPReply reply{.status = 204, .message = {}, .origin = store, .preflight = true};
    EXPECT_EQ(reply.encoded(),
        "HTTP/1.1 204 No Content\r\n" + fixedHeaders
            + "Access-Control-Allow-Origin: https://shop.example\r\n"
              "Vary: Origin\r\n"
              "Access-Control-Allow-Methods: POST\r\n"
              "Access-Control-Allow-Headers: Content-Type, Accept\r\n"
              "Content-Length: 0\r\n\r\n");
}

TEST(HTTPReply, IgnoresPrivateNetworkOutsideAPreflight)
{
    HTTPReply reply{.status = 200, .message = QStringLiteral("m"), .origin = store};
    const QByteArray plain = reply.encoded();
    reply.privateNetwork = true;
    EXPECT_EQ(reply.encoded(), plain);
}

TEST(HTTPReply, WritesNoAccessControlHeaderWithoutAnOriginWhateverTheFlagsSay)
{
    const QByteArray plain = HTTPReply{.status = 403, .message = QStringLiteral("m")}.encoded();
    for (const bool preflight : {false, true}) {
        for (const bool privateNetwork : {false, true}) {
            const HTTPReply reply{.status = 403,
                .message = QStringLiteral("m"),
                .preflight = preflight,
                .privateNetwork = privateNetwork};
            EXPECT_EQ(reply.encoded(), plain);
        }
    }
    EXPECT_FALSE(plain.contains("Access-Control"));
    EXPECT_FALSE(plain.contains("Vary"));
}

TEST(HTTPReply, OmitsTheBodyOf204EvenThoughThereIsAMessage)
{
    const HTTPReply reply{.status = 204, .message = QStringLiteral("A message")};
    EXPECT_EQ(reply.encoded(), "HTTP/1.1 204 No Content\r\n" + fixedHeaders + "Content-Length: 0\r\n\r\n");
}

TEST(HTTPReply, IsASuccessBelow400)
{
    for (const int status : {100, 200, 201, 302, 399})
        EXPECT_EQ(body({.status = status, .message = {}}), "{\"success\":true,\"message\":\"\"}") << status;
    for (const int status : {400, 403, 404, 409, 415, 428, 429, 500, 503})
        EXPECT_EQ(body({.status = status, .message = {}}), "{\"success\":false,\"message\":\"\"}") << status;
}

TEST(HTTPReply, EscapesQuotesBackslashesAndControlCharactersOfTheMessage)
{
    const HTTPReply reply{.status = 409, .message = QStringLiteral("a \"b\" \\ \n\t\x01 c")};
    EXPECT_EQ(body(reply), R"({"success":false,"message":"a \"b\" \\ \n\t\u0001 c"})");
}

TEST(HTTPReply, CountsTheBodyInBytes)
{
    const HTTPReply reply{.status = 200, .message = QStringLiteral("Grüße 🧾")};
    const QByteArray expected = QByteArrayLiteral("{\"success\":true,\"message\":\"Gr\u00fc\u00dfe \U0001F9FE\"}");
    EXPECT_EQ(body(reply), expected);
    EXPECT_EQ(contentLength(reply), QByteArray::number(expected.size()));
    EXPECT_EQ(expected.size(), 29 + 12);
}

TEST(HTTPReply, WritesValidJSONForAnyMessage)
{
    for (const QString& message : {QString(), QStringLiteral("</script>"), QStringLiteral("\u2028\u2029\u007f"),
             QString(QChar(0)), QStringLiteral("{\"success\":true}")}) {
        const HTTPReply reply{.status = 400, .message = message};
        const QJsonObject read = QJsonDocument::fromJson(body(reply)).object();
        EXPECT_EQ(read, (QJsonObject{{QStringLiteral("success"), false}, {QStringLiteral("message"), message}}));
        EXPECT_EQ(contentLength(reply), QByteArray::number(body(reply).size()));
    }
}

TEST(HTTPReply, ReplacesALoneSurrogateInTheMessage)
{
    const HTTPReply reply{.status = 400, .message = QString(QChar(0xd800))};
    EXPECT_EQ(body(reply), "{\"success\":false,\"message\":\"?\"}");
}

TEST_P(HTTPReplyPhrase, StandsInTheStatusLine)
{
    EXPECT_EQ(statusLine(GetParam().status), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(Codes, HTTPReplyPhrase,
    testing::Values(PhraseRow{200, "HTTP/1.1 200 OK"}, PhraseRow{204, "HTTP/1.1 204 No Content"},
        PhraseRow{400, "HTTP/1.1 400 Bad Request"}, PhraseRow{403, "HTTP/1.1 403 Forbidden"},
        PhraseRow{404, "HTTP/1.1 404 Not Found"}, PhraseRow{409, "HTTP/1.1 409 Conflict"},
        PhraseRow{415, "HTTP/1.1 415 Unsupported Media Type"}, PhraseRow{429, "HTTP/1.1 429 Too Many Requests"},
        PhraseRow{503, "HTTP/1.1 503 Service Unavailable"}, PhraseRow{418, "HTTP/1.1 418 Error"},
        PhraseRow{428, "HTTP/1.1 428 Error"}, PhraseRow{201, "HTTP/1.1 201 Error"},
        PhraseRow{500, "HTTP/1.1 500 Error"}),
    [](const auto& row) { return std::to_string(row.param.status); });
