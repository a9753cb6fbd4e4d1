#include "transports/ReceiptBLEBackend.h"

#include "base/EscPos.h"
#include "transports/BluetoothPort.h"
#include "transports/ReceiptByteCursor.h"

namespace harrowmint {

namespace {

using namespace std::chrono_literals;

constexpr QStringView choosePrinter = u"Choose your Bluetooth receipt printer in the app.";
constexpr QStringView noSupportedChannel =
    u"This device has no supported ESC/POS Bluetooth LE channel. Pair serial printers in macOS Bluetooth settings "
    u"and choose their paired entry.";

constexpr LEChannel channels[] = {{0x18F0, 0x2AF1}, {0xFFE0, 0xFFE1}, {0xFF00, 0xFF02}};

constexpr LEPrinterKind receipts{
    .channels = channels,
    .preferredWrite = LEWriteType::withResponse,
    .openingPause = std::nullopt,
    .settlePause = 500ms,
    .watchdog = 50s,
    .callerLimit = 52s,
    .names = {.saved = u"Saved receipt printer", .connected = u"Receipt printer"},
    .sentences =
        {
            .busy = u"Receipt printer is busy.",
            .responseTimedOut = u"Receipt response timed out.",
            .noResult = u"No receipt transfer result.",
            .turnOn = u"Turn on Bluetooth and your receipt printer.",
            .servicesUnreadable = u"Cannot read Bluetooth receipt services.",
            .serviceMissing = noSupportedChannel,
            .channelMissing = noSupportedChannel,
            .writeSize = u"Bluetooth receipt write size is unsupported.",
            .invalidStream = u"Invalid receipt stream.",
            .transferFailed = u"Receipt transfer failed.",
            .disconnected = u"Receipt printer disconnected.",
            .connectFailed = u"Cannot connect your receipt printer. Check power and close other apps using it.",
            .tooLong = u"Receipt printer did not finish in time.",
            .nothingSent = u" No receipt data was sent.",
        },
};

QUuid checkedTarget(const QByteArray& data, const QString& port)
{
    const std::optional<QUuid> target = BluetoothPort::leIdentifier(port);
    if (data.isEmpty() || data.size() > escpos::maximumJobBytes || !target)
        throw PrinterError(choosePrinter.toString());
    return *target;
}

std::shared_ptr<ByteCursor> cursorOver(const QByteArray& data)
{
    return std::make_shared<ByteCursorOf<ReceiptByteCursor>>(ReceiptByteCursor(data));
}

} // namespace

const LEPrinterKind& ReceiptBLEBackend::kind()
{
    return receipts;
}

ReceiptBLEBackend::ReceiptBLEBackend(SerialQueue& queue, LECentralFactory factory, Waiter& waiter)
    : m_backend(receipts, queue, std::move(factory), waiter)
{
}

void ReceiptBLEBackend::discover(const std::optional<QString>& selected, DiscoveryCompletion completion)
{
    m_backend.discover(selected, std::move(completion));
}

void ReceiptBLEBackend::print(const QByteArray& data, const QString& port)
{
    const QUuid target = checkedTarget(data, port);
    m_backend.print(cursorOver(data), target);
}

void ReceiptBLEBackend::start(const QByteArray& data, const QString& port, TransferCompletion completion)
{
    const QUuid target = checkedTarget(data, port);
    m_backend.start(cursorOver(data), target, std::move(completion));
}

void ReceiptBLEBackend::disconnect()
{
    m_backend.disconnect();
}

} // namespace harrowmint
