#include "server/ServerFixture.h"

#include <ctime>
#include <sys/socket.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class PrinterServerRequests : public ServerTest { };
class PrinterServerReplies : public ServerTest { };

const QString invalid = QStringLiteral("Invalid or oversized request.");

} // namespace

// Requests

TEST_F(PrinterServerRequests, AreHandedOverOnTheMainQueueAndAnsweredByteForByte)
{
    HTTPRequest seen;
    bool onMain = false;
    serve(patient(), [&](const HTTPRequest& request, const ReplyCallback& reply) {
        seen = request;
        onMain = m_main.isCurrent();
        reply({.status = 409, .message = QStringLiteral("Busy."), .origin = QStringLiteral("https://a.example")});
    });
    const Received received = exchange(port(), post("/print", "{\"a\":1}"));
    const HTTPReply expected{
        .status = 409, .message = QStringLiteral("Busy."), .origin = QStringLiteral("https://a.example")};
    settle();
    EXPECT_EQ(received, (Received{expected.encoded(), End::Closed}));
    EXPECT_EQ(seen,
        (HTTPRequest{QStringLiteral("POST"), QStringLiteral("/print"),
            {{QStringLiteral("content-length"), QStringLiteral("7")}}, "{\"a\":1}"}));
    EXPECT_TRUE(onMain);
}

TEST_F(PrinterServerRequests, AreAssembledFromManyTinySegmentsAndHandedOverOnce)
{
    std::atomic<int> calls = 0;
    serve(patient(), [&](const HTTPRequest& request, const ReplyCallback& reply) {
        ++calls;
        reply({.status = 200, .message = QString::fromLatin1(request.body)});
    });
    Client client(port());
    for (const char byte : post("/print", "{\"receipt\":true}"))
        client.send(QByteArray(1, byte));
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("{\"receipt\":true}")));
    settle();
    EXPECT_EQ(calls, 1);
}

