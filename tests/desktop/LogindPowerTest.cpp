#include "app/linux/LogindPower.h"
#include "adapter/AdapterRig.h"
#include "desktop/FakeService.h"
#include "desktop/MuteBus.h"
#include "transports/FileDescriptor.h"

#include <QCoreApplication>
#include <QDBusUnixFileDescriptor>
#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;
using adapter::letPass;
using adapter::openDescriptors;
using adapter::waitFor;

namespace {

const QString logindName = QStringLiteral("org.freedesktop.login1");
const QString managerPath = QStringLiteral("/org/freedesktop/login1");
const QString managerInterface = QStringLiteral("org.freedesktop.login1.Manager");
const QString reason = QStringLiteral("Sending a printer job");

/// Gives out locks as logind does: a descriptor for each, which counts as long as somebody has it open.
class FakeLogind {
public:
    enum class Answer { Lock, Error, None, Nonsense };

    explicit FakeLogind(const QString& busAddress)
        : m_service(busAddress, managerPath, [this](const QDBusMessage& call) { return answer(call); })
    {
        start();
    }

    void start() { m_service.claim(logindName); }
    void stop() { m_service.release(logindName); }
    void setAnswer(Answer answer) { m_answer = answer; }
    void prepareForSleep(const QVariantList& arguments)
    {
        m_service.emitSignal(managerPath, managerInterface, QStringLiteral("PrepareForSleep"), arguments);
    }
    /// The calls so far, as "Member argument,argument".
    [[nodiscard]] QStringList calls()
    {
        const std::lock_guard guard(m_access);
        return m_calls;
    }
    /// The locks that are held.
    [[nodiscard]] int locks()
    {
        const std::lock_guard guard(m_access);
        int count = 0;
        for (const FileDescriptor& end : m_ends) {
            pollfd state{end.get(), 0, 0};
            ::poll(&state, 1, 0);
            count += (state.revents & POLLHUP) == 0 ? 1 : 0;
        }
        return count;
    }
    /// Closes this side of all locks.
    void forget()
    {
        const std::lock_guard guard(m_access);
        m_ends.clear();
    }
    /// Sends the answer that was held back.
    void answerLate() { m_late.set_value(); }
    void holdNextAnswer() { m_holds = true; }

private:
    QDBusMessage answer(const QDBusMessage& call)
    {
        QStringList texts;
        for (const QVariant& argument : call.arguments())
            texts += argument.toString();
        {
            const std::lock_guard guard(m_access);
            m_calls += call.member() + QLatin1Char(' ') + texts.join(QLatin1Char(','));
        }
        if (m_holds.exchange(false))
            m_late.get_future().wait();
        switch (m_answer.load()) {
        case Answer::Lock:
            return call.createReply(QVariant::fromValue(lock()));
        case Answer::Error:
            return call.createErrorReply(
                QStringLiteral("org.freedesktop.DBus.Error.AccessDenied"), QStringLiteral("No."));
        case Answer::Nonsense:
            return call.createReply(QStringLiteral("lock"));
        case Answer::None:
            break;
        }
        return {};
    }

    QDBusUnixFileDescriptor lock()
    {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        QDBusUnixFileDescriptor given;
        given.giveFileDescriptor(ends[1]);
        const std::lock_guard guard(m_access);
        m_ends.emplace_back(ends[0]);
        return given;
    }

    std::mutex m_access;
    QStringList m_calls;
    std::vector<FileDescriptor> m_ends;
    std::atomic<Answer> m_answer = Answer::Lock;
    std::atomic<bool> m_holds = false;
    std::promise<void> m_late;
    FakeService m_service;
};

class LogindPowers : public ::testing::Test {
protected:
    std::unique_ptr<LogindPower> makePower(const QString& address)
    {
        return std::make_unique<LogindPower>(m_queue, address, [this] { ++m_wakes; });
    }
    /// Waits until `power` has found logind, by waking the computer until it hears that.
    void settle()
    {
        ASSERT_TRUE(waitFor([&] {
            m_logind.prepareForSleep({false});
            return m_wakes > 0;
        }));
        letPass(50ms);
        m_wakes = 0;
    }

    PrivateBus m_bus;
    FakeLogind m_logind{m_bus.address()};
    QtQueue m_queue;
    int m_wakes = 0;
};

TEST_F(LogindPowers, TellOfEachWakeAndNotOfTheSleepBeforeIt)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_logind.prepareForSleep({true});
    letPass(50ms);
    EXPECT_EQ(m_wakes, 0);
    m_logind.prepareForSleep({false});
    EXPECT_TRUE(waitFor([&] { return m_wakes == 1; }));
    m_logind.prepareForSleep({true});
    m_logind.prepareForSleep({false});
    EXPECT_TRUE(waitFor([&] { return m_wakes == 2; }));
}

TEST_F(LogindPowers, IgnoreASignalThatSaysSomethingElse)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_logind.prepareForSleep({QStringLiteral("false")});
    m_logind.prepareForSleep({});
    m_logind.prepareForSleep({false, false});
    letPass(50ms);
    EXPECT_EQ(m_wakes, 0);
}

TEST_F(LogindPowers, IgnoreTheSignalOfAnotherProgram)
{
    const auto power = makePower(m_bus.address());
    settle();
    FakeService other(m_bus.address(), managerPath, [](const QDBusMessage&) { return QDBusMessage(); });
    other.emitSignal(managerPath, managerInterface, QStringLiteral("PrepareForSleep"), {false});
    letPass(50ms);
    EXPECT_EQ(m_wakes, 0);
}

