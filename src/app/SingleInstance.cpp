#include "app/SingleInstance.h"

#include "app/PeerUser.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace harrowmint {

namespace {

using Clock = std::chrono::steady_clock;

const QByteArray showRequest = QByteArrayLiteral("show\n");
const QByteArray hereRequest = QByteArrayLiteral("here\n");
const QByteArray answer = QByteArrayLiteral("shown\n");
const QByteArray endingAnswer = QByteArrayLiteral("ending\n");
constexpr qsizetype maximumAnswerBytes = 16;

constexpr mode_t directoryMode = 0700;
constexpr mode_t fileMode = 0600;
/// Enough to tell the data directories of one user apart, and short enough for a socket's path.
constexpr int nameBytes = 12;
constexpr int backlog = 8;
constexpr std::size_t maximumVisitors = 8;
/// Between two looks for the socket of an agent that has just begun, or for the lock of one that ends.
constexpr std::chrono::milliseconds lookPause{20};
/// Between two looks for the lock of an agent that has said that it is ending, which a job may delay.
constexpr std::chrono::milliseconds endPause{100};
/// While the process has no descriptor to spare.
constexpr std::chrono::seconds acceptPause{1};

/// Non-blocking, and no child's; -1 when there is none to be had.
FileDescriptor settled(int descriptor)
{
    FileDescriptor socket(descriptor);
    if (socket.isOpen()) {
        ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
        ::fcntl(socket.get(), F_SETFL, ::fcntl(socket.get(), F_GETFL) | O_NONBLOCK);
    }
    return socket;
}

/// False when the path is too long for a socket's address.
bool setPath(sockaddr_un& address, const QByteArray& path)
{
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(path.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()) + 1);
    return true;
}

int remaining(Clock::time_point deadline)
{
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
}

/// Whether the socket can be used (or has failed) before the deadline.
bool waitFor(int socket, short events, Clock::time_point deadline)
{
    for (;;) {
        pollfd descriptor{socket, events, 0};
        const int count = ::poll(&descriptor, 1, remaining(deadline));
        if (count >= 0 || errno != EINTR)
            return count > 0;
    }
}

bool send(int socket, const QByteArray& bytes)
{
#ifdef MSG_NOSIGNAL
    constexpr int flags = MSG_NOSIGNAL;
#else
    constexpr int flags = 0;
#endif
    // A few bytes into an empty socket: all of them, or the peer is gone.
    return ::send(socket, bytes.constData(), static_cast<std::size_t>(bytes.size()), flags) == bytes.size();
}

/// What the peer sends up to its first line feed; empty when that does not come before the deadline.
QByteArray receivedLine(int socket, Clock::time_point deadline)
{
    QByteArray line;
    while (!line.endsWith('\n')) {
        if (line.size() >= maximumAnswerBytes || !waitFor(socket, POLLIN, deadline))
            return {};
        char byte = 0;
        const ssize_t count = ::recv(socket, &byte, 1, 0);
        if (count > 0)
            line.append(byte);
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            return {};
    }
    return line;
}

} // namespace

QString SingleInstance::defaultParent()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.startsWith(QLatin1Char('/')) && QFile::exists(runtime) ? runtime : QDir::tempPath();
}

uid_t SingleInstance::currentUser()
{
    return ::geteuid();
}

SingleInstance::SingleInstance(const QString& dataDirectory)
    : SingleInstance(dataDirectory, Place())
{
}

SingleInstance::SingleInstance(const QString& dataDirectory, const Place& place)
    : m_place(place)
    // The temporary directory is shared by all users.
    , m_directory(place.parent + QStringLiteral("/harrowmint-printer-") + QString::number(currentUser()))
    , m_path(m_directory + QLatin1Char('/')
          + QString::fromLatin1(QCryptographicHash::hash(QFile::encodeName(dataDirectory), QCryptographicHash::Sha256)
                                    .left(nameBytes)
                                    .toHex()))
{
}

SingleInstance::~SingleInstance()
{
    if (!m_listener.isOpen())
        return;
    for (const QString& path : {startingPath(), socketPath()})
        ::unlink(QFile::encodeName(path).constData());
}

SingleInstance::Outcome SingleInstance::start(Wish wish)
{
    if (!prepareDirectory())
        return Outcome::Alone;
    Clock::time_point latestStart = Clock::now() + startTime;
    Clock::time_point deadline = Clock::now() + answerTime; // the agent may be asked by too many
    while (!lock()) {
        const Answer answered = ask(wish, deadline);
        if (answered == Answer::Yes)
            return Outcome::Shown;
        if (answered == Answer::Ending) { // who comes after it may be another that waits
            deadline = Clock::now() + answerTime;
            latestStart = Clock::now() + startTime;
        }
        if (answered == Answer::Starting && m_lock.isOpen())
            deadline = std::max(deadline, std::min(Clock::now() + answerTime, latestStart));
        if (answered == Answer::Foreign || Clock::now() >= deadline)
            return Outcome::Alone;
        std::this_thread::sleep_for(answered == Answer::Ending ? endPause : lookPause);
    }
    if (listen())
        return Outcome::First;
    m_lock.close(); // later starts cannot ask this one either
    return Outcome::Alone;
}

