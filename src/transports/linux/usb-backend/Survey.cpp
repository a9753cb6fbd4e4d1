#include "transports/linux/usb-backend/Survey.h"

#include "transports/linux/usb-backend/LibusbDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace harrowmint::usb {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// How soon to look again for a printer that is not there.
constexpr milliseconds searchInterval{150};
constexpr int reportDescriptor = 3;
/// Four texts of a page each, twice.
constexpr std::size_t maximumReportBytes = 65536;
constexpr std::size_t textsInReport = 5; // the last one says whether the id is unknown
constexpr char unknownId[] = "?";

void ask(const PrinterLocation& printer, const std::function<void(const PrinterTexts&)>& report)
{
    PrinterTexts texts = knownTexts(printer);
    texts.isIdUnknown = texts.deviceId.empty();
    report(texts);
    if (!texts.isIdUnknown)
        return;
    LibusbDevice device;
    if (device.open(printer) != UsbResult::Done)
        return;
    if (std::optional<std::string> deviceId = device.readDeviceId()) {
        texts.deviceId = std::move(*deviceId);
        texts.isIdUnknown = false;
        report(texts);
    }
}

/// A report: its texts, each with a zero byte behind it. They hold none.
std::string written(const PrinterTexts& texts)
{
    std::string result;
    for (const std::string* text : {&texts.manufacturer, &texts.product, &texts.serial, &texts.deviceId})
        result.append(text->substr(0, text->find('\0'))) += '\0';
    result.append(texts.isIdUnknown ? unknownId : "") += '\0';
    return result;
}

/// The last whole report in `bytes`.
std::optional<PrinterTexts> lastReport(const std::string& bytes)
{
    std::vector<std::string> texts;
    for (std::size_t start = 0, end = 0; (end = bytes.find('\0', start)) != std::string::npos; start = end + 1)
        texts.push_back(bytes.substr(start, end - start));
    const std::size_t whole = texts.size() / textsInReport * textsInReport;
    if (whole == 0)
        return std::nullopt;
    const auto text = [&](std::size_t i) { return texts.at(whole - textsInReport + i); };
    return PrinterTexts{text(0), text(1), text(2), text(3), text(4) == unknownId};
}

/// What runs in a printer's process; it holds nothing of its parent's open files but its end of the pipe.
[[noreturn]] void work(int pipe, const PrinterLocation& printer, const SurveyOptions& options)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(pipe, reportDescriptor);
    ::closefrom(reportDescriptor + 1);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::close(stream);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        static_cast<void>(::open("/dev/null", O_RDWR)); // takes the lowest number
    const auto report = [](const PrinterTexts& texts) {
        const std::string bytes = written(texts);
        static_cast<void>(!::write(reportDescriptor, bytes.data(), bytes.size()));
    };
    try {
        (options.ask ? options.ask : ask)(printer, report);
    } catch (const std::exception&) {
        ::_exit(1); // what was reported before stands
    }
    ::_exit(0);
}

/// One printer's process, on the side of its parent.
class Asker {
public:
    Asker(const PrinterLocation& printer, const SurveyOptions& options)
    {
        std::array<int, 2> pipe{};
        if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category());
        m_process = ::fork();
        const int error = errno;
        if (m_process == 0)
            work(pipe[1], printer, options);
        ::close(pipe[1]);
        m_pipe = pipe[0];
        if (m_process < 0) {
            ::close(m_pipe);
            throw std::system_error(error, std::generic_category());
        }
    }
    Asker(Asker&& other) noexcept
        : m_process(std::exchange(other.m_process, -1))
        , m_pipe(std::exchange(other.m_pipe, -1))
        , m_bytes(std::move(other.m_bytes))
    {
    }
    Asker& operator=(Asker&&) = delete;
    ~Asker()
    {
        if (m_pipe >= 0)
            ::close(m_pipe);
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, WNOHANG); // its device may hold it for long
        }
    }

    [[nodiscard]] int descriptor() const { return m_isFinal ? -1 : m_pipe; }
    [[nodiscard]] bool isFinal() const { return m_isFinal; }
    [[nodiscard]] std::optional<PrinterTexts> texts() const { return lastReport(m_bytes); }

    void read()
    {
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(m_pipe, bytes.data(), bytes.size());
        if (count > 0)
            m_bytes.append(bytes.data(), static_cast<std::size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR) || m_bytes.size() > maximumReportBytes)
            m_isFinal = true;
    }

private:
    pid_t m_process = -1;
    int m_pipe = -1;
    std::string m_bytes;
    bool m_isFinal = false;
};

std::vector<SurveyedPrinter> found(const std::vector<PrinterLocation>& locations, const std::vector<Asker>& askers)
{
    std::vector<SurveyedPrinter> result;
    for (std::size_t i = 0; i < locations.size(); ++i)
        result.push_back({locations[i], askers[i].texts(), askers[i].isFinal()});
    return result;
}

milliseconds untilThen(Clock::time_point time)
{
    return std::max(std::chrono::ceil<milliseconds>(time - Clock::now()), milliseconds::zero());
}

