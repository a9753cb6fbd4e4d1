#pragma once

#include "base/JSONDocument.h"

#include <QString>
#include <string_view>

namespace harrowmint {

/// Reads the fields of an invoice, or of one of its items, as stores send them: numbers may come as texts and texts as
/// numbers, and null counts as missing. A view; must not outlive the JSON document. Every reader throws PrinterError
/// with a sentence that names the key.
class InvoiceFields {
public:
    /// What becomes of a line break or a tab within a text.
    enum class LineBreaks {
        Removed, ///< and the text is measured in characters as a person sees them
        BecomeSpaces, ///< and the text is measured in Unicode scalars
    };

    explicit InvoiceFields(const JSONObject& object)
        : m_object(object)
    {
    }

    /// Whether the key is there, be it null.
    [[nodiscard]] bool contains(std::string_view key) const { return m_object.contains(key); }
    /// The text, cleaned and trimmed; empty when missing. What was sent must not be longer than `limit`.
    [[nodiscard]] QString text(
        std::string_view key, qsizetype limit, LineBreaks lineBreaks = LineBreaks::Removed) const;
    /// An amount from 0 to 1 000 000 000 that must be there; never a negative zero.
    [[nodiscard]] double requiredAmount(std::string_view key) const;
    /// The same, but 0 when missing.
    [[nodiscard]] double optionalAmount(std::string_view key) const;

private:
    [[nodiscard]] std::optional<double> amount(std::string_view key) const;

    const JSONObject& m_object;
};

} // namespace harrowmint
