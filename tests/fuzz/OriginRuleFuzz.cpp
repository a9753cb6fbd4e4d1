#include "base/PrinterError.h"
#include "base/Text.h"
#include "settings/PrinterSettings.h"

#include <QRegularExpression>
#include <cstdint>
#include <cstdlib>
#include <optional>

using namespace harrowmint;

namespace {

/// The rule once more, as one regular expression.
std::optional<QString> expectedOrigin(const QString& typed)
{
    static const QRegularExpression rule(
        QStringLiteral(R"(\A(https://(?=[^:/]*\.)[a-zA-Z0-9](?:[a-zA-Z0-9-]{0,61}[a-zA-Z0-9])?)"
                       R"((?:\.[a-zA-Z0-9](?:[a-zA-Z0-9-]{0,61}[a-zA-Z0-9])?)*)(?::443)?/?\z)"));
    const QString text = trimmed(typed);
    const QRegularExpressionMatch match = rule.match(text);
    if (text.toUtf8().size() > 280 || !match.hasMatch())
        return std::nullopt;
    return match.captured(1).toLower();
}

std::optional<QString> origin(const QString& typed)
{
    try {
        return PrinterSettings::origin(typed);
    } catch (const PrinterError&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString typed = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto result = origin(typed);
    if (result != expectedOrigin(typed))
        std::abort();
    if (result && origin(*result) != result)
        std::abort();
    return 0;
}
