#include "transports/SerialReceiptSession.h"

#include "transports/BluetoothPort.h"

#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

constexpr std::chrono::seconds transferLimit{50};
constexpr std::chrono::milliseconds packetPause{10};
constexpr int largestPacket = 1024;

constexpr QStringView notPaired = u"Pair this receipt printer in macOS Bluetooth settings first.";
constexpr QStringView queryRefused = u"Cannot discover this printer's Bluetooth serial service.";
constexpr QStringView noSerialPort = u"This paired device does not expose the Bluetooth serial printing service.";
constexpr QStringView cannotConnect =
    u"Cannot connect this Bluetooth receipt printer. Check power and other connected apps.";
constexpr QStringView connectionFailed = u"Bluetooth receipt connection failed.";
constexpr QStringView packetSizeUnsupported = u"Unsupported Bluetooth serial packet size.";
constexpr QStringView writeFailed = u"Bluetooth receipt write failed.";
constexpr QStringView disconnected = u"Bluetooth receipt printer disconnected.";
constexpr QStringView timedOut = u"Bluetooth receipt transfer timed out.";

constexpr QStringView nothingSent = u" No receipt data was sent.";

} // namespace

SerialReceiptSession::SerialReceiptSession(
    SerialQueue& queue, SerialBluetooth& bluetooth, QByteArray bytes, QString port, TransferCompletion callback)
    : m_queue(queue)
    , m_bluetooth(bluetooth)
    , m_bytes(std::move(bytes))
    , m_port(std::move(port))
    , m_callback(std::move(callback))
{
}

SerialReceiptSession::~SerialReceiptSession() = default;

void SerialReceiptSession::start()
{
    Q_ASSERT(m_queue.isCurrent() && m_phase == Phase::created);
    m_phase = Phase::finding;
    m_deadline = m_queue.after(transferLimit, [this] { fail(timedOut); });
    const std::optional<QString> address = BluetoothPort::serialAddress(m_port);
    if (!address) {
        fail(notPaired);
        return;
    }
    m_link = m_bluetooth.makeLink(*this);
    m_link->findDevice(*address);
}

void SerialReceiptSession::deviceFound(bool paired)
{
    if (m_phase != Phase::finding)
        return;
    m_phase = Phase::querying;
    if (!paired)
        fail(notPaired);
    else if (!m_link->startServiceQuery())
        fail(queryRefused);
}

void SerialReceiptSession::sdpQueryComplete(bool succeeded)
{
    if (m_phase != Phase::querying)
        return;
    const int channel = succeeded ? m_link->serialPortChannel().value_or(0) : 0;
    if (channel == 0) {
        fail(noSerialPort);
        return;
    }
    m_phase = Phase::opening;
    if (!m_link->openChannel(channel))
        fail(cannotConnect);
}

void SerialReceiptSession::rfcommChannelOpenComplete(SerialOpenResult result)
{
    if (m_phase != Phase::opening)
        return;
    switch (result) {
    case SerialOpenResult::opened:
        m_phase = Phase::sending;
        return pump();
    case SerialOpenResult::failed:
        return fail(connectionFailed);
    case SerialOpenResult::noService:
        return fail(noSerialPort);
    case SerialOpenResult::unavailable:
        return fail(cannotConnect);
    }
}

void SerialReceiptSession::pump()
{
    if (m_offset == m_bytes.size()) {
        finish(std::nullopt);
        return;
    }
    const qsizetype packet = std::min<qsizetype>({m_bytes.size() - m_offset, m_link->mtu(), largestPacket});
    if (packet < 1) {
        fail(packetSizeUnsupported);
        return;
    }
    const QByteArray bytes = m_bytes.mid(m_offset, packet);
    // Before the write: should it fail, part may have printed.
    m_pending = packet;
    m_offset += packet;
    if (!m_link->write(bytes))
        fail(writeFailed);
}

void SerialReceiptSession::rfcommChannelWriteComplete(bool succeeded)
{
    if (m_phase != Phase::sending || m_pending < 1)
        return;
    m_pending = 0;
    if (!succeeded)
        return fail(writeFailed);
    m_pause = m_queue.after(m_pace.begin(m_queue.now(), packetPause), [this] { afterPause(); });
}

void SerialReceiptSession::afterPause()
{
    pump();
    m_pace.written(m_queue.now());
}

void SerialReceiptSession::rfcommChannelClosed()
{
    if (m_phase == Phase::opening || m_phase == Phase::sending)
        fail(disconnected);
}

void SerialReceiptSession::timeOut()
{
    fail(timedOut);
}

void SerialReceiptSession::fail(QStringView message)
{
    finish(transferError(message, m_offset < 1 ? nothingSent : partMayHavePrinted));
}

void SerialReceiptSession::finish(TransferOutcome outcome)
{
    if (finished())
        return;
    m_phase = Phase::finished;
    m_deadline.cancel();
    m_pause.cancel();
    if (m_link)
        m_link->closeChannel();
    m_pending = 0;
    m_callback(std::move(outcome));
}

} // namespace harrowmint
