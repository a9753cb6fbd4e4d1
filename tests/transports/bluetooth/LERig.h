#pragma once

#include "FakeLE.h"
#include "documents/LabelDocument.h"
#include "support/VirtualWaiter.h"
#include "transports/LabelBackend.h"
#include "transports/ReceiptBLEBackend.h"

#include <optional>

namespace harrowmint::test {

/// How a job ended.
struct Ended {
    QString message; ///< empty: success
    SerialQueue::Duration time; ///< on the virtual clock

    [[nodiscard]] bool succeeded() const { return message.isEmpty(); }
};

/// `bytes` bytes that are all different from their neighbours.
[[nodiscard]] QByteArray jobBytes(int bytes);
/// A label of `width` × `height` dots and its stream.
[[nodiscard]] LabelDocument label(int width, int height);
[[nodiscard]] QString portOf(int printer);

/// A transport for receipts or labels over the fake LE world, behind one face, so that what both share is tested once.
class LERig {
public:
    enum class Kind { receipts, labels };

    explicit LERig(Kind kind);
    LERig(const LERig&) = delete;
    LERig& operator=(const LERig&) = delete;
    ~LERig();

    /// Starts a small job (500 bytes as a receipt, 48 × 40 dots as a label); the result is set when it ends.
    std::shared_ptr<std::optional<Ended>> start(int printer = 1);
    std::shared_ptr<std::optional<Ended>> start(const QByteArray& receipt, int printer = 1);
    std::shared_ptr<std::optional<Ended>> start(const LabelDocument& document, int printer = 1);
    /// Starts a job and runs the clock until it has ended.
    Ended run(int printer = 1);
    /// The stream of the job that `start` sends.
    [[nodiscard]] QByteArray stream() const;
    /// The blocking call; the message of what it throws, or nothing.
    QString print(const QString& port);

    void discover(const std::optional<QString>& selected = std::nullopt);
    void disconnect();
    /// Ends the transport as its owner's end would.
    void destroy();

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    FakeLE world{queue};
    /// What the last finished discovery found, and when.
    std::optional<std::vector<USBPrinter>> found;
    SerialQueue::Duration foundAt{};
    int discoveries = 0;

private:
    Kind m_kind;
    VirtualWaiter m_waiter{*clock};
    std::unique_ptr<ReceiptBLEBackend> m_receipts;
    std::unique_ptr<LabelBackend> m_labels;
};

} // namespace harrowmint::test
