#include "app/Shutdown.h"

namespace harrowmint {

Shutdown::Shutdown(SerialQueue& main, ShutdownEvents& events)
    : m_main(main)
    , m_events(events)
{
}

void Shutdown::request()
{
    if (m_phase != Phase::Running)
        return;
    m_phase = Phase::FinishingJob;
    m_events.refuseJobs();
    const bool pageIsAnswered = m_events.cancelPairing();
    if (m_events.isBusy())
        m_timer = m_main.after(jobTime, [this] { endAfter({}); });
    else
        endAfter(pageIsAnswered ? replyTime : SerialQueue::Duration::zero());
}

void Shutdown::jobEnded()
{
    if (m_phase == Phase::FinishingJob)
        endAfter(replyTime);
}

void Shutdown::endAfter(SerialQueue::Duration pause)
{
    m_phase = Phase::Ending;
    m_timer = m_main.after(pause, [this] { m_events.end(); });
}

} // namespace harrowmint
