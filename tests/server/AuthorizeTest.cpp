#include "server/Authorize.h"

#include "server/ReplyPrinters.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

constexpr std::uint16_t port = 9100;
const QString approved = QStringLiteral("https://shop.example");
const QString unknown = QStringLiteral("https://new.example");

PrinterSettings settings(bool paused = false)
{
    PrinterSettings result;
    result.origins = {approved, QStringLiteral("https://other.example")};
    result.paused = paused;
    return result;
}

/// A request with the headers that pass every check, and what `changes` sets; an empty optional removes a header.
struct RequestBuilder {
    QString method = QStringLiteral("POST");
    QString path = QStringLiteral("/print");
    std::map<QString, std::optional<QString>> changes = {};

    [[nodiscard]] HTTPRequest request() const
    {
        HTTPRequest result{method, path,
            {{QStringLiteral("host"), QStringLiteral("127.0.0.1:9100")}, {QStringLiteral("origin"), approved},
                {QStringLiteral("content-type"), QStringLiteral("application/json")}},
            "{}"};
        for (const auto& [name, value] : changes) {
            result.headers.erase(name);
            if (value)
                result.headers[name] = *value;
        }
        return result;
    }
};

RequestDecision decide(const RequestBuilder& builder, const PrinterSettings& with = settings())
{
    return authorize(builder.request(), with, port);
}

RequestDecision plain(int status, const char16_t* message)
{
    return HTTPReply{.status = status, .message = QString::fromUtf16(message)};
}

RequestDecision toStore(int status, const char16_t* message, const QString& origin = approved)
{
    return HTTPReply{.status = status, .message = QString::fromUtf16(message), .origin = origin};
}

RequestDecision grant(const QString& origin, bool privateNetwork)
{
    return HTTPReply{
        .status = 204, .message = {}, .origin = origin, .preflight = true, .privateNetwork = privateNetwork};
}

const auto loopbackRequired = plain(403, u"Loopback host required.");
const auto running = plain(200, u"Harrowmint Printer is running.");
const auto notFound = plain(404, u"Not found.");
const auto originRequired = plain(403, u"An exact HTTPS store origin is required.");
const auto unsupportedPreflight = toStore(403, u"Unsupported preflight.");
const auto jsonRequired = toStore(415, u"POST JSON required.");
const auto resume = toStore(503, u"Resume printing in Harrowmint Printer.");

RequestBuilder with(const char16_t* header, const char16_t* value)
{
    return {.changes = {{QString::fromUtf16(header), QString::fromUtf16(value)}}};
}

RequestBuilder without(const char16_t* header)
{
    return {.changes = {{QString::fromUtf16(header), std::nullopt}}};
}

RequestBuilder preflight(const char16_t* requestedHeaders, const char16_t* requestedMethod = u"POST")
{
    return {.method = QStringLiteral("OPTIONS"),
        .changes = {
            {QStringLiteral("access-control-request-headers"), QString::fromUtf16(requestedHeaders)},
            {QStringLiteral("access-control-request-method"), QString::fromUtf16(requestedMethod)},
        }};
}

struct DecisionRow {
    const char* name;
    RequestBuilder request;
    RequestDecision decision;
};

class Authorize : public testing::TestWithParam<DecisionRow> { };

std::string nameOf(const testing::TestParamInfo<DecisionRow>& row)
{
    return row.param.name;
}

} // namespace

TEST_P(Authorize, Decides)
{
    EXPECT_EQ(decide(GetParam().request), GetParam().decision);
}

