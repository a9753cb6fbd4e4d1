#pragma once

#include "app/WorkerJobRunner.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace harrowmint {

/// Knows whether a transport is at work, and passes that on to the system's own activity. For an end of the process
/// that nobody could plan: the toolkit calls exit(3) when its display goes away. Any thread.
class UnfinishedJobs final : public ProcessActivity {
public:
    /// `system` may be null.
    explicit UnfinishedJobs(std::shared_ptr<ProcessActivity> system);

    [[nodiscard]] std::unique_ptr<Token> begin(const QString& reason) override;
    /// Blocks until no job is at work, for `limit` at most. Returns whether there was one.
    bool waitUntilNone(std::chrono::milliseconds limit);

private:
    struct Count {
        std::mutex lock;
        std::condition_variable changed;
        int jobs = 0;
    };
    class Job;

    std::shared_ptr<ProcessActivity> m_system;
    std::shared_ptr<Count> m_count = std::make_shared<Count>();
};

} // namespace harrowmint
