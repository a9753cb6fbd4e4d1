#include "app/SingleInstance.h"
#include "base/EventLoop.h"
#include "base/QtQueue.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <QDir>
#include <QFile>
#include <QTimer>
#include <algorithm>
#include <future>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;
using Outcome = SingleInstance::Outcome;

namespace {

const QString dataDirectory = QStringLiteral("/home/shop/data");

class SingleInstances : public ::testing::Test {
protected:
    SingleInstance::Place place() const { return {m_parent.path(), SingleInstance::currentUser()}; }
    /// A start in another thread, while this one's events go on.
    Outcome startBeside(const SingleInstance::Place& where, const QString& data = dataDirectory,
        SingleInstance::Wish wish = SingleInstance::Wish::ShowWindow)
    {
        auto outcome = std::async(std::launch::async, [&] { return SingleInstance(data, where).start(wish); });
        QTimer poll; // the loop must not sleep while the other thread ends
        poll.start(2);
        runEventsUntil([&] { return outcome.wait_for(0s) == std::future_status::ready; });
        return outcome.get();
    }
    void serve(SingleInstance& instance)
    {
        ASSERT_EQ(instance.start(), Outcome::First);
        instance.serve(m_queue, [this] { ++m_shows; });
    }
    QString ownDirectory() const
    {
        return m_parent.filePath(
            QStringLiteral("harrowmint-printer-") + QString::number(SingleInstance::currentUser()));
    }
    /// A connection to the agent's socket, without a word.
    static int connection(const SingleInstance& instance)
    {
        const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(instance.socketPath()).constData(), sizeof address.sun_path);
        EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return socket;
    }
    /// Whether the agent closes the connection, without an answer.
    void expectClosed(int socket)
    {
        char byte = 0;
        ssize_t count = -1;
        QTimer poll;
        poll.start(2);
        runEventsUntil([&] {
            count = ::recv(socket, &byte, 1, MSG_DONTWAIT);
            return count >= 0 || errno != EAGAIN;
        });
        EXPECT_LE(count, 0);
        ::close(socket);
    }

    TemporaryDirectory m_parent;
    QtQueue m_queue;
    int m_shows = 0;
};

TEST_F(SingleInstances, LetTheFirstStartBeTheAgent)
{
    SingleInstance agent(dataDirectory, place());
    EXPECT_EQ(agent.start(), Outcome::First);
}

TEST_F(SingleInstances, HaveASecondStartShowTheRunningAgentsWindow)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
    runEventsUntil([&] { return m_shows == 1; });
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
    runEventsUntil([&] { return m_shows == 2; });
}

TEST_F(SingleInstances, AnswerAStartThatCameBeforeTheAgentWasReady)
{
    SingleInstance agent(dataDirectory, place());
    ASSERT_EQ(agent.start(), Outcome::First);
    auto outcome = std::async(std::launch::async, [&] { return SingleInstance(dataDirectory, place()).start(); });
    ASSERT_EQ(outcome.wait_for(100ms), std::future_status::timeout);
    agent.serve(m_queue, [this] { ++m_shows; });
    runEventsUntil([&] { return m_shows == 1; });
    EXPECT_EQ(outcome.get(), Outcome::Shown);
}

TEST_F(SingleInstances, WaitForAnAgentWhoseStartTakesLong)
{
    SingleInstance agent(dataDirectory, place());
    ASSERT_EQ(agent.start(), Outcome::First);
    QTimer::singleShot(2 * SingleInstance::answerTime, [&] { agent.serve(m_queue, [this] { ++m_shows; }); });
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
    runEventsUntil([&] { return m_shows == 1; });
}

TEST_F(SingleInstances, LeaveTheRunningAgentsWindowAloneForAStartInTheBackground)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    EXPECT_EQ(startBeside(place(), dataDirectory, SingleInstance::Wish::Nothing), Outcome::Shown);
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
    runEventsUntil([&] { return m_shows > 0; });
    EXPECT_EQ(m_shows, 1);
}

TEST_F(SingleInstances, TakeThePlaceOfAnAgentThatIsEnding)
{
    auto ending = std::make_unique<SingleInstance>(dataDirectory, place());
    ASSERT_EQ(ending->start(), Outcome::First); // and answers nobody any more
    auto outcome = std::async(std::launch::async, [&] {
        SingleInstance next(dataDirectory, place());
        return next.start();
    });
    ASSERT_EQ(outcome.wait_for(100ms), std::future_status::timeout);
    ending.reset();
    EXPECT_EQ(outcome.get(), Outcome::First);
}