TEST_F(PrinterServerRequests, MayBeAsLargeAsTheParserAccepts)
{
    qsizetype bytes = 0;
    serve(patient(), [&](const HTTPRequest& request, const ReplyCallback& reply) {
        bytes = request.body.size();
        echo(request, reply);
    });
    const QByteArray start = "POST /print HTTP/1.1\r\nContent-Length: 131072\r\nX: ";
    const QByteArray headers = start + QByteArray(8'192 - start.size(), 'x') + "\r\n\r\n";
    EXPECT_EQ(exchange(port(), headers + QByteArray(131'072, 'b')), echoed(QStringLiteral("/print")));
    settle();
    EXPECT_EQ(bytes, 131'072);
}

TEST_F(PrinterServerRequests, AreAnswered400WithoutTheReasonWhenTheyAreMalformed)
{
    serve(patient());
    EXPECT_EQ(exchange(port(), "GET / HTTP/1.0\r\n\r\n"), closedAfter(400, invalid));
    EXPECT_EQ(exchange(port(), "POST / HTTP/1.1\r\n\r\n"), closedAfter(400, invalid));
    EXPECT_EQ(exchange(port(), QByteArray(8'193, 'x')), closedAfter(400, invalid));
    EXPECT_EQ(exchange(port(), QByteArray(140'001, 'x')), closedAfter(400, invalid));
}

TEST_F(PrinterServerRequests, AreRefusedWhenMoreFollows)
{
    serve(patient());
    EXPECT_EQ(exchange(port(), health + health), closedAfter(400, invalid));
    EXPECT_EQ(exchange(port(), health + "x"), closedAfter(400, invalid));
}

TEST_F(PrinterServerRequests, StandAloneWhenMoreFollowsOnlyLater)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    const ReplyCallback reply = takeHeld();
    client.send(health);
    reply({.status = 200, .message = QStringLiteral("one")});
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("one")));
}

TEST_F(PrinterServerRequests, GetTheirReplyAlthoughTheClientHasEndedSending)
{
    serve(patient(), holding());
    Client client(port());
    client.send(post("/print", "{}"));
    client.endSending();
    takeHeld()({.status = 200, .message = QStringLiteral("printed")});
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("printed")));
}

TEST_F(PrinterServerRequests, AreNotDisturbedByUrgentBytes)
{
    serve(patient(), holding());
    Client client(port());
    client.send(post("/print", "{}"));
    const ReplyCallback reply = takeHeld();
    ASSERT_EQ(::send(client.descriptor(), "!", 1, MSG_OOB), 1);
    const auto wallStart = std::chrono::steady_clock::now();
    const std::clock_t processorStart = std::clock();
    EXPECT_TRUE(client.staysSilent(200));
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wallStart;
    const double processor = static_cast<double>(std::clock() - processorStart) / CLOCKS_PER_SEC;
    EXPECT_LT(processor, wall.count() / 2) << "the server looks at them again and again";
    reply({.status = 200, .message = QStringLiteral("printed")});
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("printed")));
}

TEST_F(PrinterServerRequests, GetNoReplyWhenTheClientEndsBeforeTheyAreComplete)
{
    serve(patient());
    for (const QByteArray& part : {QByteArray(), QByteArray("GET / HTTP/1.1\r\n"),
             QByteArray("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\n{}")}) {
        Client client(port());
        client.send(part);
        client.endSending();
        EXPECT_EQ(client.receive(), (Received{{}, End::Closed}));
    }
}

TEST_F(PrinterServerRequests, AreAnswered503WithoutAHandler)
{
    serve(patient(), {});
    EXPECT_EQ(exchange(port(), health), closedAfter(503, QStringLiteral("Not ready.")));
}

// A refused client is still sending

TEST_F(PrinterServerReplies, ReachAClientThatSendsAMegabyteBeforeItReads)
{
    serve(patient());
    EXPECT_EQ(exchange(port(), "POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + QByteArray(1'000'000, 'b')).bytes,
        closedAfter(400, invalid).bytes);
}

TEST_F(PrinterServerReplies, ReachAClientThatSendsWithinTheDrainLimitWithoutAnyReset)
{
    PrinterServerLimits limits = patient();
    limits.drainBytes = 2'000'000;
    serve(limits);
    Client client(port());
    const QByteArray upload = "POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + QByteArray(1'000'000, 'b');
    EXPECT_EQ(client.send(upload), upload.size());
    EXPECT_EQ(client.receive(), closedAfter(400, invalid));
    EXPECT_EQ(client.send("x"), 1) << "the server still drains";
}

// Replies

TEST_F(PrinterServerReplies, MayComeFromAnyThread)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    std::thread([reply = takeHeld()] { reply({.status = 200, .message = QStringLiteral("from afar")}); }).join();
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("from afar")));
}

TEST_F(PrinterServerReplies, CountOnlyOnce)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    const ReplyCallback reply = takeHeld();
    EXPECT_TRUE(reply({.status = 200, .message = QStringLiteral("first")}));
    EXPECT_FALSE(reply({.status = 200, .message = QStringLiteral("second")}));
    EXPECT_EQ(client.receive(), closedAfter(200, QStringLiteral("first")));
}

TEST_F(PrinterServerReplies, ThatNeverComeCloseTheConnectionWhenTheLastCopyDies)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    {
        const ReplyCallback reply = takeHeld();
        const ReplyCallback copy = reply; // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
        (void)copy;
        EXPECT_TRUE(client.staysSilent(20));
    }
    EXPECT_EQ(client.receive(), (Received{{}, End::Closed}));
}

TEST_F(PrinterServerReplies, AreWrittenToTheirOwnConnections)
{
    serve(patient(), holding());
    Client first(port());
    first.send(health);
    const ReplyCallback toFirst = takeHeld();
    Client second(port());
    second.send(health);
    takeHeld()({.status = 200, .message = QStringLiteral("second")});
    EXPECT_EQ(second.receive(), closedAfter(200, QStringLiteral("second")));
    toFirst({.status = 200, .message = QStringLiteral("first")});
    EXPECT_EQ(first.receive(), closedAfter(200, QStringLiteral("first")));
}

TEST_F(PrinterServerReplies, ReachManyClientsAtOnce)
{
    serve(patient());
    std::vector<std::thread> clients;
    clients.reserve(12);
    std::atomic<int> good = 0;
    for (int number = 0; number < 12; ++number) {
        clients.emplace_back([this, number, &good] {
            for (int request = 0; request < 25; ++request) {
                const QString path = QStringLiteral("/%1/%2").arg(number).arg(request);
                if (exchange(port(), "GET " + path.toLatin1() + " HTTP/1.1\r\n\r\n") == echoed(path))
                    ++good;
            }
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(good, 12 * 25);
}
