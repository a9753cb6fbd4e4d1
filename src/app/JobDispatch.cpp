#include "app/JobDispatch.h"

#include "base/PrinterError.h"
#include "render/RasterReceipt.h"

namespace harrowmint {

namespace {

const auto busyText = QStringLiteral("Printer is busy. Wait for the current receipt to finish.");
const auto guardMissingText =
    QStringLiteral("Local print protection could not be loaded. Reopen the app after checking its settings.");
const auto noLabelPrinterText = QStringLiteral("Select a Bluetooth label printer in Harrowmint Printer.");
const auto noReceiptPrinterText =
    QStringLiteral("Select a printer for the active receipt connection in Harrowmint Printer.");
const auto slowText = QStringLiteral("Transfer is taking longer than expected. Check the printer app and paper before "
                                     "retrying; it may have printed.");
const auto noticeNotSavedText =
    QStringLiteral("Receipt was sent but its local confirmation could not be saved. Check the paper before retrying.");
const auto resultNotSavedText =
    QStringLiteral("The job was sent but its local confirmation could not be saved. Check the paper before retrying.");
const auto usbTransferredText = QStringLiteral("Receipt data sent to USB printer.");
const auto usbCleanupText = QStringLiteral("Sent to USB printer. Finishing connection cleanup…");

/// What differs between the kinds of job for the person who waits.
struct KindTexts {
    QString sending;
    QString sent;
    std::chrono::seconds answerTime;
};

KindTexts textsOf(PrinterJob::Route route)
{
    switch (route) {
    case PrinterJob::Route::Label:
        return {QStringLiteral("Sending label to Bluetooth printer…"),
            QStringLiteral("Label sent to Bluetooth printer. Please check the paper."), JobDispatch::labelAnswerTime};
    case PrinterJob::Route::ReceiptBLE:
    case PrinterJob::Route::ReceiptSerial:
        return {QStringLiteral("Sending receipt to Bluetooth printer…"),
            QStringLiteral("Receipt sent to Bluetooth printer. Please check the paper."),
            JobDispatch::bluetoothAnswerTime};
    case PrinterJob::Route::USB:
        break;
    }
    return {QStringLiteral("Sending receipt to USB printer…"),
        QStringLiteral("Sent to USB printer. Please check the paper."), JobDispatch::usbAnswerTime};
}

PrinterJob labelJob(const LabelDocument& label, const PrinterSettings& settings)
{
    const QString port = settings.labelPrinterURI.value_or(QString());
    if (port.isEmpty())
        throw PrinterError(noLabelPrinterText);
    return {PrinterJob::Route::Label, port, {}, label};
}

PrinterJob receiptJob(const Receipt& receipt, const PrinterSettings& settings)
{
    const QString port = settings.activeReceiptURI();
    if (port.isEmpty())
        throw PrinterError(noReceiptPrinterText);
    auto route = PrinterJob::Route::USB;
    if (settings.usesBluetoothReceipt()) {
        const bool isLowEnergy = port.startsWith(QLatin1String("ble:"));
        route = isLowEnergy ? PrinterJob::Route::ReceiptBLE : PrinterJob::Route::ReceiptSerial;
    }
    const auto raster = RasterReceipt::render(receipt, static_cast<int>(settings.paperWidth));
    return {route, port, raster.bytes(), {}};
}

PrinterJob printerJob(const Receipt& receipt, const PrinterSettings& settings)
{
    return receipt.labelDocument ? labelJob(*receipt.labelDocument, settings) : receiptJob(receipt, settings);
}

} // namespace

JobDispatch::JobDispatch(SerialQueue& main, JobRunner& runner, JobPresentation& presentation, PrintGuard* receiptGuard,
    PrintGuard* labelGuard)
    : m_main(main)
    , m_runner(runner)
    , m_presentation(presentation)
    , m_receiptGuard(receiptGuard)
    , m_labelGuard(labelGuard)
    , m_self(std::make_shared<JobDispatch*>(this))
{
}

JobDispatch::~JobDispatch() = default;

void JobDispatch::send(
    const Receipt& receipt, const PrinterSettings& settings, const QString& origin, const Answer& answer)
{
    Q_ASSERT(m_main.isCurrent());
    try {
        if (busy())
            throw PrinterError(busyText);
        PrintGuard& guard = guardFor(receipt);
        PrinterJob toPrint = printerJob(receipt, settings);
        const QString key = receipt.jobKey(origin);
        guard.reserve(key, m_main.date(), receipt.requestScoped());
        const PrinterJob::Route route = toPrint.route;
        start(std::move(toPrint), {++m_lastNumber, route, key, guard, answer, {}});
    } catch (const std::exception& error) {
        answer(false, errorText(error));
    }
}

PrintGuard& JobDispatch::guardFor(const Receipt& receipt) const
{
    PrintGuard* const guard = receipt.labelDocument ? m_labelGuard : m_receiptGuard;
    if (!guard)
        throw PrinterError(guardMissingText);
    return *guard;
}

void JobDispatch::start(PrinterJob printerJob, Job job)
{
    const KindTexts texts = textsOf(job.route);
    const std::uint64_t number = job.number;
    job.answerTimer = m_main.after(texts.answerTime, [answer = job.answer] { answer(false, slowText); });
    m_job.emplace(std::move(job));
    m_presentation.showBusy(true);
    m_presentation.showActivity(texts.sending);
    const std::weak_ptr<JobDispatch*> self = m_self;
    // The transport calls back from its own thread: only the hop to the main queue may look at the dispatch.
    const auto onMain = [&main = m_main, self, number](std::function<void(JobDispatch&)> event) {
        main.async([self, number, event = std::move(event)] {
            const auto alive = self.lock();
            if (alive && (*alive)->m_job && (*alive)->m_job->number == number)
                event(**alive);
        });
    };
    try {
        m_runner.run(
            std::move(printerJob), [onMain] { onMain([](JobDispatch& dispatch) { dispatch.transferred(); }); },
            [onMain](const std::optional<QString>& failure) {
                onMain([failure](JobDispatch& dispatch) { dispatch.finished(failure); });
            });
    } catch (const std::exception& error) {
        finished(errorText(error)); // it never began
    }
}

void JobDispatch::transferred()
{
    try {
        m_job->guard.transferred(m_job->key, m_main.date());
    } catch (const std::exception&) {
        m_job->answer(false, noticeNotSavedText);
        return;
    }
    m_presentation.showActivity(usbCleanupText);
    m_job->answer(true, usbTransferredText);
}

void JobDispatch::finished(const std::optional<QString>& failure)
{
    const Job job = std::move(*m_job);
    m_job.reset();
    m_presentation.showBusy(false);
    if (!failure) {
        succeeded(job);
        return;
    }
    m_presentation.showActivity(*failure);
    job.answer(false, *failure);
}

void JobDispatch::succeeded(const Job& job)
{
    try {
        job.guard.transferred(job.key, m_main.date());
    } catch (const std::exception&) {
        job.answer(false, resultNotSavedText);
        return;
    }
    const QString sent = textsOf(job.route).sent;
    m_presentation.showActivity(sent);
    job.answer(true, sent);
}

} // namespace harrowmint
