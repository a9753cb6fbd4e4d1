#include "server/ServerFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class PrinterServerEnd : public ServerTest { };

} // namespace

TEST_F(PrinterServerEnd, NeedsNoStart)
{
    m_main.run([this] { const PrinterServer server(m_main, 0); });
}

TEST_F(PrinterServerEnd, ClosesConnectionsInEveryState)
{
    PrinterServerLimits limits = patient();
    serve(limits, holding());
    Client silent(port());
    Client reading(port());
    reading.send("GET / HT");
    Client waiting(port());
    waiting.send(health);
    const ReplyCallback late = takeHeld();
    Client draining(port());
    draining.send(health);
    takeHeld()({.status = 200, .message = QStringLiteral("in time")});
    EXPECT_EQ(draining.receive(), closedAfter(200, QStringLiteral("in time")));
    destroy();
    for (Client* client : {&silent, &reading, &waiting})
        EXPECT_EQ(client->receive().bytes, QByteArray());
    draining.sendUntilReset();
    EXPECT_TRUE(late({.status = 200, .message = QStringLiteral("late")})) << "harmless";
}

TEST_F(PrinterServerEnd, LeavesLateAndAbandonedRepliesHarmlessOnAnyThread)
{
    for (const bool answered : {false, true}) {
        serve(patient(), holding());
        Client client(port());
        client.send(health);
        std::thread replier([answered, reply = takeHeld()] {
            if (answered)
                reply({.status = 200, .message = QStringLiteral("racing")});
        });
        destroy();
        replier.join();
    }
}

TEST_F(PrinterServerEnd, KeepsAWaitingRequestFromTheHandler)
{
    std::atomic<int> calls = 0;
    serve(patient(), [&calls](const HTTPRequest&, const ReplyCallback&) { ++calls; });
    settle();
    m_main.hold();
    Client client(port());
    client.send(health);
    m_main.waitForHeld(1);
    destroy();
    m_main.release();
    settle();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(client.receive().bytes, QByteArray());
}

TEST_F(PrinterServerEnd, KeepsAWaitingStatusFromItsReceiver)
{
    std::atomic<int> calls = 0;
    m_main.hold();
    m_main.run([&] {
        PrinterServer server(m_main, 0);
        server.status = [&calls](const QString&, bool) { ++calls; };
        server.start();
    });
    m_main.waitForHeld(1);
    m_main.release();
    settle();
    EXPECT_EQ(calls, 0);
}

TEST_F(PrinterServerEnd, MayComeRightAfterTheStartAgainAndAgain)
{
    for (int i = 0; i < 50; ++i) {
        serve(patient());
        const Client client(port());
        destroy();
    }
}

TEST_F(PrinterServerEnd, LeavesNoDescriptorBehind)
{
    const auto lowestFree = [] {
        const Client probe;
        return probe.descriptor();
    };
    serve(patient());
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health")));
    destroy();
    const int before = lowestFree();
    for (int i = 0; i < 5; ++i) {
        serve(patient());
        const Client client(port());
        EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health")));
        destroy();
    }
    EXPECT_EQ(lowestFree(), before);
}
