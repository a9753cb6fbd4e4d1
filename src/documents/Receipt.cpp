#include "documents/Receipt.h"

#include "base/Digest.h"
#include "base/PrinterError.h"
#include "documents/InvoiceLayout.h"
#include "documents/ReceiptRequest.h"

#include <QLocale>
#include <QRegularExpression>
#include <QUuid>

namespace harrowmint {

namespace {

constexpr QStringView bodyTooLarge = u"Receipt is too large.";
constexpr qsizetype maximumBodyBytes = 131072;

/// The locale's short date, but with the year in full, and its short time.
QString dateText(const QDateTime& date, const QLocale& locale)
{
    static const QRegularExpression shortYear(QStringLiteral("(?<!y)yy(?!y)"));
    QString format = locale.dateTimeFormat(QLocale::ShortFormat);
    format.replace(shortYear, QStringLiteral("yyyy"));
    return locale.toString(date, format);
}

} // namespace

const QString& ruleText()
{
    static const QString text(28, QChar(u'─'));
    return text;
}

Receipt Receipt::decode(const QByteArray& body, const QString& currency)
{
    if (body.size() > maximumBodyBytes)
        throw PrinterError(bodyTooLarge.toString());
    const JSONDocument json(body);
    ReceiptRequest request = ReceiptRequest::read(json.root(), currency);
    request.receipt.fingerprint = request.fingerprint();
    return std::move(request.receipt);
}

Receipt Receipt::test(const QDateTime& date)
{
    constexpr LineStyle heading{23, true, true, false};
    constexpr LineStyle centered{23, false, true, false};
    constexpr LineStyle note{20, false, true, false};
    constexpr LineStyle plain{23, false, false, false};
    Receipt receipt;
    receipt.lines = {
        LineStyle{32, true, true, false}.line(QStringLiteral("HARROWMINT")),
        LineStyle{27, true, true, false}.line(QStringLiteral("PRINTER TEST")),
        heading.line(QStringLiteral("TEST ONLY — NOT A SALE")),
        centered.line(QStringLiteral("USB connection • Mac app")),
        ruleStyle.line(ruleText()),
        LineStyle{23, true, false, false}.line(QStringLiteral("Sample item")),
        plain.line(QStringLiteral("1 × 0.00 = 0.00")),
        LineStyle{29, true, false, false}.line(QStringLiteral("TOTAL  0.00")),
        centered.line(QStringLiteral("Arabic: تجربة الطباعة")),
        note.line(QStringLiteral("No payment or stock change.")),
        note.line(dateText(date, QLocale())),
    };
    receipt.fingerprint = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return receipt;
}

QString Receipt::jobKey(const QString& origin) const
{
    const QString base = requestScoped() ? QStringLiteral("receipt-request-v1:") + *printRequestId : fingerprint;
    return sha256Hex((origin + QLatin1Char(':') + base).toUtf8());
}

} // namespace harrowmint
