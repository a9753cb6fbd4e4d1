#pragma once

#include "support/TemporaryDirectory.h"

#include <QFile>
#include <QString>
#include <atomic>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace harrowmint::test {

/// A bus address at which somebody accepts every connection and never says a word.
class MuteBus {
public:
    MuteBus()
        : m_path(m_directory.filePath(QStringLiteral("bus")))
        , m_listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(m_path).constData(), sizeof address.sun_path);
        if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
            || ::listen(m_listener, 16) != 0)
            qFatal("The mute bus cannot listen");
        m_thread = std::thread([this] { acceptAll(); });
    }
    MuteBus(const MuteBus&) = delete;
    MuteBus& operator=(const MuteBus&) = delete;
    ~MuteBus()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    [[nodiscard]] QString address() const { return QStringLiteral("unix:path=") + m_path; }
    [[nodiscard]] QString directory() const { return m_directory.path(); }
    [[nodiscard]] int connections() const { return m_connections; }

private:
    void acceptAll()
    {
        std::vector<int> sockets;
        for (int socket = -1; (socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; ++m_connections)
            sockets.push_back(socket);
        for (const int socket : sockets)
            ::close(socket);
    }

    TemporaryDirectory m_directory;
    QString m_path;
    int m_listener;
    std::atomic<int> m_connections = 0;
    std::thread m_thread;
};

} // namespace harrowmint::test
