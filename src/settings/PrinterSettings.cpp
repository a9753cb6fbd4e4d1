#include "settings/PrinterSettings.h"

#include "base/PrinterError.h"
#include "base/Text.h"

#include <QDir>
#include <algorithm>

namespace harrowmint {

namespace {

constexpr std::int64_t widePaper = 80;
constexpr std::int64_t narrowPaper = 58;
constexpr qsizetype currencyLength = 3;
constexpr qsizetype maximumOrigins = 8;
constexpr qsizetype maximumURIBytes = 1024;
constexpr qsizetype maximumNameCharacters = 256;

constexpr QStringView usb = u"usb";
constexpr QStringView bluetooth = u"bluetooth";

template <class Predicate>
bool anyScalar(const QString& text, Predicate predicate)
{
    const auto scalars = text.toUcs4();
    return std::any_of(scalars.begin(), scalars.end(), predicate);
}

bool isCurrency(const QString& text)
{
    return text.size() == currencyLength
        && std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'A' && c <= u'Z'; });
}

bool isSerialPort(QStringView uri)
{
    constexpr QStringView prefix = u"spp:";
    constexpr qsizetype addressDigits = 12;
    if (!uri.startsWith(prefix))
        return false;
    const QStringView digits = uri.sliced(prefix.size());
    return digits.size() == addressDigits && std::all_of(digits.begin(), digits.end(), [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F');
    });
}

bool isConnection(const std::optional<QString>& connection)
{
    return !connection || *connection == usb || *connection == bluetooth;
}

bool isUSBPort(const QString& uri)
{
    return uri.isEmpty() || (uri.startsWith(u"usb://") && !anyScalar(uri, isWhitespaceOrNewline));
}

template <class Acceptable>
bool isEmptyOr(const std::optional<QString>& uri, Acceptable acceptable)
{
    return !uri || uri->isEmpty() || acceptable(*uri);
}

template <class Forbidden>
bool isName(const std::optional<QString>& name, Forbidden forbidden)
{
    return !name || (!hasMoreCharactersThan(*name, maximumNameCharacters) && !anyScalar(*name, forbidden));
}

bool isWithinBounds(const PrinterSettings& s)
{
    return (s.paperWidth == widePaper || s.paperWidth == narrowPaper) && isCurrency(s.currency)
        && s.origins.size() <= maximumOrigins && s.printerURI.toUtf8().size() <= maximumURIBytes
        && isConnection(s.receiptConnection)
        && isEmptyOr(s.bluetoothReceiptURI, PrinterSettings::isReceiptBluetoothPort)
        && isName(s.bluetoothReceiptName, isControl) && isEmptyOr(s.labelPrinterURI, PrinterSettings::isLabelPort)
        && isName(s.labelPrinterName, isNewline) && isUSBPort(s.printerURI);
}

QStringList normalised(const QStringList& origins)
{
    QStringList result;
    for (const QString& typed : origins)
        result.append(PrinterSettings::origin(typed));
    result.removeDuplicates();
    result.sort();
    return result;
}

} // namespace

const QString& PrinterSettings::directory()
{
    static const QString path = QDir::homePath() + QStringLiteral("/Library/Application Support/Harrowmint Printer");
    return path;
}

PrinterSettings PrinterSettings::validated() const
{
    if (!isWithinBounds(*this))
        throw PrinterError(
            QStringLiteral("Check the receipt connection, printer, paper width and three-letter currency code."));
    PrinterSettings result = *this;
    result.origins = normalised(origins);
    return result;
}

bool PrinterSettings::isReceiptBluetoothPort(QStringView uri)
{
    return isLabelPort(uri) || isSerialPort(uri);
}

bool PrinterSettings::isLabelPort(QStringView uri)
{
    constexpr QStringView prefix = u"ble:";
    return uri.startsWith(prefix) && isUuid(uri.sliced(prefix.size()));
}

bool PrinterSettings::usesBluetoothReceipt() const
{
    return receiptConnection == bluetooth;
}

QString PrinterSettings::activeReceiptURI() const
{
    return usesBluetoothReceipt() ? bluetoothReceiptURI.value_or(QString()) : printerURI;
}

} // namespace harrowmint
