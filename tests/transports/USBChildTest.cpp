#include "ScriptedProgram.h"

#include <QFile>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace harrowmint::test {
namespace {

QByteArray loginName()
{
    const passwd* record = ::getpwuid(::getuid());
    return record != nullptr ? QByteArray(record->pw_name) : QByteArray::number(::getuid());
}

const QByteArray noSignals = "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n";

QByteArray seenOfAListing()
{
    return "descriptor 0 /dev/null\ndescriptor 1 pipe\ndescriptor 2 /dev/null\n"
           "variable PATH=/usr/bin:/bin:/usr/sbin:/sbin\nvariable LANG=en_US.UTF-8\n"
        + noSignals;
}

QByteArray seenOfAPrint()
{
    return "descriptor 0 pipe\ndescriptor 1 /dev/null\ndescriptor 2 pipe\n"
           "argument [1]\nargument ["
        + loginName()
        + "]\nargument [Harrowmint receipt]\nargument [1]\nargument []\n"
          "variable PATH=/usr/bin:/bin:/usr/sbin:/sbin\nvariable LANG=en_US.UTF-8\n"
          "variable DEVICE_URI=usb://Harrowmint/Test?serial=1\n"
        + noSignals;
}

class USBChild : public ScriptedPrograms {
protected:
    [[nodiscard]] QByteArray seen() const { return readFile(path(QStringLiteral("observer.seen"))); }
    void print(const QString& program) { USBBackend::print("job", printerURI, {}, program, patient); }
};

TEST_F(USBChild, SeesExactlyWhatAListingGives)
{
    EXPECT_TRUE(USBBackend::discover(observer(), patient).empty());
    EXPECT_EQ(seen(), seenOfAListing());
}

TEST_F(USBChild, SeesExactlyWhatAPrintGives)
{
    print(observer());
    EXPECT_EQ(seen(), seenOfAPrint());
}

TEST_F(USBChild, HasAnEmptySignalMaskAndDefaultDispositions)
{
    sigset_t blocked;
    sigset_t before;
    ::sigfillset(&blocked);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &before);
    std::vector<std::pair<int, sighandler_t>> handlers;
    for (const int number : {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGUSR1, SIGRTMIN + 3})
        handlers.emplace_back(number, ::signal(number, SIG_IGN));
    print(observer());
    for (const auto& [number, handler] : handlers)
        ::signal(number, handler);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(seen(), seenOfAPrint());
}

/// Threads that open and close descriptors as fast as they can, none of them closed on exec: what accepting connections
/// does, only more of it.
class DescriptorChurn {
public:
    DescriptorChurn()
    {
        for (int i = 0; i < 3; ++i)
            m_threads.emplace_back([this] { churn(); });
    }
    DescriptorChurn(const DescriptorChurn&) = delete;
    DescriptorChurn& operator=(const DescriptorChurn&) = delete;
    ~DescriptorChurn()
    {
        m_stop = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }

private:
    void churn() const
    {
        while (!m_stop) {
            int ends[2] = {-1, -1};
            const int file = ::open("/dev/zero", O_RDONLY);
            if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0) {
                ::close(ends[0]);
                ::close(ends[1]);
            }
            ::close(file);
        }
    }

    std::atomic<bool> m_stop = false;
    std::vector<std::thread> m_threads;
};

TEST_F(USBChild, GetsNoDescriptorThatOthersOpenMeanwhile)
{
    const DescriptorChurn churn;
    const QString program = observer();
    for (int i = 0; i < 25; ++i) {
        print(program);
        ASSERT_EQ(seen(), seenOfAPrint());
        static_cast<void>(USBBackend::discover(program, patient));
        ASSERT_EQ(seen(), seenOfAListing());
    }
}

TEST_F(USBChild, GetsItsStreamsThoughThisProcessHasNone)
{
    const QString program = observer();
    int kept[3];
    for (int stream = 0; stream < 3; ++stream) {
        kept[stream] = ::fcntl(stream, F_DUPFD_CLOEXEC, 100);
        ::close(stream);
    }
    QByteArray text;
    try {
        print(program);
    } catch (const std::exception& error) {
        text = error.what();
    }
    for (int stream = 0; stream < 3; ++stream) {
        ::dup2(kept[stream], stream);
        ::close(kept[stream]);
    }
    EXPECT_EQ(text, QByteArray());
    EXPECT_EQ(seen(), seenOfAPrint());
    EXPECT_EQ(readFile(program + QStringLiteral(".input")), "job");
}

TEST_F(USBChild, KeepsItsOwnPipesOutOfAnother)
{
    // Whichever program holds another's input keeps that one from ever seeing the end of its job.
    const QString first = script("echo > \"$0.ready\"; cat > /dev/null", QStringLiteral("first"));
    const QString second = script(waitForGo, QStringLiteral("second"));
    std::thread other([&] { print(second); });
    for (int i = 0; i < 20; ++i)
        print(first);
    writeFile(second + QStringLiteral(".go"), "");
    other.join();
}

/// Lets this process have no descriptor numbered `limit` or above, as long as it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(int limit)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit tight{static_cast<rlim_t>(limit), m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &tight);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before{};
};

TEST_F(USBChild, IsNotLeftBehindWhenDescriptorsRunOut)
{
    const QString program = observer();
    const int firstFree = ::dup(STDIN_FILENO);
    ::close(firstFree);
    constexpr int enough = 20;
    int failures = 0;
    for (int spare = 0; spare < enough; ++spare) {
        int code = 0;
        try {
            const DescriptorLimit limit(firstFree + spare);
            USBBackend::print("job", printerURI, {}, program, patient);
        } catch (const std::system_error& error) {
            code = error.code().value();
        }
        EXPECT_TRUE(code == 0 || code == EMFILE) << code;
        // One that was started for nothing may get as far as making the file, but gets no job.
        const QString input = program + QStringLiteral(".input");
        EXPECT_EQ(code == 0, QFile::exists(input) && readFile(input) == "job");
        failures += code == EMFILE ? 1 : 0;
        waitUntilReaped();
    }
    EXPECT_GE(failures, 6); // the null device, two pipes and what tells the end
    EXPECT_LT(failures, enough);
}

void ignoreSignal(int) { }

TEST_F(USBChild, IsServedThoughSignalsInterruptTheWait)
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = ignoreSignal; // without SA_RESTART
    ::sigaction(SIGUSR1, &action, &before);
    std::atomic<bool> stop = false;
    const pthread_t caller = ::pthread_self();
    std::thread interrupter([&] {
        while (!stop) {
            ::pthread_kill(caller, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    const QString program = script("cat > \"$0.input\"; sleep 0.1");
    for (int i = 0; i < 5; ++i)
        USBBackend::print(QByteArray(900000, 'x'), printerURI, {}, program, patient);
    stop = true;
    interrupter.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(readFile(program + QStringLiteral(".input")).size(), 900000);
}

} // namespace
} // namespace harrowmint::test
