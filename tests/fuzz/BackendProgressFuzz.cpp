// The progress lines of a USB backend program: however the bytes are split, and against a model that splits the whole
// text at once. The first byte is the size of the job, the second the size of the pieces.
#include "transports/USBTransferProgress.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using harrowmint::USBTransferProgress;

/// How often the printer is said to have the job when `text` comes in pieces of `size` bytes.
int acknowledgements(int expectedBytes, std::string_view text, std::size_t size)
{
    USBTransferProgress progress(expectedBytes);
    int count = 0;
    for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
        const std::string_view piece = text.substr(0, size);
        count += progress.consume(QByteArrayView(piece.data(), static_cast<qsizetype>(piece.size()))) ? 1 : 0;
    }
    return count;
}

/// The same, from the lines of the whole text.
int model(int expectedBytes, std::string_view text)
{
    const std::string complete = "DEBUG: Sent " + std::to_string(expectedBytes) + " bytes...";
    bool isComplete = false;
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        const std::string_view line = text.substr(0, end);
        if (line.substr(0, 6) == "ERROR:")
            return 0;
        isComplete = isComplete || (expectedBytes > 0 && line == complete);
        if (isComplete && line == "STATE: +cups-waiting-for-job-completed")
            return 1;
    }
    return 0;
}

void check(bool isAsExpected, const char* what)
{
    if (isAsExpected)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t boundOfOneCall = 65536;
    if (size < 2 || size - 2 > boundOfOneCall)
        return 0;
    const int expectedBytes = data[0];
    const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const int expected = model(expectedBytes, text);
    check(acknowledgements(expectedBytes, text, text.size()) == expected, "the whole at once differs");
    check(acknowledgements(expectedBytes, text, 1) == expected, "byte by byte differs");
    check(acknowledgements(expectedBytes, text, data[1] + std::size_t(1)) == expected, "pieces differ");
    return 0;
}
