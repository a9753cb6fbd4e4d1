#pragma once

#include <QByteArray>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace harrowmint::bench {

/// What a number of clients saw of a server.
struct Load {
    std::vector<std::chrono::nanoseconds> latencies; ///< from connecting to the reply's end, ascending
    std::size_t lost = 0; ///< requests without their whole reply
    std::chrono::nanoseconds duration{};
    double processorSeconds = 0; ///< of this process: the server and the clients

    [[nodiscard]] double requestsPerSecond() const;
    /// Processor time of one request, the clients' share included, in microseconds; hardly disturbed by other programs.
    [[nodiscard]] double processorMicroseconds() const;
    /// The latency that the share `fraction` of the requests does not exceed, in milliseconds.
    [[nodiscard]] double percentile(double fraction) const;
    /// Takes the figures of another run in.
    void add(const Load& other);
};

/// Lets `clients` threads send `request` to `port` for `duration`, each over one new connection after the other, and
/// compares each reply with `reply`.
[[nodiscard]] Load loadServer(std::uint16_t port, int clients, std::chrono::nanoseconds duration,
    const QByteArray& request, const QByteArray& reply);

} // namespace harrowmint::bench