TEST_F(SingleInstances, WaitForAnAgentThatSaysItIsEndingHoweverLongAJobDelaysIt)
{
    for (const auto wish : {SingleInstance::Wish::Nothing, SingleInstance::Wish::ShowWindow}) {
        auto ending = std::make_unique<SingleInstance>(dataDirectory, place());
        ASSERT_EQ(ending->start(), Outcome::First);
        ending->serve(
            m_queue, [this] { ++m_shows; }, [] { return true; });
        QTimer::singleShot(SingleInstance::answerTime + 500ms, [&ending] { ending.reset(); });
        EXPECT_EQ(startBeside(place(), dataDirectory, wish), Outcome::First);
        EXPECT_EQ(ending, nullptr);
    }
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, ServeEachDataDirectoryOnItsOwn)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    EXPECT_EQ(startBeside(place(), QStringLiteral("/home/shop/other")), Outcome::First);
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, KeepTheirFilesToTheUser)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    EXPECT_EQ(modeOf(ownDirectory()), 0700U);
    EXPECT_EQ(modeOf(agent.socketPath()), 0600U);
    EXPECT_TRUE(agent.socketPath().startsWith(ownDirectory() + QLatin1Char('/')));
    EXPECT_FALSE(agent.socketPath().contains(QStringLiteral("shop")));
}

TEST_F(SingleInstances, TakeTheirSocketAwayAtTheEnd)
{
    QString path;
    {
        SingleInstance agent(dataDirectory, place());
        serve(agent);
        path = agent.socketPath();
        EXPECT_TRUE(QFile::exists(path));
        EXPECT_EQ(SingleInstance(dataDirectory, place()).start(), Outcome::Alone); // it must not take the socket along
        EXPECT_TRUE(QFile::exists(path));
    }
    EXPECT_FALSE(QFile::exists(path));
    {
        SingleInstance neverServed(dataDirectory, place());
        ASSERT_EQ(neverServed.start(), Outcome::First);
        EXPECT_FALSE(QFile::exists(path));
    }
    EXPECT_EQ(QDir(ownDirectory()).entryList(QDir::System | QDir::NoDotAndDotDot), QStringList());
    SingleInstance next(dataDirectory, place());
    EXPECT_EQ(next.start(), Outcome::First);
}

TEST_F(SingleInstances, ReplaceWhatAKilledAgentLeftBehind)
{
    const pid_t child = ::fork();
    if (child == 0) {
        SingleInstance agent(dataDirectory, place());
        const bool first = agent.start() == Outcome::First;
        agent.serve(m_queue, [] {});
        ::_exit(first ? 0 : 1); // without its destructor
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    SingleInstance agent(dataDirectory, place());
    ASSERT_TRUE(QFile::exists(agent.socketPath())) << "left behind";
    serve(agent);
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
}

TEST_F(SingleInstances, StayWithoutAnAnswerAfterASecond)
{
    SingleInstance mute(dataDirectory, place());
    serve(mute); // but its loop does not run
    SingleInstance second(dataDirectory, place());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(second.start(), Outcome::Alone);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, SingleInstance::answerTime);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, SingleInstance::startTime);
}

TEST_F(SingleInstances, DoNotTakeAnAgentWhoseSocketWasCleanedAwayForOneThatStarts)
{
    SingleInstance first(dataDirectory, place());
    serve(first);
    ASSERT_TRUE(QFile::remove(first.socketPath()));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(startBeside(place()), Outcome::Alone);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, SingleInstance::startTime);
}

TEST_F(SingleInstances, DoNotTakeAWrongAnswerForOne)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    // Another program at the socket's path, while the lock is held.
    const QByteArray path = QFile::encodeName(agent.socketPath());
    ASSERT_EQ(::unlink(path.constData()), 0);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    std::thread other([&] {
        const int socket = ::accept(listener, nullptr, nullptr);
        EXPECT_EQ(::send(socket, "shout\n", 6, 0), 6);
        ::close(socket);
    });
    EXPECT_EQ(SingleInstance(dataDirectory, place()).start(), Outcome::Alone);
    other.join();
    ::close(listener);
}

TEST_F(SingleInstances, NeverBelieveAnotherUsersAgent)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    // To the second start, everybody here is another user.
    EXPECT_EQ(startBeside({m_parent.path(), SingleInstance::currentUser() + 1}), Outcome::Alone);
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, NeverShowTheWindowForAnotherUser)
{
    SingleInstance agent(dataDirectory, {m_parent.path(), SingleInstance::currentUser() + 1});
    serve(agent);
    EXPECT_EQ(startBeside(place()), Outcome::Alone);
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, StayOutOfADirectoryThatOthersMayEnter)
{
    ASSERT_EQ(::mkdir(QFile::encodeName(ownDirectory()).constData(), 0755), 0);
    SingleInstance agent(dataDirectory, place());
    EXPECT_EQ(agent.start(), Outcome::Alone);
    EXPECT_FALSE(QFile::exists(agent.socketPath()));
}

