#pragma once

#include "documents/LabelDocument.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

namespace harrowmint {

/// One job on its way to a printer. A plain value.
struct PrinterJob {
    enum class Route { USB, ReceiptBLE, ReceiptSerial, Label };

    Route route = Route::USB;
    QString port; ///< the printer's address
    QByteArray bytes; ///< the ESC/POS stream; empty for a label, whose transport makes its own
    std::optional<LabelDocument> label; ///< present exactly for Route::Label
};

/// Runs one job at a time on whatever transport it is for.
class JobRunner {
public:
    /// The printer has every byte, although the transport has not finished yet. At most once, before `Finished`.
    using Transferred = std::function<void()>;
    /// The job is over: nothing on success, else the sentence that tells what happened. Exactly once.
    using Finished = std::function<void(std::optional<QString> failure)>;

    JobRunner() = default;
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;
    virtual ~JobRunner() = default;

    /// Returns at once. Both callbacks may come on any thread, and never within this call.
    virtual void run(PrinterJob job, Transferred transferred, Finished finished) = 0;
};

} // namespace harrowmint
