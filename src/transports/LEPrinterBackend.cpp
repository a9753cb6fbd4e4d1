#include "transports/LEPrinterBackend.h"

#include <utility>

namespace harrowmint {

LEPrinterBackend::LEPrinterBackend(
    const LEPrinterKind& kind, SerialQueue& queue, LECentralFactory factory, Waiter& waiter)
    : m_kind(kind)
    , m_queue(queue)
    , m_waiter(waiter)
    , m_link(std::make_shared<LEPrinterLink>(queue, std::move(factory), kind))
{
}

LEPrinterBackend::~LEPrinterBackend()
{
    // The link and its timers must die on their queue.
    m_queue.async([link = std::exchange(m_link, {})] {});
}

LEPrinterBackend::Access LEPrinterBackend::access() const
{
    return {m_queue, m_link};
}

void LEPrinterBackend::Access::submit(std::function<void(LEPrinterLink&)> task) const
{
    queue.async([link = link, task = std::move(task)] {
        if (const auto existing = link.lock())
            task(*existing);
    });
}

void LEPrinterBackend::discover(const std::optional<QString>& selected, DiscoveryCompletion completion)
{
    access().submit(
        [selected, completion = std::move(completion)](LEPrinterLink& link) { link.discover(selected, completion); });
}

std::uint64_t LEPrinterBackend::start(
    std::shared_ptr<ByteCursor> stream, const QUuid& target, TransferCompletion completion)
{
    const std::uint64_t number = ++m_lastJob;
    access().submit([job = LEJob{number, target, std::move(stream), std::move(completion)}](
                        LEPrinterLink& link) { link.start(job); });
    return number;
}

void LEPrinterBackend::print(std::shared_ptr<ByteCursor> stream, const QUuid& target)
{
    const auto transfer = std::make_shared<TransferResult>();
    const std::uint64_t number = start(std::move(stream), target, TransferResult::completion(transfer));
    // From here on this object may die.
    const LEPrinterKind& kind = m_kind;
    const Access access = this->access();
    if (!m_waiter.wait(transfer->signal(), kind.callerLimit)) {
        access.submit([number](LEPrinterLink& link) { link.timeOut(number); });
        throw transferError(kind.sentences.responseTimedOut, partMayHavePrinted);
    }
    throwUnlessSucceeded(*transfer, kind.sentences.noResult.toString());
}

void LEPrinterBackend::disconnect()
{
    access().submit([](LEPrinterLink& link) { link.disconnect(); });
}

} // namespace harrowmint