/// A directory that is there must be this user's own: somebody else could have made one in the temporary directory.
bool SingleInstance::prepareDirectory() const
{
    const QByteArray path = QFile::encodeName(m_directory);
    if (::mkdir(path.constData(), directoryMode) != 0 && errno != EEXIST)
        return false;
    struct stat status { };
    return ::lstat(path.constData(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == currentUser()
        && (status.st_mode & 07777) == directoryMode;
}

/// Two starts at the same moment: one of them gets the lock.
bool SingleInstance::lock()
{
    const QByteArray path = QFile::encodeName(m_path + QStringLiteral(".lock"));
    m_lock = FileDescriptor(::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, fileMode));
    return m_lock.isOpen() && ::flock(m_lock.get(), LOCK_EX | LOCK_NB) == 0;
}

/// Whether the lock's owner has come to serve: its socket may have been cleaned away since.
bool SingleInstance::isServed() const
{
    struct stat status { };
    return m_lock.isOpen() && ::fstat(m_lock.get(), &status) == 0 && status.st_size > 0;
}

/// The socket gets its place when it is served: until then there is none to be asked in vain.
bool SingleInstance::listen()
{
    const QByteArray path = QFile::encodeName(startingPath());
    sockaddr_un address{};
    sockaddr_un served{};
    if (!setPath(address, path) || !setPath(served, QFile::encodeName(socketPath())))
        return false;
    // A dead agent's: a living one has the lock.
    if (::ftruncate(m_lock.get(), 0) != 0)
        return false;
    ::unlink(path.constData());
    ::unlink(served.sun_path);
    FileDescriptor listener = settled(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (!listener.isOpen() || ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return false;
    if (::chmod(path.constData(), fileMode) != 0 || ::listen(listener.get(), backlog) != 0) {
        ::unlink(path.constData());
        return false;
    }
    m_listener = std::move(listener);
    return true;
}

SingleInstance::Answer SingleInstance::ask(Wish wish, Clock::time_point deadline) const
{
    sockaddr_un address{};
    if (!setPath(address, QFile::encodeName(socketPath())))
        return Answer::Foreign;
    const FileDescriptor socket = settled(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (!socket.isOpen())
        return Answer::None;
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return (errno == ENOENT || errno == ECONNREFUSED) && !isServed() ? Answer::Starting : Answer::None;
    if (peerUser(socket.get()) != m_place.user)
        return Answer::Foreign;
    if (!send(socket.get(), wish == Wish::ShowWindow ? showRequest : hereRequest))
        return Answer::None;
    const QByteArray received = receivedLine(socket.get(), deadline);
    if (received == endingAnswer)
        return Answer::Ending;
    return received == answer ? Answer::Yes : Answer::None;
}

void SingleInstance::serve(SerialQueue& main, std::function<void()> show, std::function<bool()> isEnding)
{
    m_main = &main;
    m_show = std::move(show);
    m_isEnding = std::move(isEnding);
    m_notifier = std::make_unique<QSocketNotifier>(m_listener.get(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { accept(); });
    ::rename(QFile::encodeName(startingPath()).constData(), QFile::encodeName(socketPath()).constData());
    static_cast<void>(::pwrite(m_lock.get(), "s", 1, 0));
}

void SingleInstance::accept()
{
    FileDescriptor socket = settled(::accept(m_listener.get(), nullptr, nullptr));
    if (!socket.isOpen() && errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        // No descriptor is left for it: the loop must not spin until there is one.
        m_notifier->setEnabled(false);
        m_acceptAgain = m_main->after(acceptPause, [this] { m_notifier->setEnabled(true); });
    }
    if (!socket.isOpen() || peerUser(socket.get()) != m_place.user)
        return;
    if (m_visitors.size() >= maximumVisitors)
        dismiss(m_visitors.front().number);
    const int number = ++m_lastVisitor;
    auto notifier = std::make_unique<QSocketNotifier>(socket.get(), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this, number] { read(number); });
    Timer limit = m_main->after(answerTime, [this, number] { dismiss(number); });
    m_visitors.push_back({number, std::move(socket), std::move(notifier), std::move(limit), {}});
}

void SingleInstance::read(int number)
{
    const auto visitor = std::find_if(
        m_visitors.begin(), m_visitors.end(), [number](const Visitor& each) { return each.number == number; });
    if (visitor == m_visitors.end())
        return;
    char bytes[16];
    const ssize_t count = ::recv(visitor->socket.get(), bytes, sizeof bytes, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        visitor->request.append(bytes, count);
    const bool asksToShow = visitor->request == showRequest;
    const bool complete = asksToShow || visitor->request == hereRequest;
    const bool mayComplete = showRequest.startsWith(visitor->request) || hereRequest.startsWith(visitor->request);
    if (count > 0 && !complete && mayComplete)
        return;
    const bool isEnding = m_isEnding && m_isEnding();
    if (complete)
        send(visitor->socket.get(), isEnding ? endingAnswer : answer);
    dismiss(number);
    if (asksToShow && !isEnding)
        m_show();
}

void SingleInstance::dismiss(int number)
{
    const auto visitor = std::find_if(
        m_visitors.begin(), m_visitors.end(), [number](const Visitor& each) { return each.number == number; });
    if (visitor == m_visitors.end())
        return;
    // The call may have come from this notifier.
    visitor->notifier->setEnabled(false);
    visitor->notifier.release()->deleteLater();
    m_visitors.erase(visitor);
}

} // namespace harrowmint
