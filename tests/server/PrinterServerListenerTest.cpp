#include "server/ServerFixture.h"

#include <arpa/inet.h>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class PrinterServerListener : public ServerTest {
protected:
    /// Starts a server on `port` and returns what it says within the start; leaves it running.
    Statuses startOn(std::uint16_t port, std::unique_ptr<PrinterServer>& server)
    {
        Statuses statuses;
        m_main.run([&] {
            server = std::make_unique<PrinterServer>(m_main, port, patient());
            server->handler = echo;
            server->status = [&statuses](const QString& text, bool ok) { statuses.emplace_back(text, ok); };
            server->start();
            EXPECT_TRUE(statuses.empty()) << "only after the start";
        });
        settle();
        m_main.run([&] { server->status = {}; });
        return statuses;
    }
    void end(std::unique_ptr<PrinterServer>& server)
    {
        m_main.run([&server] { server.reset(); });
    }
};

const Statuses unavailable{
    {QStringLiteral("Port 9100 is unavailable. Close the other printer agent, then reopen this app."), false}};

Statuses readyOn(std::uint16_t port)
{
    return {{QStringLiteral("Ready on this Mac · port %1").arg(port), true}};
}

/// The process's sockets whose local port is `port`.
std::vector<int> socketsOn(std::uint16_t port)
{
    std::vector<int> sockets;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0
            && address.sin_family == AF_INET && ntohs(address.sin_port) == port)
            sockets.push_back(descriptor);
    }
    return sockets;
}

int option(int socket, int level, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    ::getsockopt(socket, level, name, &value, &size);
    return value;
}

int listenerOn(std::uint16_t port)
{
    for (const int socket : socketsOn(port)) {
        if (option(socket, SOL_SOCKET, SO_ACCEPTCONN) == 1)
            return socket;
    }
    return -1;
}

/// While it lives, the process can open no more descriptors.
class NoDescriptorsLeft {
public:
    NoDescriptorsLeft()
    {
        const int lowestFree = ::open("/dev/null", O_RDONLY);
        ::close(lowestFree);
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit tight{static_cast<rlim_t>(lowestFree), m_before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    }
    ~NoDescriptorsLeft() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
    NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

private:
    rlimit m_before{};
};

} // namespace

TEST_F(PrinterServerListener, SaysThatItIsReadyAndOnWhichPort)
{
    std::unique_ptr<PrinterServer> server;
    const Statuses statuses = startOn(0, server);
    EXPECT_NE(server->port(), 0);
    EXPECT_EQ(statuses, readyOn(server->port()));
    EXPECT_EQ(exchange(server->port(), health), echoed(QStringLiteral("/health")));
    end(server);
}

TEST_F(PrinterServerListener, HasThePortItWasGivenAnd9100ByDefault)
{
    m_main.run([this] {
        EXPECT_EQ(PrinterServer(m_main).port(), 9100);
        EXPECT_EQ(PrinterServer(m_main, 80).port(), 80);
    });
}

TEST_F(PrinterServerListener, NeedsNoClosures)
{
    m_main.run([this] {
        PrinterServer server(m_main, 0);
        server.start();
    });
    settle();
}

TEST_F(PrinterServerListener, SaysThatThePortIsUnavailableWhenAnotherProgramHasIt)
{
    serve(patient());
    std::unique_ptr<PrinterServer> second;
    EXPECT_EQ(startOn(port(), second), unavailable);
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health"))) << "the first one still serves";
    end(second);
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health")));
}

TEST_F(PrinterServerListener, SaysThatThePortIsUnavailableWhenItIsBoundToAllAddresses)
{
    const int other = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(other, reinterpret_cast<const sockaddr*>(&address), size), 0);
    ASSERT_EQ(::listen(other, 1), 0);
    ASSERT_EQ(::getsockname(other, reinterpret_cast<sockaddr*>(&address), &size), 0);
    std::unique_ptr<PrinterServer> server;
    EXPECT_EQ(startOn(ntohs(address.sin_port), server), unavailable);
    end(server);
    ::close(other);
}

