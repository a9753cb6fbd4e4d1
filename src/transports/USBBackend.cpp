#include "transports/USBBackend.h"

#include "base/EscPos.h"
#include "base/PrinterError.h"
#include "base/Text.h"
#include "transports/BackendRun.h"
#include "transports/USBErrorLines.h"
#include "transports/USBPlatform.h"

#include <QRegularExpression>
#include <array>
#include <pwd.h>
#include <unistd.h>

namespace harrowmint::USBBackend {

namespace {

constexpr qsizetype maximumListingBytes = 65536;
constexpr char unreadableList[] = "Unable to read the USB printer list.";
constexpr char invalidJob[] = "Invalid local printer job.";

std::vector<USBPrinter> printers(const QString& listing)
{
    static const QRegularExpression expression(QStringLiteral(R"re(^direct (usb://[^ ]+) "([^"]+)")re"));
    std::vector<USBPrinter> result;
    const auto appendLine = [&result](const QString& line) {
        if (const QRegularExpressionMatch match = expression.match(line); match.hasMatch())
            result.push_back({match.captured(1), match.captured(2)});
    };
    qsizetype start = 0;
    for (qsizetype i = 0; i < listing.size(); ++i) {
        // Every newline lies in the basic plane, so code units serve.
        if (isNewline(listing[i].unicode())) {
            appendLine(listing.sliced(start, i - start));
            start = i + 1;
        }
    }
    appendLine(listing.sliced(start));
    return result;
}

/// The user's login name; a user whom no database names gets the number.
QByteArray loginName()
{
    std::array<char, 16384> texts{};
    passwd record{};
    passwd* found = nullptr;
    const uid_t user = ::getuid();
    if (::getpwuid_r(user, &record, texts.data(), texts.size(), &found) == 0 && found != nullptr && *found->pw_name)
        return found->pw_name;
    return QByteArray::number(quint64(user));
}

} // namespace

QString path()
{
    const auto named = QStringLiteral(HARROWMINT_USB_BACKEND);
    return named.isEmpty() ? platform::ownUSBBackend() : named;
}

std::vector<USBPrinter> discover(const QString& program, const Limits& limits, const Log& log)
{
    RunOptions options;
    options.program = program;
    options.timeout = limits.listing;
    options.termination = limits.termination;
    options.maximumOutput = maximumListingBytes;
    const QByteArray listing = run(options);
    if (log) {
        for (const QString& line : platform::inaccessibleUSBPrinters())
            log(line);
    }
    if (listing.size() > maximumListingBytes || !listing.isValidUtf8())
        throw PrinterError(QString::fromLatin1(unreadableList));
    return printers(QString::fromUtf8(listing));
}

void print(const QByteArray& data, const QString& printerURI, const std::function<void()>& transferred,
    const QString& program, const Limits& limits, const Log& log)
{
    if (!printerURI.startsWith(QStringLiteral("usb://")) || data.size() > escpos::maximumJobBytes)
        throw PrinterError(QString::fromLatin1(invalidJob));
    RunOptions options;
    options.program = program;
    // Job identifier, user, title, copies, options; no file: the job comes on standard input.
    options.arguments = {"1", loginName(), "Harrowmint receipt", "1", ""};
    options.uri = printerURI.toUtf8();
    options.data = data;
    options.transferred = transferred;
    USBErrorLines errors(log);
    if (log)
        options.observer = [&errors](QByteArrayView bytes) { errors.consume(bytes); };
    options.timeout = limits.printing;
    options.termination = limits.termination;
    static_cast<void>(run(options));
}

} // namespace harrowmint::USBBackend
