#pragma once

#include <unistd.h>
#include <utility>

namespace harrowmint {

/// Owns one open descriptor and closes it. Move-only; an empty one holds -1, which `poll` skips.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor() { close(); }

    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    /// Closes now; the errors of closing a pipe mean nothing to anybody.
    void close()
    {
        if (isOpen())
            ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor = -1;
};

/// The two ends of a pipe.
struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

} // namespace harrowmint