TEST_F(PrinterServerListener, ListensAgainAtOnceThoughOldConnectionsLinger)
{
    std::unique_ptr<PrinterServer> server;
    startOn(0, server);
    const std::uint16_t port = server->port();
    std::vector<Client> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back(port);
        clients.back().send(health);
        EXPECT_EQ(clients.back().receive(), echoed(QStringLiteral("/health")));
    }
    end(server);
    EXPECT_EQ(startOn(port, server), readyOn(port));
    EXPECT_EQ(exchange(port, health), echoed(QStringLiteral("/health")));
    end(server);
}

TEST_F(PrinterServerListener, ThrowsWhenNoSocketCanBeMade)
{
    m_main.run([this] {
        PrinterServer server(m_main, 0);
        const NoDescriptorsLeft none;
        EXPECT_THROW(server.start(), std::system_error);
    });
}

TEST_F(PrinterServerListener, ListensOnTheLoopbackAddressAlone)
{
    serve(patient());
    const std::vector<int> sockets = socketsOn(port());
    ASSERT_EQ(sockets.size(), 1U);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(sockets.front(), reinterpret_cast<sockaddr*>(&address), &size);
    EXPECT_EQ(ntohl(address.sin_addr.s_addr), INADDR_LOOPBACK);
}

TEST_F(PrinterServerListener, KeepsItsSocketsFromChildProcessesAndSendsWithoutDelay)
{
    serve(patient(), holding());
    Client client(port());
    client.send(health);
    const ReplyCallback reply = takeHeld();
    const std::vector<int> sockets = socketsOn(port());
    ASSERT_EQ(sockets.size(), 2U) << "the listener and one connection";
    for (const int socket : sockets) {
        EXPECT_TRUE(::fcntl(socket, F_GETFD) & FD_CLOEXEC);
        EXPECT_TRUE(socket == listenerOn(port()) || option(socket, IPPROTO_TCP, TCP_NODELAY) != 0);
    }
}

TEST_F(PrinterServerListener, NeverSharesItsPort)
{
    serve(patient());
    EXPECT_EQ(option(listenerOn(port()), SOL_SOCKET, SO_REUSEPORT), 0);
}

TEST_F(PrinterServerListener, RunsOnAThreadOfItsOwnName)
{
    const std::filesystem::path tasks("/proc/self/task");
    if (!std::filesystem::exists(tasks))
        GTEST_SKIP() << "no list of threads on this system";
    serve(patient());
    EXPECT_EQ(exchange(port(), health), echoed(QStringLiteral("/health")));
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator(tasks)) {
        std::ifstream file(entry.path() / "comm");
        std::string name;
        std::getline(file, name);
        found += name == "http" ? 1 : 0;
    }
    EXPECT_EQ(found, 1);
}

TEST_F(PrinterServerListener, PausesWithoutSpinningWhenDescriptorsRunOut)
{
    serve(patient());
    Client client;
    {
        const NoDescriptorsLeft none;
        client.connect(port());
        client.send(health);
        const auto wallStart = std::chrono::steady_clock::now();
        const std::clock_t processorStart = std::clock();
        EXPECT_TRUE(client.staysSilent(400));
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wallStart;
        const double processor = static_cast<double>(std::clock() - processorStart) / CLOCKS_PER_SEC;
        EXPECT_LT(processor, wall.count() / 2);
    }
    EXPECT_EQ(client.receive(), echoed(QStringLiteral("/health"))) << "accepted once there is room";
}

TEST_F(PrinterServerListener, SaysThatThePortIsUnavailableWhenItFailsLater)
{
    std::unique_ptr<PrinterServer> server;
    startOn(0, server);
    std::promise<Statuses> failure;
    m_main.run([&] { server->status = [&failure](const QString& text, bool ok) { failure.set_value({{text, ok}}); }; });
    ::shutdown(listenerOn(server->port()), SHUT_RDWR);
    EXPECT_EQ(failure.get_future().get(), unavailable);
    end(server);
}
