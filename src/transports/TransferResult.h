#pragma once

#include "base/OneShot.h"
#include "base/PrinterError.h"
#include "base/SerialQueue.h"

#include <QStringView>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace harrowmint {

/// How a transfer ended: nothing on success, else the sentence to show.
using TransferOutcome = std::optional<PrinterError>;
/// Stands behind the sentence of a failure, once any byte may have reached the printer.
inline constexpr QStringView partMayHavePrinted = u" Check the paper before retrying; part may have printed.";
/// A failure's sentence with its outcome behind it.
[[nodiscard]] PrinterError transferError(QStringView sentence, QStringView outcome);
/// Receives the outcome of one transfer, once.
using TransferCompletion = OneShot<TransferOutcome>;

/// Something that one thread waits for and another raises, once. Any thread.
class Signal {
public:
    /// Wakes the waiting thread, and every later wait returns at once.
    void raise();
    [[nodiscard]] bool raised() const;
    /// Blocks until the signal is raised or `limit` has passed; returns whether it is raised.
    [[nodiscard]] bool waitFor(SerialQueue::Duration limit);

private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_raised = false;
};

/// How a blocking operation waits for a queue: the agent's threads sleep; a test on virtual time runs its clock.
class Waiter {
public:
    Waiter() = default;
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    virtual ~Waiter() = default;

    /// Returns when `signal` is raised or `limit` has passed; whether it is raised. On any thread but the one that
    /// raises it.
    [[nodiscard]] virtual bool wait(Signal& signal, SerialQueue::Duration limit) = 0;

    /// The one that sleeps; it has no state and is shared by the whole process.
    [[nodiscard]] static Waiter& sleeping();
};

/// What a blocked caller and a queue share: at most one result, under a lock, and the signal that there is one or that
/// none will come. Held by both sides through `std::shared_ptr`.
template <class Result>
class SharedResult {
public:
    /// The queue's side: keeps the first result and wakes the caller. When its last copy dies unanswered, the caller
    /// wakes and finds nothing.
    [[nodiscard]] static OneShot<Result> completion(const std::shared_ptr<SharedResult>& shared)
    {
        return OneShot<Result>(
            [shared](Result result) { shared->store(std::move(result)); }, [shared] { shared->m_signal.raise(); });
    }

    [[nodiscard]] Signal& signal() { return m_signal; }
    /// The result, if one was stored.
    [[nodiscard]] std::optional<Result> result() const
    {
        const std::lock_guard guard(m_lock);
        return m_result;
    }

private:
    void store(Result result)
    {
        {
            const std::lock_guard guard(m_lock);
            m_result = std::move(result);
        }
        m_signal.raise();
    }

    mutable std::mutex m_lock;
    std::optional<Result> m_result;
    Signal m_signal;
};

using TransferResult = SharedResult<TransferOutcome>;

/// Ends a blocking transfer: returns on success, throws its error, or PrinterError(`noResult`) when nothing was stored.
void throwUnlessSucceeded(const TransferResult& transfer, const QString& noResult);

} // namespace harrowmint
