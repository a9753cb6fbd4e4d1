#pragma once

#include "base/SerialQueue.h"
#include "transports/FileDescriptor.h"

#include <QSocketNotifier>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace harrowmint {

/// One agent for each user and data directory: a second start has the running agent show its window. The two meet at a
/// local socket (mode 0600) in a directory of the user's own (mode 0700), and only believe a peer of the same user.
/// Main thread; lives as long as the process.
class SingleInstance {
public:
    /// What a start has found.
    enum class Outcome {
        First, ///< nobody else: this process answers later starts once it serves
        Shown, ///< there is one, which has been told the wish; this process has nothing left to do
        Alone, ///< there may be another agent, but none that answers: start as usual, without answering later starts
    };

    /// What a start wants of a running agent.
    enum class Wish {
        ShowWindow, ///< the user has started the program again
        Nothing, ///< a start in the background: it is enough that there is one
    };

    /// How long a running agent may take to answer, and an ending one to end after its last answer.
    static constexpr std::chrono::milliseconds answerTime{1'000};

    /// How long a process that has taken the agent's place may need until it serves: at login, with cold files, it may
    /// be long, and two agents on the same files must not come of it.
    static constexpr std::chrono::seconds startTime{15};

    /// Where the processes meet; the defaults are the agent's.
    struct Place {
        /// Holds the agents' own directory: the user's runtime directory, or else the temporary one.
        QString parent = defaultParent();
        /// Whom to believe.
        uid_t user = currentUser();
    };

    explicit SingleInstance(const QString& dataDirectory);
    /// Processes with the same `dataDirectory` and `place` meet.
    SingleInstance(const QString& dataDirectory, const Place& place);
    /// Removes the socket if it is this process's.
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Looks for a running agent, and takes its place when there is none, or when it ends meanwhile; what a dead one
    /// left behind is replaced. Call once; needs no application object. Blocks for `answerTime` at most, or
    /// `startTime` while another process is about to become the agent, or as long as the agent answers that it is
    /// ending. Never throws: where no socket can be made the outcome is `Alone`.
    [[nodiscard]] Outcome start(Wish wish = Wish::ShowWindow);
    /// From now on each later start calls `show`, on this thread's Qt event loop. Only after `First`. Starts that wait
    /// are answered now. While `isEnding` says so the later start is told instead, and waits to take the place:
    /// else there would soon be no agent at all.
    void serve(SerialQueue& main, std::function<void()> show, std::function<bool()> isEnding = {});

    /// The path of the socket, which is there while it is served.
    [[nodiscard]] QString socketPath() const { return m_path + QStringLiteral(".socket"); }

    [[nodiscard]] static QString defaultParent();
    [[nodiscard]] static uid_t currentUser();

private:
    /// A later start, between its connection and its request.
    struct Visitor {
        int number;
        FileDescriptor socket;
        std::unique_ptr<QSocketNotifier> notifier;
        Timer limit;
        QByteArray request;
    };

    [[nodiscard]] QString startingPath() const { return m_path + QStringLiteral(".start"); }
    [[nodiscard]] bool prepareDirectory() const;
    [[nodiscard]] bool lock();
    [[nodiscard]] bool isServed() const;
    [[nodiscard]] bool listen();
    enum class Answer {
        None,
        Yes,
        Ending,
        Starting, ///< there is nobody to be asked
        Foreign,
    };
    [[nodiscard]] Answer ask(Wish wish, std::chrono::steady_clock::time_point deadline) const;
    void accept();
    void read(int number);
    void dismiss(int number);

    Place m_place;
    QString m_directory;
    QString m_path; ///< of the socket and the lock, without their suffixes
    FileDescriptor m_lock; ///< locked as long as this process is the agent; the kernel unlocks when it dies
    FileDescriptor m_listener;
    SerialQueue* m_main = nullptr;
    std::function<void()> m_show;
    std::function<bool()> m_isEnding;
    std::unique_ptr<QSocketNotifier> m_notifier;
    Timer m_acceptAgain;
    int m_lastVisitor = 0;
    std::vector<Visitor> m_visitors;
};

} // namespace harrowmint
