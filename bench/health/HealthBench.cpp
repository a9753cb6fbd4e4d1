// Connection-per-request GET /health by 12 clients: the agent's server, with authorization on a Qt main thread as in
// the agent, beside a bare epoll loop that writes the same bytes. The two take turns, so that what else the machine
// does hits both. Ends with 1 when a figure misses its goal.
#include "BareServer.h"
#include "LoadClients.h"
#include "base/QtQueue.h"
#include "server/Authorize.h"
#include "server/PrinterServer.h"

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>

using namespace harrowmint;
using namespace harrowmint::bench;

namespace {

constexpr int clients = 12;
constexpr int rounds = 9;
constexpr std::chrono::seconds roundDuration{2};
constexpr double ratioGoal = 0.9;
constexpr double p99GoalMilliseconds = 1;

struct Figures {
    Load agent;
    Load bare;
    std::vector<double> ratios; ///< agent to bare, one for each round, ascending

    [[nodiscard]] double medianRatio() const { return ratios[ratios.size() / 2]; }
    [[nodiscard]] bool areGood() const
    {
        return medianRatio() >= ratioGoal && agent.percentile(0.99) < p99GoalMilliseconds && agent.lost == 0;
    }
};

Figures measure(std::uint16_t agentPort)
{
    const QByteArray reply =
        HTTPReply{.status = 200, .message = QStringLiteral("Harrowmint Printer is running.")}.encoded();
    const QByteArray request = "GET /health HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(agentPort) + "\r\n\r\n";
    const BareServer bareServer(reply);
    Figures figures;
    for (int round = -1; round < rounds; ++round) {
        const Load agent = loadServer(agentPort, clients, roundDuration, request, reply);
        const Load bare = loadServer(bareServer.port(), clients, roundDuration, request, reply);
        if (round < 0)
            continue; // warming up
        figures.agent.add(agent);
        figures.bare.add(bare);
        figures.ratios.push_back(agent.requestsPerSecond() / bare.requestsPerSecond());
    }
    std::sort(figures.ratios.begin(), figures.ratios.end());
    return figures;
}

void print(const char* name, const Load& load)
{
    std::printf("%-12s %12.0f %10.3f %10.3f %8zu %14.1f\n", name, load.requestsPerSecond(), load.percentile(0.5),
        load.percentile(0.99), load.lost, load.processorMicroseconds());
}

void print(const Figures& figures)
{
    std::printf(
        "%-12s %12s %10s %10s %8s %14s\n", "server", "requests/s", "p50 ms", "p99 ms", "lost", "CPU us/request");
    print("agent", figures.agent);
    print("bare epoll", figures.bare);
    std::printf("agent / bare: median %.3f of %d rounds (from %.3f to %.3f)\n", figures.medianRatio(), rounds,
        figures.ratios.front(), figures.ratios.back());
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QtQueue main;
    PrinterServer server(main, 0);
    server.handler = [&server](const HTTPRequest& request, const ReplyCallback& reply) {
        reply(std::get<HTTPReply>(authorize(request, PrinterSettings(), server.port())));
    };
    server.start();

    bool good = false;
    std::thread driver([&, port = server.port()] {
        const Figures figures = measure(port);
        print(figures);
        main.async([&good, result = figures.areGood()] {
            good = result;
            QCoreApplication::quit();
        });
    });
    QCoreApplication::exec();
    driver.join();
    return good ? 0 : 1;
}
