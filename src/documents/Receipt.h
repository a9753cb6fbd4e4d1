#pragma once

#include "documents/LabelDocument.h"
#include "documents/ReceiptDocument.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <optional>
#include <vector>

namespace harrowmint {

/// One line of a simple receipt.
struct ReceiptLine {
    QString text;
    double size = 23; ///< font size in dots
    bool bold = false;
    bool centered = false;
    bool fullTextLayout = false; ///< free text: laid out and wrapped in full

    bool operator==(const ReceiptLine&) const = default;
};

/// The text of a separator line: 28 × U+2500 BOX DRAWINGS LIGHT HORIZONTAL.
[[nodiscard]] const QString& ruleText();

/// One print request, decoded, bounded and normalised. A plain value; any thread.
struct Receipt {
    std::vector<ReceiptLine> lines; ///< the laid-out invoice; empty for a label job
    QString fingerprint; ///< 64 lower-case hexadecimal digits (a random UUID for the test receipt)
    QString website; ///< normalised store website with a trailing "/", or empty
    std::optional<ReceiptDocument> document;
    std::optional<LabelDocument> labelDocument;
    std::optional<QString> printRequestId; ///< lower-case UUID

    bool operator==(const Receipt&) const = default;

    /// Decodes a request body of at most 131072 bytes; `currency` is the fallback code. Throws PrinterError with the
    /// sentence of the first failing check, or with the JSON parser's own.
    [[nodiscard]] static Receipt decode(const QByteArray& body, const QString& currency);
    /// The fixed test receipt, dated `date` in the user's locale, with a fresh random fingerprint.
    [[nodiscard]] static Receipt test(const QDateTime& date = QDateTime::currentDateTime());

    /// Whether a repeat is recognised by the page's own identifier.
    [[nodiscard]] bool requestScoped() const { return !labelDocument && printRequestId; }
    /// The print guard's key of this job from this store: 64 lower-case hexadecimal digits.
    [[nodiscard]] QString jobKey(const QString& origin) const;
};

} // namespace harrowmint