TEST_F(SingleInstances, StayOutOfADirectoryThatIsALink)
{
    ASSERT_EQ(::symlink("/", QFile::encodeName(ownDirectory()).constData()), 0);
    EXPECT_EQ(SingleInstance(dataDirectory, place()).start(), Outcome::Alone);
}

TEST_F(SingleInstances, StayOutOfADirectoryOfAnotherUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give directories away";
    ASSERT_EQ(::mkdir(QFile::encodeName(ownDirectory()).constData(), 0700), 0);
    ASSERT_EQ(::chown(QFile::encodeName(ownDirectory()).constData(), 65534, 65534), 0);
    EXPECT_EQ(SingleInstance(dataDirectory, place()).start(), Outcome::Alone);
}

TEST_F(SingleInstances, GoWithoutASocketWhereThereCanBeNone)
{
    EXPECT_EQ(SingleInstance(dataDirectory, {m_parent.filePath(QStringLiteral("missing")), ::geteuid()}).start(),
        Outcome::Alone);
    const TemporaryDirectory root;
    const QString deep = root.filePath(QString(120, QLatin1Char('d')));
    ASSERT_EQ(::mkdir(QFile::encodeName(deep).constData(), 0700), 0);
    EXPECT_EQ(SingleInstance(dataDirectory, {deep, ::geteuid()}).start(), Outcome::Alone);
}

TEST_F(SingleInstances, HangUpOnAVisitorWhoSaysSomethingElse)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    const int socket = connection(agent);
    ASSERT_EQ(::send(socket, "quit\n", 5, 0), 5);
    expectClosed(socket);
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, HangUpOnAVisitorWhoSaysNothing)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    const int socket = connection(agent);
    expectClosed(socket);
    EXPECT_EQ(m_shows, 0);
}

TEST_F(SingleInstances, UnderstandARequestThatComesByteByByte)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    const int socket = connection(agent);
    for (const char byte : {'s', 'h', 'o', 'w'}) {
        ASSERT_EQ(::send(socket, &byte, 1, 0), 1);
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(m_shows, 0);
    ASSERT_EQ(::send(socket, "\n", 1, 0), 1);
    runEventsUntil([&] { return m_shows == 1; });
    ::close(socket);
}

TEST_F(SingleInstances, KeepAnsweringWhileMoreVisitorsWaitThanTheyBearWith)
{
    SingleInstance agent(dataDirectory, place());
    serve(agent);
    std::vector<int> sockets;
    for (int i = 0; i < 20; ++i) {
        sockets.push_back(connection(agent));
        for (int turn = 0; turn < 3; ++turn)
            QCoreApplication::processEvents();
    }
    EXPECT_EQ(startBeside(place()), Outcome::Shown);
    for (const int socket : sockets)
        ::close(socket);
    runEventsUntil([&] { return m_shows == 1; });
}

TEST_F(SingleInstances, LetOneOfManySimultaneousStartsBeTheAgent)
{
    constexpr std::size_t starts = 8;
    std::vector<std::unique_ptr<SingleInstance>> instances;
    std::vector<std::future<Outcome>> outcomes;
    for (std::size_t i = 0; i < starts; ++i)
        instances.push_back(std::make_unique<SingleInstance>(dataDirectory, place()));
    for (const auto& instance : instances)
        outcomes.push_back(std::async(std::launch::async, [&instance] { return instance->start(); }));
    std::vector<Outcome> ended;
    const auto take = [&](std::size_t i) {
        if (!outcomes[i].valid() || outcomes[i].wait_for(0s) != std::future_status::ready)
            return;
        ended.push_back(outcomes[i].get());
        if (ended.back() == Outcome::First)
            instances[i]->serve(m_queue, [this] { ++m_shows; });
    };
    QTimer poll;
    poll.start(2);
    runEventsUntil([&] {
        for (std::size_t i = 0; i < starts; ++i)
            take(i);
        return ended.size() == starts;
    });
    EXPECT_EQ(std::count(ended.begin(), ended.end(), Outcome::First), 1);
    EXPECT_EQ(std::count(ended.begin(), ended.end(), Outcome::Shown), starts - 1);
}

TEST(SingleInstancePlace, IsTheRuntimeDirectoryOrElseTheTemporaryOne)
{
    const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
    const TemporaryDirectory runtime;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    EXPECT_EQ(SingleInstance::defaultParent(), runtime.path());
    for (const char* useless : {"", "relative", "/missing/directory"}) {
        qputenv("XDG_RUNTIME_DIR", useless);
        EXPECT_EQ(SingleInstance::defaultParent(), QDir::tempPath()) << useless;
    }
    qputenv("XDG_RUNTIME_DIR", before);
}

} // namespace