/// Waits until one of `askers` has said something, and takes it. False when `deadline` or the stop came first.
bool listen(std::vector<Asker>& askers, int stop, Clock::time_point deadline)
{
    std::vector<pollfd> watched;
    watched.reserve(askers.size() + 1);
    for (const Asker& asker : askers)
        watched.push_back({asker.descriptor(), POLLIN, 0});
    watched.push_back({stop, POLLIN, 0});
    const int ready = ::poll(watched.data(), watched.size(), static_cast<int>(untilThen(deadline).count()));
    if (ready == 0 || (ready < 0 && errno != EINTR) || (ready > 0 && watched.back().revents != 0))
        return false;
    for (std::size_t i = 0; ready > 0 && i < askers.size(); ++i) {
        if (watched[i].revents != 0)
            askers[i].read();
    }
    return true;
}

/// The printer's address as one that was listed is read: a text that looks like an option of the address is one then.
PrinterURI address(const SurveyedPrinter& printer)
{
    const PrinterURI made = printerURI(*printer.texts, printer.location.interface);
    return parsePrinterURI(encoded(made)).value_or(made);
}

/// Whether the string descriptors of `printer` speak for `wanted`; the names that stand in for missing ones do not.
bool speakFor(const PrinterURI& wanted, const SurveyedPrinter& printer)
{
    const PrinterURI found = address(printer);
    return (!printer.texts->manufacturer.empty() && agreeIgnoringCase(wanted.vendor, found.vendor))
        || (!printer.texts->product.empty() && agreeIgnoringCase(wanted.model, found.model));
}

/// The one printer that may be `wanted` though nobody could ask for its device id. Nothing when there are several: a
/// serial number alone tells little, and one that says nothing at all may be the wanted one too.
std::optional<PrinterLocation> withoutId(const PrinterURI& wanted, const std::vector<SurveyedPrinter>& printers)
{
    const SurveyedPrinter* candidate = nullptr;
    for (const SurveyedPrinter& printer : printers) {
        if (!printer.texts)
            return std::nullopt;
        if (!printer.texts->isIdUnknown || address(printer).serial != wanted.serial)
            continue;
        if (candidate != nullptr)
            return std::nullopt;
        candidate = &printer;
    }
    if (candidate == nullptr || !speakFor(wanted, *candidate)
        || (wanted.interface != 0 && wanted.interface != candidate->location.interface))
        return std::nullopt;
    return candidate->location;
}

bool isStopped(int stop, milliseconds limit)
{
    pollfd watched{stop, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(limit.count())) != 0;
}

} // namespace

std::vector<SurveyedPrinter> survey(const std::vector<PrinterLocation>& locations, const SurveyOptions& options)
{
    const Clock::time_point deadline = Clock::now() + options.limit;
    std::vector<Asker> askers;
    askers.reserve(locations.size());
    for (const PrinterLocation& location : locations)
        askers.emplace_back(location, options);
    const auto isOpen = [](const Asker& asker) { return !asker.isFinal(); };
    while (std::any_of(askers.begin(), askers.end(), isOpen)) {
        if (!listen(askers, options.stopDescriptor, deadline))
            break;
        if (options.isEnough && options.isEnough(found(locations, askers)))
            break;
    }
    return found(locations, askers);
}

std::optional<PrinterLocation> chosen(
    const PrinterURI& wanted, const std::vector<SurveyedPrinter>& printers, bool isLast)
{
    for (const SurveyedPrinter& printer : printers) {
        const bool isWaitedFor = !printer.isFinal && wanted.serial.empty() && !isLast;
        if (isWaitedFor)
            return std::nullopt;
        const bool isPreliminary = printer.texts && printer.texts->isIdUnknown && !printer.isFinal && !isLast;
        if (printer.texts && !isPreliminary && matches(wanted, address(printer)))
            return printer.location;
    }
    return isLast && !wanted.serial.empty() ? withoutId(wanted, printers) : std::nullopt;
}

std::optional<PrinterLocation> find(const PrinterURI& wanted, const SearchOptions& search)
{
    const Clock::time_point deadline = Clock::now() + search.limit;
    SurveyOptions options;
    options.stopDescriptor = search.stopDescriptor;
    options.ask = search.ask;
    options.isEnough = [&wanted](const std::vector<SurveyedPrinter>& printers) {
        return chosen(wanted, printers, false).has_value();
    };
    while (true) {
        options.limit = untilThen(deadline);
        const std::vector<SurveyedPrinter> printers = survey(search.connected(), options);
        // The last look has an interval's time for its answers.
        const milliseconds wait = std::min(searchInterval, untilThen(deadline) - searchInterval);
        const bool isLast = wait <= milliseconds::zero();
        if (auto location = chosen(wanted, printers, isLast); location || isLast)
            return location;
        if (isStopped(search.stopDescriptor, wait))
            return std::nullopt;
    }
}

} // namespace harrowmint::usb
