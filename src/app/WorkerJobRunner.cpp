#include "app/WorkerJobRunner.h"

#include "base/PrinterError.h"

namespace harrowmint {

namespace {

const auto activityReason = QStringLiteral("Sending a printer job");

void print(const Transports& transports, const PrinterJob& job, const JobRunner::Transferred& transferred)
{
    switch (job.route) {
    case PrinterJob::Route::USB:
        return transports.usb(job.bytes, job.port, transferred);
    case PrinterJob::Route::ReceiptBLE:
        return transports.receiptBLE(job.bytes, job.port);
    case PrinterJob::Route::ReceiptSerial:
        return transports.receiptSerial(job.bytes, job.port);
    case PrinterJob::Route::Label:
        return transports.labels(*job.label, job.port);
    }
}

} // namespace

void WorkerJobRunner::run(PrinterJob job, Transferred transferred, Finished finished)
{
    m_worker.async([job = std::move(job), transferred = std::move(transferred), finished = std::move(finished),
                       transports = m_transports, activity = m_activity] {
        std::optional<QString> failure;
        try {
            const auto token = activity ? activity->begin(activityReason) : nullptr;
            print(*transports, job, transferred);
        } catch (const std::exception& error) {
            failure = errorText(error);
        }
        finished(failure);
    });
}

} // namespace harrowmint
