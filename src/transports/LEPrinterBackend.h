#pragma once

#include "transports/LEPrinterLink.h"

#include <atomic>

namespace harrowmint {

/// What the owner of an LE printer transport holds: passes calls of any thread on to the LEPrinterLink on `queue`,
/// which outlives it. Tasks under way hold the link weakly; a job that runs when this dies ends without a result.
class LEPrinterBackend {
public:
    LEPrinterBackend(const LEPrinterKind& kind, SerialQueue& queue, LECentralFactory factory, Waiter& waiter);
    LEPrinterBackend(const LEPrinterBackend&) = delete;
    LEPrinterBackend& operator=(const LEPrinterBackend&) = delete;
    ~LEPrinterBackend();

    /// See LEPrinterLink::discover.
    void discover(const std::optional<QString>& selected, DiscoveryCompletion completion);
    /// Submits one job; `completion` is answered on the queue. Returns the job's number.
    std::uint64_t start(std::shared_ptr<ByteCursor> stream, const QUuid& target, TransferCompletion completion);
    /// Submits one job and blocks until it ends, never longer than the kind's limit. Throws PrinterError.
    void print(std::shared_ptr<ByteCursor> stream, const QUuid& target);
    /// See LEPrinterLink::disconnect.
    void disconnect();

private:
    /// The way to the link, for as long as that exists.
    struct Access {
        SerialQueue& queue;
        std::weak_ptr<LEPrinterLink> link;

        /// Runs `task` on the queue, if the link still exists then.
        void submit(std::function<void(LEPrinterLink&)> task) const;
    };
    [[nodiscard]] Access access() const;

    const LEPrinterKind& m_kind;
    SerialQueue& m_queue;
    Waiter& m_waiter;
    std::shared_ptr<LEPrinterLink> m_link;
    std::atomic<std::uint64_t> m_lastJob = 0;
};

} // namespace harrowmint
