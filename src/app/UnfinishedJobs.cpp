#include "app/UnfinishedJobs.h"

namespace harrowmint {

class UnfinishedJobs::Job final : public Token {
public:
    Job(std::shared_ptr<Count> count, std::unique_ptr<Token> system)
        : m_count(std::move(count))
        , m_system(std::move(system))
    {
        const std::lock_guard guard(m_count->lock);
        ++m_count->jobs;
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    ~Job() override
    {
        const std::lock_guard guard(m_count->lock);
        --m_count->jobs;
        m_count->changed.notify_all();
    }

private:
    std::shared_ptr<Count> m_count;
    std::unique_ptr<Token> m_system;
};

UnfinishedJobs::UnfinishedJobs(std::shared_ptr<ProcessActivity> system)
    : m_system(std::move(system))
{
}

std::unique_ptr<ProcessActivity::Token> UnfinishedJobs::begin(const QString& reason)
{
    return std::make_unique<Job>(m_count, m_system ? m_system->begin(reason) : nullptr);
}

bool UnfinishedJobs::waitUntilNone(std::chrono::milliseconds limit)
{
    std::unique_lock guard(m_count->lock);
    if (m_count->jobs == 0)
        return false;
    m_count->changed.wait_for(guard, limit, [this] { return m_count->jobs == 0; });
    return true;
}

} // namespace harrowmint
