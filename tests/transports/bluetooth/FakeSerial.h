#pragma once

#include "support/VirtualQueue.h"
#include "transports/bluetooth/SerialBluetooth.h"

#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint::test {

/// The requests of a SerialLink, and the list of devices.
enum class SerialRequest { devices, find, query, open, write };

/// The paired devices of a computer on virtual time: one printer that answers at once and correctly, unless `answer`
/// says otherwise. Outlives its links.
class FakeSerial final : public SerialBluetooth {
public:
    explicit FakeSerial(VirtualQueue& queue);

    /// How a request is answered: with success or failure, once for each of `delays` (none: never).
    struct Answer {
        std::vector<SerialQueue::Duration> delays = {SerialQueue::Duration::zero()};
        bool failed = false;
    };
    struct Packet {
        SerialQueue::Duration time;
        QByteArray bytes;
    };

    void pairedDevices(std::function<void(const Devices&)> completion) override;
    [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override;

    /// Where events can be injected: those of the youngest link. Null when it has gone.
    [[nodiscard]] SerialLinkEvents* events() const { return m_events; }
    /// Closes the channel from the printer's side, and reports it soon.
    void closeByPrinter();
    /// Reports after `delay` to the link's owner, if the link still exists.
    void report(SerialQueue::Duration delay, std::function<void(SerialLinkEvents&)> event);
    /// Drops every report that is due later.
    void forgetReports() { m_pending.clear(); }
    void answerLate(SerialRequest late, std::vector<SerialQueue::Duration> delays);
    [[nodiscard]] QByteArray received() const;
    [[nodiscard]] std::vector<int> packetSizes() const;

    std::function<Answer(SerialRequest)> answer = [](SerialRequest) { return Answer{}; };
    /// Called when the printer has got a packet.
    std::function<void()> written = [] {};
    Devices devices;
    bool queryRefused = false;
    bool openRefused = false;
    bool writeRefused = false;
    std::optional<int> channel = 1;
    SerialOpenResult openFailure = SerialOpenResult::failed;
    int mtu = 1021;
    /// What was asked, in order: "find AA-BB-…", "query", "open 1", "close".
    QStringList log;
    std::vector<Packet> packets;
    bool open = false;
    int links = 0; ///< that exist
    /// Whether answers are reported though the channel was closed meanwhile.
    bool reportsLateAnswers = false;
    /// Whether a write that cannot be carried out is lost in silence instead of being a defect.
    bool losesWrites = false;

private:
    class Link;
    friend class Link;
    void answerTo(SerialRequest request, const std::function<void(SerialLinkEvents&, bool failed)>& event);

    VirtualQueue& m_queue;
    SerialLinkEvents* m_events = nullptr;
    std::shared_ptr<int> m_life;
    std::vector<std::shared_ptr<Timer>> m_pending;
    std::vector<std::function<void(const Devices&)>> m_unanswered;
};

} // namespace harrowmint::test
