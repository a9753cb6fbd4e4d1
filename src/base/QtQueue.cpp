#include "base/QtQueue.h"

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <optional>
#include <pthread.h>
#include <system_error>
#include <unistd.h>

namespace harrowmint {

namespace {

// The name of the calling thread is set differently on each platform; the function's type tells how.
[[maybe_unused]] void setThreadName(int (*set)(pthread_t, const char*), const char* name)
{
    set(::pthread_self(), name);
}

[[maybe_unused]] void setThreadName(int (*set)(const char*), const char* name)
{
    set(name);
}

/// Linux keeps at most 15 bytes of a thread's name; the last part of a reverse-DNS label is the telling one.
QByteArray threadName(const QString& label)
{
    constexpr qsizetype maximumBytes = 15;
    return label.section(QLatin1Char('.'), -1).toUtf8().left(maximumBytes);
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

class QtQueue::WakePipe {
public:
    WakePipe()
    {
        if (::pipe(m_ends) != 0)
            throw std::system_error(errno, std::generic_category());
        makeNonBlocking(m_ends[0]);
        makeNonBlocking(m_ends[1]);
    }
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;
    ~WakePipe()
    {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }

    [[nodiscard]] int readEnd() const { return m_ends[0]; }

    void wake() const
    {
        if (::write(m_ends[1], "!", 1) != 1 && errno != EAGAIN)
            throw std::system_error(errno, std::generic_category());
    }

    void empty() const
    {
        char bytes[16];
        while (::read(m_ends[0], bytes, sizeof bytes) == sizeof bytes) { } // fewer: that was all
    }

private:
    int m_ends[2] = {-1, -1};
};

QtQueue::QtQueue()
    : m_pipe(std::make_shared<WakePipe>())
    , m_notifier(std::make_unique<QSocketNotifier>(m_pipe->readEnd(), QSocketNotifier::Read))
{
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { runWaitingTasks(); });
}

QtQueue::~QtQueue()
{
    m_notifier.reset();
    close();
    // What a dropped task holds may still call `async` while it goes.
    m_dropped.clear();
}

void QtQueue::close(Task last)
{
    const std::lock_guard guard(m_lock);
    m_closed = true;
    std::move(m_waiting.begin(), m_waiting.end(), std::back_inserter(m_dropped));
    m_waiting.clear();
    if (last) {
        m_waiting.push_back(std::move(last));
        m_pipe->wake();
    }
}

void QtQueue::async(Task task)
{
    std::shared_ptr<WakePipe> pipe;
    {
        const std::lock_guard guard(m_lock);
        if (m_closed)
            return;
        m_waiting.push_back(std::move(task));
        // One byte says "not empty".
        if (m_waiting.size() == 1)
            pipe = m_pipe;
    }
    // Without the lock: the home thread would run into it as soon as it wakes.
    if (pipe)
        pipe->wake();
}

QtQueue::Task QtQueue::takeTask()
{
    const std::lock_guard guard(m_lock);
    if (m_waiting.empty())
        return {};
    Task task = std::move(m_waiting.front());
    m_waiting.pop_front();
    return task;
}

void QtQueue::runWaitingTasks()
{
    m_pipe->empty();
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
    if (!m_waiting.empty())
        m_pipe->wake();
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
    return std::this_thread::get_id() == m_thread;
}

WorkerQueue::WorkerQueue(const QString& label)
{
    std::promise<QtQueue*> ready;
    auto queue = ready.get_future();
    // The promise lives as long as the thread: it may still be telling of its value when that has been read.
    m_thread = std::thread([this, ready = std::move(ready), name = threadName(label)]() mutable {
        setThreadName(&::pthread_setname_np, name.constData());
        run(ready);
    });
    try {
        m_queue = queue.get();
    } catch (...) {
        m_thread.join();
        throw;
    }
}

void WorkerQueue::run(std::promise<QtQueue*>& ready)
{
    std::optional<QEventLoop> loop;
    std::optional<QtQueue> queue;
    try {
        m_loop = &loop.emplace(); // first: it gives this thread its event dispatcher
        ready.set_value(&queue.emplace());
    } catch (...) {
        ready.set_exception(std::current_exception());
        return;
    }
    loop->exec();
}

WorkerQueue::~WorkerQueue()
{
    m_queue->close([this] { m_loop->quit(); });
    m_thread.join();
}

} // namespace harrowmint
