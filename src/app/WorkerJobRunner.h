#pragma once

#include "app/PrinterJob.h"
#include "base/SerialQueue.h"

#include <QString>
#include <functional>
#include <memory>

namespace harrowmint {

/// Keeps the system from napping or idling the process while a job runs.
class ProcessActivity {
public:
    /// While it lives, the activity goes on.
    class Token {
    public:
        Token() = default;
        Token(const Token&) = delete;
        Token& operator=(const Token&) = delete;
        virtual ~Token() = default;
    };

    ProcessActivity() = default;
    ProcessActivity(const ProcessActivity&) = delete;
    ProcessActivity& operator=(const ProcessActivity&) = delete;
    virtual ~ProcessActivity() = default;

    /// Begins an activity that the user started; `reason` is for the system's own lists. Called on the worker queue;
    /// never blocks or throws; may be null.
    [[nodiscard]] virtual std::unique_ptr<Token> begin(const QString& reason) = 0;
};

/// The blocking transport calls, one for each route. Each returns on success and throws otherwise (PrinterError, or the
/// platform's error). Called on the worker queue, one at a time.
struct Transports {
    std::function<void(const QByteArray& bytes, const QString& uri, const JobRunner::Transferred& transferred)> usb;
    std::function<void(const QByteArray& bytes, const QString& port)> receiptBLE;
    std::function<void(const QByteArray& bytes, const QString& port)> receiptSerial;
    std::function<void(const LabelDocument& label, const QString& port)> labels;
};

/// Runs jobs on the worker queue by calling the blocking transports. Main queue; everything passed in outlives the
/// jobs.
class WorkerJobRunner final : public JobRunner {
public:
    /// `activity` may be null.
    WorkerJobRunner(SerialQueue& worker, Transports transports, ProcessActivity* activity)
        : m_worker(worker)
        , m_transports(std::make_shared<const Transports>(std::move(transports)))
        , m_activity(activity)
    {
    }

    void run(PrinterJob job, Transferred transferred, Finished finished) override;

private:
    SerialQueue& m_worker;
    std::shared_ptr<const Transports> m_transports;
    ProcessActivity* m_activity;
};

} // namespace harrowmint
