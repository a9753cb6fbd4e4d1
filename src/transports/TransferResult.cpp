#include "transports/TransferResult.h"

namespace harrowmint {

PrinterError transferError(QStringView sentence, QStringView outcome)
{
    return PrinterError(sentence.toString().append(outcome));
}

void Signal::raise()
{
    const std::lock_guard guard(m_lock);
    m_raised = true;
    m_changed.notify_all();
}

bool Signal::raised() const
{
    const std::lock_guard guard(m_lock);
    return m_raised;
}

bool Signal::waitFor(SerialQueue::Duration limit)
{
    std::unique_lock guard(m_lock);
    return m_changed.wait_for(guard, limit, [this] { return m_raised; });
}

Waiter& Waiter::sleeping()
{
    class SleepingWaiter final : public Waiter {
        bool wait(Signal& signal, SerialQueue::Duration limit) override { return signal.waitFor(limit); }
    };
    static SleepingWaiter waiter;
    return waiter;
}

void throwUnlessSucceeded(const TransferResult& transfer, const QString& noResult)
{
    const std::optional<TransferOutcome> result = transfer.result();
    if (!result)
        throw PrinterError(noResult);
    if (*result)
        throw PrinterError(**result);
}

} // namespace harrowmint
