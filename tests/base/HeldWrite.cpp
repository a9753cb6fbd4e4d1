#include "HeldWrite.h"

#include <dlfcn.h>
#include <unistd.h>
#include <utility>

namespace harrowmint::test {

namespace {

thread_local HeldWrite* next = nullptr;

} // namespace

void HeldWrite::holdNext()
{
    next = this;
}

void HeldWrite::pass(int descriptor)
{
    m_descriptor.set_value(descriptor);
    m_released.get_future().wait();
}

} // namespace harrowmint::test

/// Stands before the C library's in this program.
extern "C" ssize_t write(int descriptor, const void* bytes, size_t count)
{
    using harrowmint::test::HeldWrite;
    if (HeldWrite* held = std::exchange(harrowmint::test::next, nullptr))
        held->pass(descriptor);
    using Write = ssize_t (*)(int, const void*, size_t);
    static const auto real = reinterpret_cast<Write>(::dlsym(RTLD_NEXT, "write"));
    return real(descriptor, bytes, count);
}
