#include "LoadClients.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace harrowmint::bench {

namespace {

using Clock = std::chrono::steady_clock;

/// One request over a connection of its own; whether the whole reply and nothing else came.
bool exchange(const sockaddr_in& address, const QByteArray& request, const QByteArray& reply)
{
    const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    char buffer[4'096];
    std::size_t received = 0;
    if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
        && ::send(connection, request.constData(), static_cast<std::size_t>(request.size()), MSG_NOSIGNAL)
            == request.size()) {
        ssize_t count = 0;
        while (received < sizeof buffer
            && (count = ::recv(connection, buffer + received, sizeof buffer - received, 0)) > 0)
            received += static_cast<std::size_t>(count);
    }
    ::close(connection);
    return QByteArrayView(buffer, static_cast<qsizetype>(received)) == reply;
}

} // namespace

double Load::requestsPerSecond() const
{
    return static_cast<double>(latencies.size()) / std::chrono::duration<double>(duration).count();
}

double Load::processorMicroseconds() const
{
    return 1e6 * processorSeconds / static_cast<double>(latencies.size());
}

double Load::percentile(double fraction) const
{
    if (latencies.empty())
        return 0;
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(latencies.size() - 1));
    return std::chrono::duration<double, std::milli>(latencies[index]).count();
}

void Load::add(const Load& other)
{
    latencies.insert(latencies.end(), other.latencies.begin(), other.latencies.end());
    std::sort(latencies.begin(), latencies.end());
    lost += other.lost;
    duration += other.duration;
    processorSeconds += other.processorSeconds;
}

Load loadServer(std::uint16_t port, int clients, std::chrono::nanoseconds duration, const QByteArray& request,
    const QByteArray& reply)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<Load> loads(static_cast<std::size_t>(clients));
    std::vector<std::thread> threads;
    threads.reserve(loads.size());
    const std::clock_t processorStart = std::clock();
    const Clock::time_point start = Clock::now();
    for (Load& load : loads) {
        threads.emplace_back([&, end = start + duration] {
            Clock::time_point now = Clock::now();
            while (now < end) {
                const Clock::time_point sent = now;
                const bool whole = exchange(address, request, reply);
                now = Clock::now();
                if (whole)
                    load.latencies.push_back(now - sent);
                else
                    ++load.lost;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    Load sum;
    for (const Load& load : loads)
        sum.add(load);
    sum.duration = Clock::now() - start;
    sum.processorSeconds = static_cast<double>(std::clock() - processorStart) / CLOCKS_PER_SEC;
    return sum;
}

} // namespace harrowmint::bench
