#include "server/ServerFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

QByteArray get(const QByteArray& path)
{
    return "GET " + path + " HTTP/1.1\r\n\r\n";
}

/// Two requests that the server reads in one round of its loop: /first, then /second.
class PrinterServerRounds : public ServerTest {
protected:
    /// Serves, and stops the server's thread at an earlier request until both have come. They are then handed over in
    /// one task, which is held.
    void askInOneRound(PrinterServer::Handler handler)
    {
        serve(patient(), std::move(handler));
        settle();
        m_main.hold();
        first.connect(port());
        second.connect(port());
        Client earlier(port()); // accepted last: the others are waited for by then
        m_main.holdGivers();
        earlier.send(get("/earlier"));
        m_main.waitForHeld(1);
        first.send(get("/first"));
        first.waitUntilDelivered();
        second.send(get("/second"));
        second.waitUntilDelivered();
        m_main.releaseGivers();
        m_main.waitForHeld(2);
        m_main.runHeld();
        ASSERT_EQ(earlier.receive(), echoed(QStringLiteral("/earlier")));
        ASSERT_EQ(m_main.held(), 1u);
    }
    /// Answers as `echo` does, and notes the request.
    void note(const HTTPRequest& request, const ReplyCallback& reply)
    {
        seen.push_back(request.path);
        echo(request, reply);
    }
    PrinterServer::Handler noting()
    {
        return [this](const HTTPRequest& request, const ReplyCallback& reply) { note(request, reply); };
    }

    Client first;
    Client second;
    std::vector<QString> seen; ///< touched on the main queue alone, or while that stands still
};

const std::vector<QString> all{QStringLiteral("/earlier"), QStringLiteral("/first"), QStringLiteral("/second")};

} // namespace

TEST_F(PrinterServerRounds, HandOverAllTheirRequestsInOneTaskInTheOrderOfArrival)
{
    askInOneRound(noting());
    m_main.runHeld();
    EXPECT_EQ(seen, all);
    EXPECT_EQ(first.receive(), echoed(QStringLiteral("/first")));
    EXPECT_EQ(second.receive(), echoed(QStringLiteral("/second")));
    EXPECT_EQ(m_main.held(), 0u);
}

TEST_F(PrinterServerRounds, EndWithTheServerThatAHandlerDestroys)
{
    const auto state = std::make_shared<int>(7); // of a handler that is still at work when its server goes
    askInOneRound([this, state](const HTTPRequest& request, const ReplyCallback& reply) {
        note(request, reply);
        if (request.path == QStringLiteral("/first"))
            m_server.reset();
        EXPECT_EQ(*state, 7);
    });
    m_main.runHeld();
    EXPECT_EQ(seen, (std::vector{all[0], all[1]}));
    EXPECT_EQ(first.receive(), echoed(QStringLiteral("/first")));
    EXPECT_EQ(second.receive().bytes, QByteArray());
    EXPECT_EQ(state.use_count(), 1);
}

TEST_F(PrinterServerRounds, ReachNoHandlerOnceTheServerIsGone)
{
    askInOneRound(noting());
    destroy();
    m_main.runHeld();
    EXPECT_EQ(seen, std::vector{all[0]});
    EXPECT_EQ(first.receive().bytes, QByteArray());
    EXPECT_EQ(second.receive().bytes, QByteArray());
}
