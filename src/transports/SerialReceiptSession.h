#pragma once

#include "base/SerialQueue.h"
#include "transports/Pace.h"
#include "transports/TransferResult.h"
#include "transports/bluetooth/SerialBluetooth.h"

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

namespace harrowmint {

/// One receipt on its way to one paired serial printer: finds the device, asks for its Serial Port service, opens the
/// channel, writes packet after packet, closes the channel. Used for one job. Lives on `queue` alone, where it is also
/// destroyed, but never within one of its own events; `callback` must not destroy it.
class SerialReceiptSession final : private SerialLinkEvents {
public:
    /// `bytes` and `port` ("spp:" and 12 upper-case hexadecimal digits) have been checked; `callback` gets the outcome.
    SerialReceiptSession(
        SerialQueue& queue, SerialBluetooth& bluetooth, QByteArray bytes, QString port, TransferCompletion callback);
    ~SerialReceiptSession() override;

    /// Begins. The callback follows within 50 s, perhaps within this call.
    void start();
    /// Ends the transfer as its own deadline would, because its caller has given up.
    void timeOut();
    /// Whether the transfer has ended.
    [[nodiscard]] bool finished() const { return m_phase == Phase::finished; }

private:
    enum class Phase { created, finding, querying, opening, sending, finished };

    void deviceFound(bool paired) override;
    void sdpQueryComplete(bool succeeded) override;
    void rfcommChannelOpenComplete(SerialOpenResult result) override;
    void rfcommChannelWriteComplete(bool succeeded) override;
    void rfcommChannelClosed() override;

    void pump();
    void afterPause();
    void fail(QStringView message);
    void finish(TransferOutcome outcome);

    SerialQueue& m_queue;
    SerialBluetooth& m_bluetooth;
    QByteArray m_bytes;
    QString m_port;
    TransferCompletion m_callback;

    Phase m_phase = Phase::created;
    std::unique_ptr<SerialLink> m_link;
    qsizetype m_offset = 0; ///< bytes handed to the channel
    qsizetype m_pending = 0; ///< bytes of the write in flight
    Timer m_deadline;
    Timer m_pause;
    Pace m_pace;
};

} // namespace harrowmint
