#include "transports/BluetoothPort.h"

#include "base/Text.h"
#include "settings/PrinterSettings.h"

#include <QStringList>

namespace harrowmint::BluetoothPort {

namespace {

constexpr qsizetype prefixLength = 4;

} // namespace

QString le(const QUuid& identifier)
{
    return QStringLiteral("ble:") + identifier.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> leIdentifier(QStringView port)
{
    return PrinterSettings::isLabelPort(port) ? identifierAfterPrefix(port) : std::nullopt;
}

std::optional<QUuid> identifierAfterPrefix(QStringView port)
{
    if (port.size() < prefixLength || !isUuid(port.sliced(prefixLength)))
        return std::nullopt;
    return QUuid::fromString(port.sliced(prefixLength));
}

std::optional<QString> serial(const QString& address)
{
    QString digits = address;
    digits.remove(QLatin1Char('-')).remove(QLatin1Char(':'));
    QString port = QStringLiteral("spp:") + digits.toUpper();
    if (!PrinterSettings::isReceiptBluetoothPort(port))
        return std::nullopt;
    return port;
}

std::optional<QString> serialAddress(QStringView port)
{
    if (!port.startsWith(u"spp:") || !PrinterSettings::isReceiptBluetoothPort(port))
        return std::nullopt;
    QStringList pairs;
    for (qsizetype i = prefixLength; i < port.size(); i += 2)
        pairs += port.sliced(i, 2).toString();
    return pairs.join(QLatin1Char('-'));
}

QString displayName(const QString& name)
{
    QString shown;
    int count = 0;
    for (const char32_t scalar : name.toUcs4()) {
        if (isControl(scalar))
            continue;
        if (++count > maximumNameScalars)
            break;
        shown += QChar::fromUcs4(scalar);
    }
    return shown;
}

} // namespace harrowmint::BluetoothPort
