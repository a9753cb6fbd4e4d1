#include "server/ServerFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class PrinterServerConnections : public ServerTest { };
class PrinterServerTimes : public ServerTest { };
class PrinterServerDraining : public ServerTest { };

const Received closedUnanswered{{}, End::Closed};

std::chrono::milliseconds since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

/// A client whose request is answered, and which keeps its side open.
/// A client that may still send, because its request had a body.
Client answeredClient(std::uint16_t port)
{
    Client client(port);
    client.send(post("/print", "{}"));
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("/print")));
    return client;
}

} // namespace

TEST(PrinterServerLimits, AreTheAgentsOwnByDefault)
{
    const PrinterServerLimits limits;
    EXPECT_EQ(limits.connections, 12U);
    EXPECT_EQ(limits.idle, 20s);
    EXPECT_EQ(limits.lifetime, 65s);
    EXPECT_EQ(limits.draining, 32U);
    EXPECT_EQ(limits.drainTime, 2s);
    EXPECT_EQ(limits.drainBytes, 262'144U);
}

// Connections

TEST_F(PrinterServerConnections, AreTwelveAndTheThirteenthIsClosedUnanswered)
{
    serve(patient());
    std::vector<Client> clients;
    clients.reserve(12);
    for (int i = 0; i < 12; ++i)
        clients.emplace_back(port());
    Client thirteenth(port());
    const Received refused = thirteenth.receive();
    EXPECT_EQ(refused, closedUnanswered);
    for (Client& client : clients) {
        client.send(health);
        EXPECT_EQ(client.receive(), echoed(QStringLiteral("/health")));
    }
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health"))) << "there is room again";
}

TEST_F(PrinterServerConnections, MakeRoomWhenAClientEndsOrResets)
{
    PrinterServerLimits limits = patient();
    limits.connections = 1;
    serve(limits);
    {
        Client ends(port());
        ends.endSending();
        EXPECT_EQ(ends.receive(), closedUnanswered);
    }
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health")));
    Client resets(port());
    resets.send("GET");
    resets.reset();
    Received received;
    while (received.bytes.isEmpty()) // until the server has seen the reset
        received = exchange(port(), health);
    EXPECT_EQ(received, echoed(QStringLiteral("/health")));
}

TEST_F(PrinterServerConnections, MakeRoomWhenAClientResetsWhileItsRequestIsHandled)
{
    PrinterServerLimits limits = patient();
    limits.connections = 1;
    serve(limits, [hold = holding()](const HTTPRequest& request, const ReplyCallback& reply) {
        (request.path == QStringLiteral("/print") ? hold : echo)(request, reply);
    });
    Client client(port());
    client.send(post("/print", "{}"));
    const ReplyCallback late = takeHeld();
    client.reset();
    Received received;
    while (received.bytes.isEmpty()) // until the server has seen the reset
        received = exchange(port(), health);
    EXPECT_EQ(received, echoed(QStringLiteral("/health")));
    late({.status = 200, .message = QStringLiteral("late")});
}

// Times

TEST_F(PrinterServerTimes, CloseASilentConnectionWhenItsIdleTimeIsOver)
{
    PrinterServerLimits limits = patient();
    limits.idle = 200ms;
    serve(limits);
    const auto start = std::chrono::steady_clock::now();
    Client client(port());
    EXPECT_EQ(client.receive(), closedUnanswered);
    EXPECT_GE(since(start), 200ms);
}

TEST_F(PrinterServerTimes, CloseARequestForAnythingElseWhenItsIdleTimeIsOver)
{
    PrinterServerLimits limits = patient();
    limits.idle = 200ms;
    serve(limits, holding());
    for (const QByteArray& request : {health, post("/print?", "{}"), post("/PAIR", "{}"), post("/pair/", "{}")}) {
        const auto start = std::chrono::steady_clock::now();
        Client client(port());
        client.send(request);
        const ReplyCallback late = takeHeld();
        EXPECT_EQ(client.receive(), closedUnanswered) << request.toStdString();
        EXPECT_GE(since(start), 200ms);
        EXPECT_TRUE(late({.status = 200, .message = QStringLiteral("late")})) << "given, and dropped";
    }
}

TEST_F(PrinterServerTimes, ExemptPrintAndPairFromTheIdleTime)
{
    PrinterServerLimits limits = patient();
    limits.idle = 200ms;
    serve(limits, holding());
    for (const QByteArray path : {"/print", "/pair"}) {
        Client client(port());
        client.send(post(path, "{}"));
        const ReplyCallback reply = takeHeld();
        Client later(port());
        EXPECT_EQ(later.receive(), closedUnanswered) << "its idle time ended after the other's";
        reply({.status = 200, .message = QStringLiteral("at last")});
        EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("at last")));
    }
}

