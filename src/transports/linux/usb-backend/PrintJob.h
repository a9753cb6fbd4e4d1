#pragma once

#include "transports/linux/usb-backend/UsbDevice.h"

#include <array>
#include <chrono>
#include <functional>
#include <string_view>

namespace harrowmint::usb {

/// Sends one job to one printer: from opening the device to the last word about it. Time comes in as an argument, bytes
/// from whoever reads the job. At most two pieces of the job are held at once. One thread.
class PrintJob final : private TransferListener {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Say = std::function<void(std::string_view line)>;

    static constexpr std::size_t pieceBytes = 16384;
    /// How long the printer takes no data until its port status is asked for, and how long until it is asked again.
    /// After two bad answers running the transfer is cancelled, so that its bytes are counted: only when the printer
    /// has taken none of them does the job end, otherwise the rest is sent and all this begins anew.
    static constexpr std::chrono::milliseconds patience{1000};
    static constexpr std::chrono::milliseconds secondLook{500};
    /// How long a cancelled transfer is waited for, so that its bytes are counted.
    static constexpr std::chrono::milliseconds cancelling{100};

    /// `say` gets each line, without its line feed. Both outlive the job.
    PrintJob(UsbDevice& device, Say say);

    /// Opens and claims the printer; when that fails the job is over. Call once, first.
    void start(const PrinterLocation& printer);
    /// What to tell the device's listener of ended transfers.
    [[nodiscard]] TransferListener& listener() { return *this; }

    /// Where the next bytes of the job go; empty while there is no room, and when none are wanted any more.
    [[nodiscard]] std::span<std::byte> room();
    /// `count` bytes have been put there.
    void jobArrived(std::size_t count, Time now);
    /// There are no more.
    void jobEnded();
    void jobUnreadable();

    /// Ends the job as soon as its bytes are counted, unless the printer already has all of it.
    void stop(Time now);
    /// Ends the job at once, its transfer uncounted, because the program cannot go on: `why`. Nothing when it is over.
    void breakOff(std::string_view why);
    /// The next time at which `passTime` has something to do.
    [[nodiscard]] std::optional<Time> deadline() const;
    /// After each wait: first the time, then what the device tells, then what is due.
    void setTime(Time now) { m_now = now; }
    void passTime(Time now);

    /// Whether the last word has been said.
    [[nodiscard]] bool isOver() const { return m_phase == Phase::Over; }
    /// The program's exit status. When it is over.
    [[nodiscard]] int status() const { return m_status; }
    /// Gives the device back to the kernel's driver, as far as it was taken; a driver that another program had left
    /// detached gets it too. When it is over; waits for the device.
    void giveBack();

private:
    enum class Phase { Idle, Sending, Counting, Cancelling, Over };

    struct Piece {
        std::array<std::byte, pieceBytes> bytes;
        std::size_t count = 0;
    };

    void dataEnded(TransferEnd end, std::size_t accepted) override;
    void statusEnded(std::optional<std::uint8_t> status) override;

    [[nodiscard]] UsbResult take(const PrinterLocation& printer);
    void sendNext();
    void send(std::span<const std::byte> bytes);
    void goOn(TransferEnd end, std::size_t accepted);
    void cancel(Phase phase, std::string_view reason);
    void judge(std::uint8_t status);
    void askStatus();
    void fail(std::string_view reason);
    void conclude(std::string_view reason);
    void succeed();
    [[nodiscard]] Piece& filling() { return m_pieces.at(m_sending == 0 ? 1 : 0); }

    UsbDevice& m_device;
    Say m_say;
    Phase m_phase = Phase::Idle;
    bool m_detached = false; ///< the kernel's driver, by this job
    bool m_claimed = false;
    bool m_stalled = false;
    int m_status;
    std::array<Piece, 2> m_pieces{};
    std::span<const std::byte> m_sent; ///< what is in flight
    std::size_t m_sending = 0; ///< the piece that is being sent, while `m_inFlight`; the other one is filled
    bool m_inFlight = false;
    bool m_ended = false; ///< the job's end has been read
    std::size_t m_accepted = 0;
    Time m_now;
    Time m_nextLook; ///< while in flight: when to ask for the status
    bool m_asking = false;
    int m_badLooks = 0;
    bool m_toldQuiet = false;
    Time m_cancelDeadline;
    std::string_view m_reason; ///< why it is being cancelled; a constant
};

/// Runs `work`, which starts and serves `job`; a job that it leaves by an exception is broken off, so that its device
/// can be given back.
void serve(PrintJob& job, const std::function<void()>& work);

} // namespace harrowmint::usb