TEST_F(LogindPowers, HearALogindThatHasBeenRestarted)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_logind.stop();
    m_logind.prepareForSleep({false});
    letPass(50ms);
    EXPECT_EQ(m_wakes, 0) << "nobody's signal";
    m_logind.start();
    settle();
}

TEST_F(LogindPowers, HearALogindOnABusThatHasBeenRestarted)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_bus.stop();
    letPass(50ms);
    m_bus.start();
    FakeLogind next(m_bus.address());
    EXPECT_TRUE(waitFor([&] {
        next.prepareForSleep({false});
        return m_wakes > 0;
    }));
}

TEST_F(LogindPowers, HoldALockAgainstIdlingAndSleepAsLongAsATokenLives)
{
    const auto power = makePower(m_bus.address());
    settle();
    auto token = power->begin(reason);
    ASSERT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
    EXPECT_EQ(m_logind.calls(),
        QStringList(QStringLiteral("Inhibit idle:sleep,Harrowmint Printer,Sending a printer job,block")));
    letPass(100ms);
    EXPECT_EQ(m_logind.locks(), 1);
    token.reset();
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
}

TEST_F(LogindPowers, HoldTheLockOfAJobOnTheWorkerUntilThatJobHasEnded)
{
    const auto power = makePower(m_bus.address());
    settle();
    std::promise<void> end;
    std::atomic<bool> ended = false;
    WorkerQueue worker(QStringLiteral("worker"));
    worker.async([&] {
        {
            const auto token = power->begin(reason);
            end.get_future().wait(); // as a transport blocks
        }
        ended = true;
    });
    ASSERT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
    end.set_value();
    ASSERT_TRUE(waitFor([&] { return ended.load(); }));
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
}

TEST_F(LogindPowers, TakeNoLockForATokenThatIsGoneAlready)
{
    const auto power = makePower(m_bus.address());
    settle();
    power->begin(reason).reset();
    letPass(100ms);
    EXPECT_EQ(m_logind.calls(), QStringList());
}

TEST_F(LogindPowers, LetGoOfALockThatComesAfterItsTokenHasDied)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_logind.holdNextAnswer();
    auto token = power->begin(reason);
    ASSERT_TRUE(waitFor([&] { return m_logind.calls().size() == 1; }));
    token.reset();
    const int before = openDescriptors();
    m_logind.answerLate();
    EXPECT_TRUE(waitFor([&] { return openDescriptors() == before + 1; })) << "logind's own end of the lock";
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
}

TEST_F(LogindPowers, LeakNoDescriptorOverManyJobs)
{
    const auto power = makePower(m_bus.address());
    settle();
    const int before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        auto token = power->begin(reason);
        if (i % 2 == 0) {
            ASSERT_TRUE(waitFor([&] { return m_logind.locks() > 0; }));
        }
        token.reset();
    }
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
    m_logind.forget();
    EXPECT_TRUE(waitFor([&] { return openDescriptors() == before; })) << openDescriptors() - before;
}

TEST_F(LogindPowers, LetGoOfTheLockWhenTheTokenOutlivesThem)
{
    auto power = makePower(m_bus.address());
    settle();
    auto token = power->begin(reason);
    ASSERT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
    power.reset();
    token.reset();
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
}

class RefusedLock : public LogindPowers, public ::testing::WithParamInterface<FakeLogind::Answer> { };

TEST_P(RefusedLock, DisturbsNoJob)
{
    const auto power = makePower(m_bus.address());
    settle();
    const int before = openDescriptors();
    m_logind.setAnswer(GetParam());
    auto token = power->begin(reason);
    ASSERT_TRUE(waitFor([&] { return m_logind.calls().size() == 1; }));
    letPass(50ms);
    token.reset();
    EXPECT_EQ(openDescriptors(), before);
    m_logind.setAnswer(FakeLogind::Answer::Lock);
    token = power->begin(reason);
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
}

INSTANTIATE_TEST_SUITE_P(Each, RefusedLock,
    ::testing::Values(FakeLogind::Answer::Error, FakeLogind::Answer::None, FakeLogind::Answer::Nonsense));

TEST_F(LogindPowers, DoNothingWithoutLogind)
{
    m_logind.stop();
    const auto power = makePower(m_bus.address());
    auto token = power->begin(reason);
    letPass(100ms);
    EXPECT_EQ(m_logind.calls(), QStringList());
    token.reset();
    m_logind.start();
    settle();
    token = power->begin(reason);
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
}

class UselessBus : public ::testing::TestWithParam<const char*> { };

TEST_P(UselessBus, DelaysNothing)
{
    QtQueue queue;
    MuteBus mute;
    const QString address = *GetParam() == '@' ? mute.address() : QString::fromUtf8(GetParam());
    const int before = openDescriptors();
    {
        const auto begin = std::chrono::steady_clock::now();
        LogindPower power(queue, address, [] {});
        auto token = power.begin(reason);
        QCoreApplication::processEvents();
        token.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
        letPass(200ms);
    }
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= before + mute.connections(); }));
}

INSTANTIATE_TEST_SUITE_P(Each, UselessBus,
    ::testing::Values("", "unix:path=/missing/bus", "nonsense", "tcp:host=127.0.0.1,port=1", "@mute"));

TEST_F(LogindPowers, TakeNoLockFromAFrozenBusAndHoldOneFromABusThatGoesOn)
{
    const auto power = makePower(m_bus.address());
    settle();
    m_bus.freeze(true);
    const auto begin = std::chrono::steady_clock::now();
    auto token = power->begin(reason);
    letPass(20ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    m_bus.freeze(false);
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 1; }));
    token.reset();
    EXPECT_TRUE(waitFor([&] { return m_logind.locks() == 0; }));
}

} // namespace
