#include "transports/linux/usb-backend/PrintJob.h"

#include "transports/linux/usb-backend/Messages.h"

#include <cassert>
#include <exception>
#include <string>
#include <utility>

namespace harrowmint::usb {

namespace {

// Port status, Universal Serial Bus Device Class Definition for Printing Devices 1.1, 4.2.2.
constexpr unsigned paperEmpty = 0x20;
constexpr unsigned notError = 0x08;
constexpr int badLooksThatCount = 2;

std::string openFailure(UsbResult result, const std::string& node)
{
    switch (result) {
    case UsbResult::NoPermission:
        return messages::noPermission(node);
    case UsbResult::Absent:
        return std::string(messages::absent);
    case UsbResult::Busy:
        return std::string(messages::busy);
    case UsbResult::NoPrinter:
        return std::string(messages::noPrinter);
    case UsbResult::Done:
    case UsbResult::Failed:
        break;
    }
    return messages::cannotOpen(node);
}

std::string_view sendFailure(UsbResult result)
{
    return result == UsbResult::Absent ? messages::unplugged : messages::broken;
}

std::string_view endFailure(TransferEnd end)
{
    switch (end) {
    case TransferEnd::Stalled:
        return messages::stalled;
    case TransferEnd::Unplugged:
        return messages::unplugged;
    case TransferEnd::Accepted:
    case TransferEnd::Cancelled:
    case TransferEnd::Failed:
        break;
    }
    return messages::broken;
}

} // namespace

PrintJob::PrintJob(UsbDevice& device, Say say)
    : m_device(device)
    , m_say(std::move(say))
    , m_status(failed)
{
}

void PrintJob::start(const PrinterLocation& printer)
{
    assert(m_phase == Phase::Idle);
    const UsbResult result = take(printer);
    if (result == UsbResult::Done) {
        m_phase = Phase::Sending;
    } else {
        m_say(openFailure(result, printer.node()));
        m_phase = Phase::Over;
    }
}

UsbResult PrintJob::take(const PrinterLocation& printer)
{
    if (const UsbResult opened = m_device.open(printer); opened != UsbResult::Done)
        return opened;
    if (m_device.hasKernelDriver()) {
        if (const UsbResult detached = m_device.detachKernelDriver(); detached != UsbResult::Done)
            return detached;
        m_detached = true;
    }
    if (const UsbResult claimed = m_device.claim(); claimed != UsbResult::Done)
        return claimed;
    m_claimed = true;
    return m_device.chooseSetting();
}

std::span<std::byte> PrintJob::room()
{
    if (m_phase != Phase::Sending || m_ended)
        return {};
    return std::span(filling().bytes).subspan(filling().count);
}

void PrintJob::jobArrived(std::size_t count, Time now)
{
    assert(count <= room().size());
    m_now = now;
    filling().count += count;
    if (!m_inFlight)
        sendNext();
}

void PrintJob::jobEnded()
{
    if (m_phase != Phase::Sending)
        return;
    m_ended = true;
    if (!m_inFlight)
        succeed();
}

void PrintJob::jobUnreadable()
{
    if (m_phase == Phase::Sending)
        fail(messages::cannotReadJob);
}

/// Nothing is in flight; what waits in the piece being filled goes out.
void PrintJob::sendNext()
{
    if (filling().count == 0) {
        if (m_ended)
            succeed();
        return;
    }
    m_sending = 1 - m_sending;
    filling().count = 0;
    const Piece& piece = m_pieces.at(m_sending);
    send(std::span(piece.bytes).first(piece.count));
}

void PrintJob::send(std::span<const std::byte> bytes)
{
    m_sent = bytes;
    const UsbResult result = m_device.send(bytes);
    if (result != UsbResult::Done) {
        fail(sendFailure(result));
        return;
    }
    m_inFlight = true;
    m_nextLook = m_now + patience;
    m_badLooks = 0;
    m_toldQuiet = false;
}

void PrintJob::dataEnded(TransferEnd end, std::size_t accepted)
{
    m_inFlight = false;
    m_stalled = m_stalled || end == TransferEnd::Stalled;
    m_accepted += accepted;
    if (end == TransferEnd::Accepted && accepted < m_sent.size())
        end = TransferEnd::Failed; // the rest is lost: nobody knows where
    if (m_phase == Phase::Cancelling) {
        // The printer may have taken the last byte just before.
        const bool isWhole =
            end == TransferEnd::Accepted || (end == TransferEnd::Cancelled && accepted == m_sent.size());
        if (m_ended && filling().count == 0 && isWhole)
            succeed();
        else
            conclude(m_reason);
    } else if (m_phase != Phase::Over) {
        goOn(end, accepted);
    }
}

/// Goes on with the job, or ends it, after a transfer that nobody has given up.
void PrintJob::goOn(TransferEnd end, std::size_t accepted)
{
    const bool isCounted = std::exchange(m_phase, Phase::Sending) == Phase::Counting && end == TransferEnd::Cancelled;
    if (isCounted && accepted == 0)
        conclude(m_reason);
    else if (isCounted && accepted < m_sent.size())
        send(m_sent.subspan(accepted)); // it takes data, if slowly
    else if (isCounted || end == TransferEnd::Accepted)
        sendNext();
    else
        conclude(endFailure(end));
}

void PrintJob::askStatus()
{
    if (!m_toldQuiet)
        m_say(messages::takesNoData);
    m_toldQuiet = true;
    m_asking = m_device.askStatus() == UsbResult::Done;
    m_nextLook = m_now + secondLook;
}

void PrintJob::statusEnded(std::optional<std::uint8_t> status)
{
    m_asking = false;
    if (m_phase != Phase::Sending || !m_inFlight || !m_toldQuiet)
        return; // it took data meanwhile
    if (status)
        judge(*status);
    else
        m_badLooks = 0;
}

void PrintJob::judge(std::uint8_t status)
{
    const bool isPaperOut = (status & paperEmpty) != 0;
    const bool isBad = isPaperOut || (status & notError) == 0;
    m_badLooks = isBad ? m_badLooks + 1 : 0;
    if (m_badLooks >= badLooksThatCount)
        cancel(Phase::Counting, isPaperOut ? messages::paperOut : messages::portError);
}

void PrintJob::stop(Time now)
{
    m_now = now;
    if (m_phase == Phase::Idle || m_phase == Phase::Sending || m_phase == Phase::Counting)
        fail(messages::stopped);
}

void PrintJob::breakOff(std::string_view why)
{
    if (isOver())
        return;
    const std::string reason = std::string(messages::cannotWork).append(why);
    conclude(m_inFlight ? messages::uncounted(reason) : reason);
}

/// Ends the job for `reason`, at once or when the transfer in flight has been counted.
void PrintJob::fail(std::string_view reason)
{
    if (!m_inFlight) {
        conclude(reason);
        return;
    }
    cancel(Phase::Cancelling, reason);
}

/// Has the transfer in flight end and be counted in `phase`; `reason` is why.
void PrintJob::cancel(Phase phase, std::string_view reason)
{
    const bool isCancelled = m_phase == Phase::Counting;
    m_phase = phase;
    m_reason = reason;
    if (isCancelled)
        return;
    m_cancelDeadline = m_now + cancelling;
    m_device.cancelData();
}

void PrintJob::conclude(std::string_view reason)
{
    m_phase = Phase::Over;
    if (m_claimed)
        m_say(messages::sent(m_accepted));
    m_say(reason);
}

void PrintJob::succeed()
{
    m_phase = Phase::Over;
    m_status = succeeded;
    m_say(messages::sent(m_accepted));
    m_say(messages::waiting);
}

std::optional<PrintJob::Time> PrintJob::deadline() const
{
    if (m_phase == Phase::Counting || m_phase == Phase::Cancelling)
        return m_cancelDeadline;
    if (m_phase == Phase::Sending && m_inFlight && !m_asking)
        return m_nextLook;
    return std::nullopt;
}

void PrintJob::passTime(Time now)
{
    m_now = now;
    const std::optional<Time> due = deadline();
    if (!due || now < *due)
        return;
    if (m_phase == Phase::Sending)
        askStatus();
    else
        conclude(messages::uncounted(m_reason));
}

void PrintJob::giveBack()
{
    assert(isOver());
    if (m_stalled)
        m_device.clearStall();
    if (m_claimed)
        m_device.release();
    // The job before may still have been about to do so when this one took the device.
    if (m_claimed || m_detached)
        m_device.attachKernelDriver();
    m_stalled = m_claimed = m_detached = false;
}

void serve(PrintJob& job, const std::function<void()>& work)
{
    try {
        work();
    } catch (const std::exception& error) {
        job.breakOff(error.what());
    }
}

} // namespace harrowmint::usb
