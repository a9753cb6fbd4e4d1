#pragma once

#include "support/VirtualQueue.h"
#include "transports/bluetooth/LECentral.h"

#include <QStringList>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace harrowmint::test {

/// One write as the printer got it.
struct FakeWrite {
    SerialQueue::Duration time; ///< on the virtual clock
    QByteArray bytes;
    LEWriteType type;
    LEChannel channel;
};

/// A printer of the fake LE world.
struct FakePeripheral {
    QUuid identifier;
    QString name = QStringLiteral("Till 1");
    QString advertisedName;
    bool known = true; ///< the system could connect without a scan
    bool advertising = false; ///< a scan sees it
    std::map<GattUuid, std::vector<LECharacteristic>> services;
    int maximumWithResponse = 512;
    int maximumWithoutResponse = 182;

    LEPeripheralState state = LEPeripheralState::disconnected;
    std::optional<LEChannel> open; ///< the channel that is open
    std::vector<FakeWrite> writes;

    [[nodiscard]] QByteArray received() const;
    [[nodiscard]] std::vector<int> chunkSizes() const;
};

/// How one request is answered: by `failed` or success, once for each of `delays` (none: never).
struct FakeAnswer {
    std::vector<SerialQueue::Duration> delays = {SerialQueue::Duration::zero()};
    bool failed = false;
};

/// The requests that are answered.
enum class LERequest { report, scan, connect, cancel, services, characteristic, open, write };

/// The LE system of a computer on virtual time: printers that answer at once and correctly, unless `answer` says
/// otherwise. Outlives the centrals that its factory makes.
class FakeLE {
public:
    explicit FakeLE(VirtualQueue& queue);

    [[nodiscard]] LECentralFactory factory();
    [[nodiscard]] bool congested() const { return m_congested; }
    [[nodiscard]] bool hasCentral() const { return m_events != nullptr; }
    /// Where events can be injected.
    [[nodiscard]] LECentralEvents& events() { return *m_events; }

    /// Adds a printer with the receipt channel 18F0/2AF1, writable both ways.
    FakePeripheral& addPrinter(int number = 1);
    [[nodiscard]] FakePeripheral& printer(const QUuid& identifier);
    [[nodiscard]] FakePeripheral& printer(int number = 1);
    [[nodiscard]] static QUuid identifier(int number = 1);

    /// Changes the state, takes the links down and reports it soon.
    void setState(LECentralState state);
    /// Ends a link from the printer's side and reports it.
    void dropLink(const QUuid& identifier);
    /// Turns "cannot send now" on or off, and reports the end of it.
    void setCongested(bool congested);
    /// Reports to the central's owner after `delay`, if the central still exists.
    void report(SerialQueue::Duration delay, std::function<void(LECentralEvents&)> event);

    /// Drops every report that is due later.
    void forgetReports() { m_pending.clear(); }
    /// Makes every printer offer one type of write only.
    void offerOnly(LEWriteType type);
    /// Lets every request be answered at once, but those of one kind after `delays` (none: never).
    void answerLate(LERequest late, std::vector<SerialQueue::Duration> delays);

    /// Decides how a request is answered.
    std::function<FakeAnswer(LERequest)> answer = [](LERequest) { return FakeAnswer{}; };
    /// Called when a printer has got a write.
    std::function<void(FakePeripheral&)> written = [](FakePeripheral&) {};
    /// What was asked of the central, in order: "connect", "services", "open", …
    QStringList log;
    LECentralState state = LECentralState::poweredOn;
    /// The state in which a new central begins; `state` is reported to it soon.
    std::optional<LECentralState> firstState;
    bool scanning = false;
    std::list<FakePeripheral> printers;
    /// Whether answers that come too late (the link has changed meanwhile) are reported all the same.
    bool reportsLateAnswers = false;
    /// Whether a write that cannot be carried out is lost in silence instead of being a defect.
    bool losesWrites = false;

private:
    class Central;
    friend class Central;

    using Event = std::function<void(LECentralEvents&, bool failed)>;
    void answerTo(LERequest request, const QString& entry, const Event& event);
    void answerOnLink(LERequest request, const QUuid& identifier, const QString& entry, const Event& event);
    void sight(const FakePeripheral& peripheral);

    VirtualQueue& m_queue;
    LECentralEvents* m_events = nullptr;
    std::shared_ptr<int> m_life; ///< dies with the central
    LECentralState m_reportedState = LECentralState::unknown;
    bool m_congested = false;
    std::vector<std::shared_ptr<Timer>> m_pending;
};

} // namespace harrowmint::test
