#include "base/PrinterError.h"
#include "base/Text.h"
#include "settings/PrinterSettings.h"

#include <algorithm>

namespace harrowmint {

namespace {

constexpr qsizetype maximumAddressBytes = 280;
constexpr qsizetype maximumLabelLength = 63;
constexpr QStringView schemePrefix = u"https://";
constexpr QStringView defaultPort = u":443";

bool isHostCharacter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'.' || c == u'-';
}

bool isLabel(QStringView label)
{
    return !label.isEmpty() && label.size() <= maximumLabelLength && !label.startsWith(u'-') && !label.endsWith(u'-');
}

/// An empty label also stands for a dot at either end and for two dots in a row.
bool isHost(QStringView host)
{
    const auto labels = host.split(u'.');
    return labels.size() > 1 && std::all_of(host.begin(), host.end(), isHostCharacter)
        && std::all_of(labels.begin(), labels.end(), isLabel);
}

/// What stands between the scheme and the one port and path that are allowed. Everything else that may surround a host
/// in a URL (user, password, other ports, brackets, escapes, query, fragment) stays, and no host may contain it.
QStringView hostOf(QStringView address)
{
    QStringView host = address.sliced(schemePrefix.size());
    if (host.endsWith(u'/'))
        host.chop(1);
    if (host.endsWith(defaultPort))
        host.chop(defaultPort.size());
    return host;
}

} // namespace

QString PrinterSettings::origin(QStringView text)
{
    const QString address = trimmed(text);
    if (address.toUtf8().size() <= maximumAddressBytes && address.startsWith(schemePrefix)) {
        const QStringView host = hostOf(address);
        if (isHost(host))
            return schemePrefix.toString() + host.toString().toLower();
    }
    throw PrinterError(QStringLiteral("Enter an exact HTTPS store address, without a page path or wildcard."));
}

} // namespace harrowmint
