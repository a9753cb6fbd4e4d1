#include "transports/LabelBackend.h"

#include "transports/BluetoothPort.h"

namespace harrowmint {

namespace {

using namespace std::chrono_literals;

constexpr QStringView choosePrinter = u"Choose your Bluetooth label printer in the app.";
constexpr QStringView noSupportedService =
    u"This label printer does not expose the supported Bluetooth printing service.";

constexpr LEChannel channels[] = {{0xFF00, 0xFF02}};

constexpr LEPrinterKind labels{
    .channels = channels,
    .preferredWrite = LEWriteType::withoutResponse,
    .openingPause = 40ms,
    .settlePause = 4000ms, // the printer feeds the label
    .watchdog = 30s,
    .callerLimit = 32s,
    .names = {.saved = u"Saved label printer", .connected = u"Label printer"},
    .sentences =
        {
            .busy = u"Label printer is busy.",
            .responseTimedOut = u"Label response timed out.",
            .noResult = u"No label transfer result.",
            .turnOn = u"Turn on Bluetooth and your label printer.",
            .servicesUnreadable = noSupportedService,
            .serviceMissing = noSupportedService,
            .channelMissing = u"This label printer has no supported Bluetooth write channel.",
            .writeSize = u"Bluetooth label write size is unsupported.",
            .invalidStream = u"Invalid label stream.",
            .transferFailed = u"Label transfer failed.",
            .disconnected = u"Label printer disconnected.",
            .connectFailed = u"Cannot connect your label printer. Check power and close other apps using it.",
            .tooLong = u"Label printer did not finish in time.",
            .nothingSent = u" No label data was sent.",
        },
};

QUuid checkedTarget(const QString& port)
{
    const std::optional<QUuid> target = BluetoothPort::leIdentifier(port);
    if (!target)
        throw PrinterError(choosePrinter.toString());
    return *target;
}

std::shared_ptr<ByteCursor> cursorOver(const LabelDocument& document)
{
    return std::make_shared<ByteCursorOf<LabelStreamCursor>>(LabelStreamCursor(document));
}

} // namespace

const LEPrinterKind& LabelBackend::kind()
{
    return labels;
}

LabelBackend::LabelBackend(SerialQueue& queue, LECentralFactory factory, Waiter& waiter)
    : m_backend(labels, queue, std::move(factory), waiter)
{
}

void LabelBackend::discover(const std::optional<QString>& selected, DiscoveryCompletion completion)
{
    m_backend.discover(selected, std::move(completion));
}

void LabelBackend::print(const LabelDocument& document, const QString& port)
{
    const QUuid target = checkedTarget(port);
    m_backend.print(cursorOver(document), target);
}

void LabelBackend::start(const LabelDocument& document, const QString& port, TransferCompletion completion)
{
    const QUuid target = checkedTarget(port);
    m_backend.start(cursorOver(document), target, std::move(completion));
}

void LabelBackend::disconnect()
{
    m_backend.disconnect();
}

} // namespace harrowmint
