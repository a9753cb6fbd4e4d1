// Every combination of header variants against a model that knows nothing of texts: each variant carries by hand what
// it means, and the model is the bare list of rules.
#include "server/Authorize.h"

#include "server/ReplyPrinters.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

using Text = std::optional<QString>;

/// One header's variant and what it means.
template <class Meaning>
struct Variant {
    const char* text; ///< null: not sent
    Meaning meaning;

    [[nodiscard]] Text header() const { return text ? Text(QString::fromLatin1(text)) : std::nullopt; }
};

enum class Path { Health, Print, Pair, Other };
enum class Store { None, Approved, New };

const std::vector<Variant<bool>> hosts = {
    {"127.0.0.1:9100", true}, {nullptr, false}, {"localhost:9100", false}, {"127.0.0.1", false}};
const std::vector<const char*> methods = {"GET", "POST", "OPTIONS"};
const std::vector<Variant<Path>> paths = {{"/health", Path::Health}, {"/print", Path::Print}, {"/pair", Path::Pair},
    {"/print?x", Path::Other}, {"/", Path::Other}};
const std::vector<Variant<Store>> origins = {{"https://shop.example", Store::Approved},
    {"https://new.example", Store::New}, {nullptr, Store::None}, {"null", Store::None},
    {"https://Shop.example", Store::None}, {"https://shop.example/", Store::None}};
const std::vector<Variant<bool>> requestedMethods = {{"POST", true}, {nullptr, false}, {"post", false}, {"GET", false}};
const std::vector<Variant<bool>> requestedHeaders = {{nullptr, true}, {"", true}, {"content-type", true},
    {" Content-Type ,ACCEPT,", true}, {"accept,x-custom", false}, {" ", false}, {"content-type;accept", false}};
const std::vector<Variant<bool>> privateNetworks = {{nullptr, false}, {"true", true}, {"TRUE", false}};
const std::vector<Variant<bool>> contentTypes = {{"application/json", true}, {";Application/JSON ; charset=x", true},
    {nullptr, false}, {"", false}, {"text/plain", false}, {" ;application/json", false}};

struct Combination {
    Variant<bool> host;
    const char* method;
    Variant<Path> path;
    Variant<Store> origin;
    Variant<bool> requestedMethod;
    Variant<bool> requestedHeaders;
    Variant<bool> privateNetwork;
    Variant<bool> contentType;
    bool paused;

    [[nodiscard]] bool isMethod(const char* name) const { return qstrcmp(method, name) == 0; }
};

HTTPRequest requestOf(const Combination& c)
{
    HTTPRequest request{QString::fromLatin1(c.method), *c.path.header(), {}, {}};
    const auto set = [&request](const char* name, const Text& value) {
        if (value)
            request.headers[QString::fromLatin1(name)] = *value;
    };
    set("host", c.host.header());
    set("origin", c.origin.header());
    set("access-control-request-method", c.requestedMethod.header());
    set("access-control-request-headers", c.requestedHeaders.header());
    set("access-control-request-private-network", c.privateNetwork.header());
    set("content-type", c.contentType.header());
    return request;
}

RequestDecision modelOf(const Combination& c)
{
    struct Rule {
        bool applies;
        RequestDecision decision;
    };
    const auto say = [](int status, const char* message, const Text& origin) {
        return HTTPReply{.status = status, .message = QString::fromLatin1(message), .origin = origin};
    };
    const Text store = c.origin.header();
    const bool printing = c.path.meaning == Path::Print;
    const bool preflight = c.isMethod("OPTIONS");
    const Rule rules[] = {
        {!c.host.meaning, say(403, "Loopback host required.", {})},
        {c.path.meaning == Path::Health && c.isMethod("GET"), say(200, "Harrowmint Printer is running.", {})},
        {!printing && c.path.meaning != Path::Pair, say(404, "Not found.", {})},
        {c.origin.meaning == Store::None, say(403, "An exact HTTPS store origin is required.", {})},
        {preflight && (!c.requestedMethod.meaning || !c.requestedHeaders.meaning),
            say(403, "Unsupported preflight.", store)},
        {preflight, HTTPReply{204, {}, store, true, c.privateNetwork.meaning}},
        {!c.isMethod("POST") || !c.contentType.meaning, say(415, "POST JSON required.", store)},
        {c.paused, say(503, "Resume printing in Harrowmint Printer.", store)},
        {!printing, Pair{store.value_or(QString())}},
        {c.origin.meaning == Store::New, say(428, "Connect this store in Harrowmint Printer before printing.", store)},
        {true, PrintReceipt{store.value_or(QString())}},
    };
    return std::find_if(std::begin(rules), std::end(rules), [](const Rule& rule) { return rule.applies; })->decision;
}

/// The combination with this number in the mixed-radix order of the lists, which `number` is divided down by.
Combination combination(std::size_t number)
{
    const auto pick = [&number](const auto& list) {
        const auto& value = list[number % list.size()];
        number /= list.size();
        return value;
    };
    Combination c{pick(hosts), pick(methods), pick(paths), pick(origins), pick(requestedMethods),
        pick(requestedHeaders), pick(privateNetworks), pick(contentTypes), false};
    c.paused = number % 2 == 1;
    return c;
}

} // namespace

TEST(AuthorizeModel, AgreesOnEveryCombinationOfHeaderVariants)
{
    const std::size_t count = 2 * hosts.size() * methods.size() * paths.size() * origins.size()
        * requestedMethods.size() * requestedHeaders.size() * privateNetworks.size() * contentTypes.size();
    PrinterSettings settings;
    settings.origins = {QStringLiteral("https://a.example"), QStringLiteral("https://shop.example")};
    std::map<std::size_t, int> seen;
    for (std::size_t number = 0; number < count; ++number) {
        const Combination c = combination(number);
        settings.paused = c.paused;
        const RequestDecision decision = authorize(requestOf(c), settings, 9100);
        ASSERT_EQ(decision, modelOf(c)) << "combination " << number;
        const HTTPReply* reply = std::get_if<HTTPReply>(&decision);
        ++seen[reply ? static_cast<std::size_t>(reply->status) : decision.index()];
    }
    EXPECT_EQ(seen.size(), 9U) << "seven status codes, prints and pairings all occur";
}
