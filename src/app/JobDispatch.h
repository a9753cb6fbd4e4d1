#pragma once

#include "app/PrinterJob.h"
#include "base/OneShot.h"
#include "base/SerialQueue.h"
#include "documents/Receipt.h"
#include "guard/PrintGuard.h"
#include "settings/PrinterSettings.h"

#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace harrowmint {

/// What the user sees of the jobs; called on the main queue.
class JobPresentation {
public:
    JobPresentation() = default;
    JobPresentation(const JobPresentation&) = delete;
    JobPresentation& operator=(const JobPresentation&) = delete;
    virtual ~JobPresentation() = default;

    /// The one-line activity text.
    virtual void showActivity(const QString& text) = 0;
    /// A job begins (true): no control that touches printers or settings may be used; or has ended (false).
    virtual void showBusy(bool busy) = 0;
};

/// Takes one decoded receipt through busy check, rendering, print guard and transport, and gives exactly one outcome to
/// whoever waits. Lives on the main queue; owned by the delegate. At most one job at a time; none is ever queued.
class JobDispatch {
public:
    /// The outcome: whether the job was sent, and the sentence for the cashier. The first one counts.
    using Answer = OneShot<bool, QString>;

    /// How long the page waits for its answer; the job itself goes on.
    static constexpr std::chrono::seconds usbAnswerTime{6};
    static constexpr std::chrono::seconds bluetoothAnswerTime{55};
    static constexpr std::chrono::seconds labelAnswerTime{35};

    /// `guards` may be missing (their files could not be read); jobs of that kind are then refused. Everything passed
    /// in outlives the dispatch.
    JobDispatch(SerialQueue& main, JobRunner& runner, JobPresentation& presentation, PrintGuard* receiptGuard,
        PrintGuard* labelGuard);
    ~JobDispatch();
    JobDispatch(const JobDispatch&) = delete;
    JobDispatch& operator=(const JobDispatch&) = delete;

    /// Sends `receipt` for the store `origin` under `settings`. Answers within this call when the job is refused; from
    /// the busy check to the reservation everything happens in this one turn.
    void send(const Receipt& receipt, const PrinterSettings& settings, const QString& origin, const Answer& answer);
    /// Guards that could be loaded after all; a job that runs keeps its own. They outlive the dispatch.
    void setGuards(PrintGuard* receiptGuard, PrintGuard* labelGuard)
    {
        m_receiptGuard = receiptGuard;
        m_labelGuard = labelGuard;
    }
    /// Whether a job is between its reservation and its transport's result.
    [[nodiscard]] bool busy() const { return m_job.has_value(); }

private:
    /// The job between its reservation and its transport's result.
    struct Job {
        std::uint64_t number; ///< tells the events of this job from those of an earlier one
        PrinterJob::Route route;
        QString key;
        PrintGuard& guard;
        Answer answer;
        Timer answerTimer;
    };

    [[nodiscard]] PrintGuard& guardFor(const Receipt& receipt) const;
    void start(PrinterJob printerJob, Job job);
    void transferred();
    void finished(const std::optional<QString>& failure);
    void succeeded(const Job& job);

    SerialQueue& m_main;
    JobRunner& m_runner;
    JobPresentation& m_presentation;
    PrintGuard* m_receiptGuard;
    PrintGuard* m_labelGuard;
    std::uint64_t m_lastNumber = 0;
    std::optional<Job> m_job;
    std::shared_ptr<JobDispatch*> m_self;
};

} // namespace harrowmint
