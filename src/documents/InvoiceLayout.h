#pragma once

#include "base/JSONDocument.h"
#include "documents/Receipt.h"

#include <QString>
#include <vector>

namespace harrowmint {

/// The look of a receipt line, without its text.
struct LineStyle {
    double size; ///< dots
    bool bold;
    bool centered;
    bool fullTextLayout;

    /// A line of this look.
    [[nodiscard]] ReceiptLine line(QString text) const
    {
        return {std::move(text), size, bold, centered, fullTextLayout};
    }
};

/// The look of a separator line, whose text is `ruleText`.
inline constexpr LineStyle ruleStyle{19, false, false, false};

/// An invoice as it will be printed.
struct InvoiceLayout {
    std::vector<ReceiptLine> lines;
    QString website; ///< normalised, with a trailing "/", or empty
};

/// Reads `invoice`, whose `lineItems` are `items`, from top to bottom and lays it out. `currency` is the code that an
/// invoice without one is printed in. Throws PrinterError with the first failing field's sentence.
[[nodiscard]] InvoiceLayout layOutInvoice(
    const JSONObject& invoice, const std::vector<JSONObject>& items, const QString& currency);

} // namespace harrowmint
