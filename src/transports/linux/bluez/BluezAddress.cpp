#include "transports/linux/bluez/BluezAddress.h"

#include <QRegularExpression>

namespace harrowmint::bluez {

namespace {

constexpr QLatin1String identifierPrefix("00000000-0000-0000-0000-");

constexpr qsizetype addressDigits = 12;

QString joinedPairs(const QString& digits)
{
    QString address = digits;
    for (qsizetype i = addressDigits - 2; i > 0; i -= 2)
        address.insert(i, QLatin1Char(':'));
    return address;
}

} // namespace

QUuid identifierOf(const QString& address)
{
    static const QRegularExpression form(QStringLiteral("\\A(?:[0-9A-Fa-f]{2}:){5}[0-9A-Fa-f]{2}\\z"));
    if (!form.match(address).hasMatch())
        return {};
    QString digits = address;
    return QUuid::fromString(identifierPrefix + digits.remove(QLatin1Char(':')));
}

QString addressOf(const QUuid& identifier)
{
    const QString text = identifier.toString(QUuid::WithoutBraces);
    if (identifier.isNull() || !text.startsWith(identifierPrefix))
        return {};
    return joinedPairs(text.mid(identifierPrefix.size()).toUpper());
}

QString withColons(const QString& address)
{
    QString joined = address.toUpper();
    return joined.replace(QLatin1Char('-'), QLatin1Char(':'));
}

QString uuidText(GattUuid number)
{
    return QStringLiteral("0000%1-0000-1000-8000-00805f9b34fb").arg(number, 4, 16, QLatin1Char('0'));
}

} // namespace harrowmint::bluez