TEST_F(PrinterServerTimes, DoNotExemptAnUnfinishedPrint)
{
    PrinterServerLimits limits = patient();
    limits.idle = 100ms;
    serve(limits);
    Client client(port());
    client.send("POST /print HTTP/1.1\r\nContent-Length: 2\r\n\r\n{");
    EXPECT_EQ(client.receive(), closedUnanswered);
}

TEST_F(PrinterServerTimes, CloseEvenAPrintWhenItsLifetimeIsOverAndDropTheLateReply)
{
    PrinterServerLimits limits = patient();
    limits.idle = 50ms;
    limits.lifetime = 300ms;
    serve(limits, holding());
    for (const QByteArray path : {"/print", "/pair"}) {
        const auto start = std::chrono::steady_clock::now();
        Client client(port());
        client.send(post(path, "{}"));
        const ReplyCallback late = takeHeld();
        EXPECT_EQ(client.receive(), closedUnanswered);
        EXPECT_GE(since(start), 300ms);
        EXPECT_TRUE(late({.status = 200, .message = QStringLiteral("late")})) << "given, and dropped";
    }
}

TEST_F(PrinterServerTimes, EndALifeThatIsShorterThanTheIdleTime)
{
    PrinterServerLimits limits = patient();
    limits.lifetime = 100ms;
    serve(limits);
    Client client(port());
    EXPECT_EQ(client.receive(), closedUnanswered);
}

TEST_F(PrinterServerTimes, RunFromTheAcceptanceHoweverMuchIsSent)
{
    PrinterServerLimits limits = patient();
    limits.idle = 200ms;
    serve(limits);
    Client client(port());
    client.sendUntilReset();
}

// Draining

TEST_F(PrinterServerDraining, DoesNotCountAmongTheConnections)
{
    PrinterServerLimits limits = patient();
    limits.connections = 1;
    serve(limits);
    const Client first = answeredClient(port());
    const Client second = answeredClient(port());
    const Client third = answeredClient(port());
}

TEST_F(PrinterServerDraining, ReadsOnWhileItsLimitsAllow)
{
    serve(patient());
    Client client = answeredClient(port());
    EXPECT_EQ(client.send(QByteArray(200'000, 'x')), 200'000);
    EXPECT_EQ(client.send("x"), 1);
}

TEST_F(PrinterServerDraining, ClosesTheOldestWhenThereAreTooMany)
{
    PrinterServerLimits limits = patient();
    limits.draining = 2;
    serve(limits);
    Client oldest = answeredClient(port());
    Client middle = answeredClient(port());
    EXPECT_EQ(oldest.send("x"), 1);
    EXPECT_EQ(oldest.send("x"), 1) << "two may drain";
    Client youngest = answeredClient(port());
    oldest.sendUntilReset();
    for (Client* client : {&middle, &youngest}) {
        EXPECT_EQ(client->send("x"), 1);
        EXPECT_EQ(client->send("x"), 1);
    }
}

TEST_F(PrinterServerDraining, ForgetsAClientThatHasEnded)
{
    PrinterServerLimits limits = patient();
    limits.draining = 2;
    serve(limits);
    Client stays = answeredClient(port());
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(exchange(port(), post("/print", "{}")), echoed(QStringLiteral("/print")));
        settle();
        EXPECT_EQ(stays.send("x"), 1);
    }
}

TEST_F(PrinterServerDraining, EndsWhenItsTimeIsOver)
{
    PrinterServerLimits limits = patient();
    limits.drainTime = 200ms;
    serve(limits);
    const auto start = std::chrono::steady_clock::now();
    Client client = answeredClient(port());
    client.sendUntilReset();
    EXPECT_GE(since(start), 200ms);
}

TEST_F(PrinterServerDraining, EndsWhenItHasReadItsShare)
{
    PrinterServerLimits limits = patient();
    limits.drainBytes = 50'000;
    serve(limits);
    Client client = answeredClient(port());
    EXPECT_EQ(client.send(QByteArray(50'000, 'x')), 50'000);
    client.sendUntilReset();
}

TEST_F(PrinterServerDraining, IsSparedAClientThatHasSentAllItHad)
{
    serve(patient());
    Client client(port());
    client.send(health);
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("/health")));
    client.sendUntilReset();
}

TEST_F(PrinterServerDraining, IsNotSparedAClientThatHasSentMoreThanItsRequest)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    const ReplyCallback reply = takeHeld();
    client.send("x");
    reply({.status = 200, .message = QStringLiteral("one")});
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("one")));
    EXPECT_EQ(client.send("x"), 1);
    EXPECT_EQ(client.send("x"), 1) << "the server still drains";
}

TEST_F(PrinterServerDraining, IsSkippedWhenNoneMayDrain)
{
    PrinterServerLimits limits = patient();
    limits.draining = 0;
    serve(limits);
    Client client = answeredClient(port());
    client.sendUntilReset();
}