INSTANTIATE_TEST_SUITE_P(Host, Authorize,
    testing::Values(DecisionRow{"Missing", without(u"host"), loopbackRequired},
        DecisionRow{"Empty", with(u"host", u""), loopbackRequired},
        DecisionRow{"ByName", with(u"host", u"localhost:9100"), loopbackRequired},
        DecisionRow{"WithoutPort", with(u"host", u"127.0.0.1"), loopbackRequired},
        DecisionRow{"OtherPort", with(u"host", u"127.0.0.1:9101"), loopbackRequired},
        DecisionRow{"OtherLoopbackAddress", with(u"host", u"127.0.0.2:9100"), loopbackRequired},
        DecisionRow{"IPv6", with(u"host", u"[::1]:9100"), loopbackRequired},
        DecisionRow{"ReboundName", with(u"host", u"evil.example:9100"), loopbackRequired},
        DecisionRow{"PortWithZero", with(u"host", u"127.0.0.1:09100"), loopbackRequired},
        DecisionRow{"LineFeedAtEnd", with(u"host", u"127.0.0.1:9100\n"), loopbackRequired},
        DecisionRow{"HealthByName",
            {QStringLiteral("GET"), QStringLiteral("/health"),
                {{QStringLiteral("host"), QStringLiteral("localhost:9100")}}},
            loopbackRequired},
        DecisionRow{"UnknownPathByName",
            {QStringLiteral("GET"), QStringLiteral("/"), {{QStringLiteral("host"), QStringLiteral("localhost:9100")}}},
            loopbackRequired}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Path, Authorize,
    testing::Values(DecisionRow{"Health", {QStringLiteral("GET"), QStringLiteral("/health")}, running},
        DecisionRow{"HealthWithoutOrigin",
            {QStringLiteral("GET"), QStringLiteral("/health"), {{QStringLiteral("origin"), std::nullopt}}}, running},
        DecisionRow{"HealthFromABadOrigin",
            {QStringLiteral("GET"), QStringLiteral("/health"), {{QStringLiteral("origin"), QStringLiteral("null")}}},
            running},
        DecisionRow{"HealthByPost", {QStringLiteral("POST"), QStringLiteral("/health")}, notFound},
        DecisionRow{"HealthByOptions", {QStringLiteral("OPTIONS"), QStringLiteral("/health")}, notFound},
        DecisionRow{"HealthWithQuery", {QStringLiteral("GET"), QStringLiteral("/health?")}, notFound},
        DecisionRow{"Root", {QStringLiteral("GET"), QStringLiteral("/")}, notFound},
        DecisionRow{"Empty", {QStringLiteral("GET"), QString()}, notFound},
        DecisionRow{"PrintWithQuery", {QStringLiteral("POST"), QStringLiteral("/print?x=1")}, notFound},
        DecisionRow{"PrintWithSlash", {QStringLiteral("POST"), QStringLiteral("/print/")}, notFound},
        DecisionRow{"PrintInCapitals", {QStringLiteral("POST"), QStringLiteral("/PRINT")}, notFound},
        DecisionRow{"PrintEncoded", {QStringLiteral("POST"), QStringLiteral("/%70rint")}, notFound},
        DecisionRow{"PairWithQuery", {QStringLiteral("POST"), QStringLiteral("/pair?")}, notFound},
        DecisionRow{"AbsoluteForm", {QStringLiteral("POST"), QStringLiteral("http://127.0.0.1:9100/print")}, notFound},
        DecisionRow{"UnknownFromABadOrigin",
            {QStringLiteral("GET"), QStringLiteral("/x"), {{QStringLiteral("origin"), QStringLiteral("null")}}},
            notFound}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Origin, Authorize,
    testing::Values(DecisionRow{"Missing", without(u"origin"), originRequired},
        DecisionRow{"Empty", with(u"origin", u""), originRequired},
        DecisionRow{"Opaque", with(u"origin", u"null"), originRequired},
        DecisionRow{"PlainHTTP", with(u"origin", u"http://shop.example"), originRequired},
        DecisionRow{"Capitals", with(u"origin", u"https://Shop.example"), originRequired},
        DecisionRow{"SchemeInCapitals", with(u"origin", u"HTTPS://shop.example"), originRequired},
        DecisionRow{"TrailingSlash", with(u"origin", u"https://shop.example/"), originRequired},
        DecisionRow{"DefaultPort", with(u"origin", u"https://shop.example:443"), originRequired},
        DecisionRow{"OtherPort", with(u"origin", u"https://shop.example:8443"), originRequired},
        DecisionRow{"BlankAtEnd", with(u"origin", u"https://shop.example "), originRequired},
        DecisionRow{"LineFeedAtEnd", with(u"origin", u"https://shop.example\n"), originRequired},
        DecisionRow{"TwoOrigins", with(u"origin", u"https://shop.example https://x.example"), originRequired},
        DecisionRow{"OneLabel", with(u"origin", u"https://localhost"), originRequired},
        DecisionRow{"Wildcard", with(u"origin", u"https://*.example"), originRequired},
        DecisionRow{"User", with(u"origin", u"https://a@shop.example"), originRequired}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Preflight, Authorize,
    testing::Values(DecisionRow{"ContentType", preflight(u"content-type"), grant(approved, false)},
        DecisionRow{"Accept", preflight(u"accept"), grant(approved, false)},
        DecisionRow{"BothInMixedCaseWithBlanks", preflight(u" Content-Type ,  ACCEPT"), grant(approved, false)},
        DecisionRow{"Repeated", preflight(u"accept,accept"), grant(approved, false)},
        DecisionRow{"Tabs", preflight(u"\taccept\t"), grant(approved, false)},
        DecisionRow{"EmptyPieces", preflight(u",,content-type,,"), grant(approved, false)},
        DecisionRow{"EmptyList", preflight(u""), grant(approved, false)},
        DecisionRow{"NoList",
            {.method = QStringLiteral("OPTIONS"),
                .changes = {{QStringLiteral("access-control-request-method"), QStringLiteral("POST")}}},
            grant(approved, false)},
        DecisionRow{"PieceOfBlanks", preflight(u"content-type, ,accept"), unsupportedPreflight},
        DecisionRow{"OneBlank", preflight(u" "), unsupportedPreflight},
        DecisionRow{"CustomHeader", preflight(u"content-type,x-custom"), unsupportedPreflight},
        DecisionRow{"CustomHeaderFirst", preflight(u"x-custom,content-type"), unsupportedPreflight},
        DecisionRow{"Authorization", preflight(u"authorization"), unsupportedPreflight},
        DecisionRow{"LineFeedAtEnd", preflight(u"accept\n"), unsupportedPreflight},
        DecisionRow{"Semicolon", preflight(u"content-type;accept"), unsupportedPreflight},
        DecisionRow{"MethodMissing", {.method = QStringLiteral("OPTIONS")}, unsupportedPreflight},
        DecisionRow{"MethodInLowerCase", preflight(u"content-type", u"post"), unsupportedPreflight},
        DecisionRow{"MethodGET", preflight(u"content-type", u"GET"), unsupportedPreflight},
        DecisionRow{"MethodEmpty", preflight(u"content-type", u""), unsupportedPreflight},
        DecisionRow{"MethodList", preflight(u"content-type", u"POST, GET"), unsupportedPreflight}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(ContentType, Authorize,
    testing::Values(DecisionRow{"Missing", without(u"content-type"), jsonRequired},
        DecisionRow{"Empty", with(u"content-type", u""), jsonRequired},
        DecisionRow{"Plain", with(u"content-type", u"text/plain"), jsonRequired},
        DecisionRow{"Form", with(u"content-type", u"application/x-www-form-urlencoded"), jsonRequired},
        DecisionRow{"Longer", with(u"content-type", u"application/json-seq"), jsonRequired},
        DecisionRow{"Comma", with(u"content-type", u"application/json, text/plain"), jsonRequired},
        DecisionRow{"InnerBlank", with(u"content-type", u"application /json"), jsonRequired},
        DecisionRow{"PieceOfBlanksFirst", with(u"content-type", u" ;application/json"), jsonRequired},
        DecisionRow{"ParameterFirst", with(u"content-type", u"charset=utf-8;application/json"), jsonRequired},
        DecisionRow{"LineFeedAtEnd", with(u"content-type", u"application/json\n"), jsonRequired},
        DecisionRow{"OnlySemicolons", with(u"content-type", u";;"), jsonRequired},
        DecisionRow{
            "MixedCaseWithCharset", with(u"content-type", u"Application/JSON; charset=UTF-8"), PrintReceipt{approved}},
        DecisionRow{"Blanks", with(u"content-type", u" \tapplication/json\t ; x"), PrintReceipt{approved}},
        DecisionRow{"EmptyPiecesFirst", with(u"content-type", u";;application/json"), PrintReceipt{approved}},
        DecisionRow{"GetOfPrint", {.method = QStringLiteral("GET")}, jsonRequired},
        DecisionRow{"GetOfPair", {QStringLiteral("GET"), QStringLiteral("/pair")}, jsonRequired}),
    nameOf);

TEST(AuthorizeStore, PrintsForAnApprovedOrigin)
{
    EXPECT_EQ(decide({}), RequestDecision(PrintReceipt{approved}));
    EXPECT_EQ(decide(with(u"origin", u"https://other.example")),
        RequestDecision(PrintReceipt{QStringLiteral("https://other.example")}));
}

TEST(AuthorizeStore, MustConnectBeforeItPrints)
{
    const RequestDecision decision = decide(with(u"origin", u"https://new.example"));
    EXPECT_EQ(decision, toStore(428, u"Connect this store in Harrowmint Printer before printing.", unknown));
    EXPECT_TRUE(std::get<HTTPReply>(decision).encoded().startsWith("HTTP/1.1 428 Error\r\n"));
}

TEST(AuthorizeStore, IsNotApprovedByAnotherSpellingInTheSettings)
{
    PrinterSettings odd;
    odd.origins = {QStringLiteral("https://Shop.example"), QStringLiteral("https://shop.example/")};
    EXPECT_EQ(decide({}, odd), toStore(428, u"Connect this store in Harrowmint Printer before printing."));
}

TEST(AuthorizeStore, MayAskToBePairedWhetherApprovedOrNot)
{
    for (const QString& origin : {approved, unknown})
        EXPECT_EQ(decide({.path = QStringLiteral("/pair"), .changes = {{QStringLiteral("origin"), origin}}}),
            RequestDecision(Pair{origin}));
}

TEST(AuthorizeStore, IsRefusedWhilePausedForPrintingAndForPairing)
{
    EXPECT_EQ(decide({}, settings(true)), resume);
    EXPECT_EQ(decide({.path = QStringLiteral("/pair")}, settings(true)), resume);
    EXPECT_EQ(decide(with(u"origin", u"https://new.example"), settings(true)),
        toStore(503, u"Resume printing in Harrowmint Printer.", unknown));
    EXPECT_EQ(decide(with(u"content-type", u"text/plain"), settings(true)), jsonRequired);
}

TEST(AuthorizeStore, GetsItsPreflightUnapprovedAndWhilePaused)
{
    RequestBuilder asked = preflight(u"Content-Type");
    asked.changes[QStringLiteral("origin")] = unknown;
    asked.changes[QStringLiteral("access-control-request-private-network")] = QStringLiteral("true");
    EXPECT_EQ(decide(asked), RequestDecision(grant(unknown, true)));
    EXPECT_EQ(decide(asked, settings(true)), RequestDecision(grant(unknown, true)));
    asked.path = QStringLiteral("/pair");
    EXPECT_EQ(decide(asked), RequestDecision(grant(unknown, true)));
    const QByteArray reply = std::get<HTTPReply>(decide(asked)).encoded();
    EXPECT_TRUE(reply.contains("\r\nAccess-Control-Allow-Origin: https://new.example\r\n"));
    EXPECT_TRUE(reply.contains("\r\nAccess-Control-Allow-Methods: POST\r\n"));
    EXPECT_TRUE(reply.contains("\r\nAccess-Control-Allow-Private-Network: true\r\n"));
}

TEST(AuthorizeStore, GetsThePrivateNetworkOnlyForExactlyTrue)
{
    for (const QString& value : {QStringLiteral("True"), QStringLiteral("1"), QString(), QStringLiteral("true\n")}) {
        RequestBuilder asked = preflight(u"accept");
        asked.changes[QStringLiteral("access-control-request-private-network")] = value;
        EXPECT_EQ(decide(asked), RequestDecision(grant(approved, false))) << value.toStdString();
    }
}

TEST(AuthorizePort, IsTheOneTheHostMustName)
{
    HTTPRequest request = RequestBuilder().request();
    for (const std::uint16_t other : {std::uint16_t{80}, std::uint16_t{65'535}}) {
        EXPECT_EQ(authorize(request, settings(), other), loopbackRequired);
        request.headers[QStringLiteral("host")] = QStringLiteral("127.0.0.1:%1").arg(other);
        EXPECT_EQ(authorize(request, settings(), other), RequestDecision(PrintReceipt{approved}));
    }
}
