#include "base/QtQueue.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace harrowmint {

namespace {

/// Linux keeps at most 15 bytes of a thread's name; the last part of a reverse-DNS label is the telling one.
QString threadName(const QString& label)
{
    return label.section(QLatin1Char('.'), -1);
}

void makeNonBlocking(int descriptor)
{
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

/// Of one Qt timer; longer waits take several.
constexpr std::chrono::milliseconds longestWait = std::chrono::hours(24);
/// Beyond any wait, and safe to add to the clock.
constexpr SerialQueue::Duration longestDelay = std::chrono::hours(24 * 365 * 100);

class QtTimerHandle final : public Timer::Handle {
public:
    QtTimerHandle(SerialQueue::Duration delay, SerialQueue::Task task)
        : m_deadline(std::chrono::steady_clock::now() + std::min(delay, longestDelay))
        , m_task(std::move(task))
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { runOrWaitOn(); });
        wait();
    }

private:
    void wait()
    {
        // Rounded up: a timer may be late, never early.
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
        m_timer.start(std::clamp(rest, std::chrono::milliseconds::zero(), longestWait));
    }

    void runOrWaitOn()
    {
        if (std::chrono::steady_clock::now() < m_deadline)
            return wait();
        // The task may destroy this handle, and whatever it holds must not live on in a timer that has run.
        const SerialQueue::Task running = std::exchange(m_task, {});
        running();
    }

    std::chrono::steady_clock::time_point m_deadline;
    SerialQueue::Task m_task;
    QTimer m_timer;
};

} // namespace

QtQueue::QtQueue()
    : m_thread(QThread::currentThread())
{
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category());
    m_readEnd = ends[0];
    m_writeEnd = ends[1];
    makeNonBlocking(m_readEnd);
    makeNonBlocking(m_writeEnd);
    m_notifier = std::make_unique<QSocketNotifier>(m_readEnd, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { runWaitingTasks(); });
}

QtQueue::~QtQueue()
{
    close();
    m_notifier.reset();
    // What a dropped task held may still call `async` while it goes.
    std::deque<Task> dropped;
    {
        const std::lock_guard guard(m_lock);
        dropped.swap(m_waiting);
    }
    dropped.clear();
    ::close(m_readEnd);
    ::close(m_writeEnd);
}

void QtQueue::close()
{
    const std::lock_guard guard(m_lock);
    m_closed = true;
}

void QtQueue::async(Task task)
{
    const std::lock_guard guard(m_lock);
    if (m_closed)
        return;
    m_waiting.push_back(std::move(task));
    // One byte says "not empty".
    if (m_waiting.size() == 1)
        wake();
}

void QtQueue::wake()
{
    if (::write(m_writeEnd, "!", 1) != 1 && errno != EAGAIN)
        throw std::system_error(errno, std::generic_category());
}

QtQueue::Task QtQueue::takeTask()
{
    const std::lock_guard guard(m_lock);
    if (m_closed || m_waiting.empty())
        return {};
    Task task = std::move(m_waiting.front());
    m_waiting.pop_front();
    return task;
}

void QtQueue::runWaitingTasks()
{
    char bytes[16];
    while (::read(m_readEnd, bytes, sizeof bytes) > 0) { }
    // Tasks that these give rise to wait for the next turn, so that timers and sockets get theirs.
    std::size_t turn = 0;
    {
        const std::lock_guard guard(m_lock);
        turn = m_waiting.size();
    }
    for (; turn > 0; --turn) {
        if (const Task task = takeTask())
            task();
    }
    const std::lock_guard guard(m_lock);
    if (!m_closed && !m_waiting.empty())
        wake();
}

Timer QtQueue::after(Duration delay, Task task)
{
    Q_ASSERT(isCurrent());
    return Timer(std::make_unique<QtTimerHandle>(delay, std::move(task)));
}

std::chrono::steady_clock::time_point QtQueue::now() const
{
    return std::chrono::steady_clock::now();
}

std::chrono::system_clock::time_point QtQueue::date() const
{
    return std::chrono::system_clock::now();
}

bool QtQueue::isCurrent() const
{
    return QThread::currentThread() == m_thread;
}

/// Runs an event loop with one QtQueue, which it publishes once it exists.
class WorkerQueue::Thread final : public QThread {
public:
    QtQueue* waitForQueue()
    {
        std::unique_lock guard(m_lock);
        m_ready.wait(guard, [this] { return m_queue != nullptr; });
        return m_queue;
    }

private:
    void run() override
    {
        QtQueue queue;
        {
            const std::lock_guard guard(m_lock);
            m_queue = &queue;
            m_ready.notify_all();
        }
        exec();
    }

    std::mutex m_lock;
    std::condition_variable m_ready;
    QtQueue* m_queue = nullptr;
};

WorkerQueue::WorkerQueue(const QString& label)
    : m_thread(std::make_unique<Thread>())
{
    m_thread->setObjectName(threadName(label));
    m_thread->start();
    m_queue = m_thread->waitForQueue();
}

WorkerQueue::~WorkerQueue()
{
    m_queue->close();
    m_thread->quit();
    m_thread->wait();
}

} // namespace harrowmint
