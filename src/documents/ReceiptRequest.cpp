#include "documents/ReceiptRequest.h"

#include "base/CanonicalJSON.h"
#include "base/Digest.h"
#include "base/PrinterError.h"
#include "base/Text.h"
#include "documents/InvoiceLayout.h"

namespace harrowmint {

namespace {

constexpr QStringView invalidLabelJob = u"Invalid label or printer alias.";
constexpr QStringView invalidInvoice = u"Invalid POS invoice or printer alias. Expected POSPrinter and 1–60 items.";
constexpr QStringView invalidIdentifier = u"Invalid receipt print request identifier.";

constexpr std::size_t maximumItems = 60;

bool hasText(const JSONObject& object, std::string_view key, std::string_view text)
{
    const std::optional<JSONValue> value = object.value(key);
    return value && value->isString(text);
}

Receipt readLabelJob(const JSONObject& root)
{
    const std::optional<JSONValue> label = root.value("labelDocument");
    if (!hasText(root, "action", "print") || !hasText(root, "printer_name", "LabelPrinter") || !label)
        throw PrinterError(invalidLabelJob.toString());
    Receipt receipt;
    receipt.labelDocument = LabelDocument::decode(*label);
    return receipt;
}

/// The line items of an invoice; nothing unless they are 1 to 60 objects.
std::optional<std::vector<JSONObject>> itemsOf(const std::optional<JSONObject>& invoice)
{
    const std::optional<JSONValue> value = invoice ? invoice->value("lineItems") : std::nullopt;
    const auto entries = value ? value->array() : std::nullopt;
    if (!entries || entries->empty() || entries->size() > maximumItems)
        return std::nullopt;
    std::vector<JSONObject> items;
    items.reserve(entries->size());
    for (const JSONValue& entry : *entries) {
        std::optional<JSONObject> item = entry.object();
        if (!item)
            return std::nullopt;
        items.push_back(std::move(*item));
    }
    return items;
}

bool isInvoiceJob(const JSONObject& root)
{
    return hasText(root, "action", "print") && hasText(root, "documentType", "invoice")
        && hasText(root, "printer_name", "POSPrinter");
}

std::optional<QString> readIdentifier(const JSONObject& root)
{
    const std::optional<JSONValue> value = root.value("printRequestId");
    if (!value)
        return std::nullopt;
    const std::optional<QString> text = value->string();
    if (!text || !isUuid(*text))
        throw PrinterError(invalidIdentifier.toString());
    return text->toLower();
}

ReceiptRequest readInvoiceJob(const std::optional<JSONObject>& root, const QString& currency)
{
    const auto value = root && isInvoiceJob(*root) ? root->value("invoice") : std::nullopt;
    const auto invoice = value ? value->object() : std::nullopt;
    const auto items = itemsOf(invoice);
    if (!items)
        throw PrinterError(invalidInvoice.toString());
    ReceiptRequest request;
    request.invoice = value;
    Receipt& receipt = request.receipt;
    receipt.printRequestId = readIdentifier(*root);
    InvoiceLayout layout = layOutInvoice(*invoice, *items, currency);
    receipt.lines = std::move(layout.lines);
    receipt.website = std::move(layout.website);
    if (const auto document = root->value("receiptDocument"))
        receipt.document = ReceiptDocument::decode(*document);
    return request;
}

} // namespace

ReceiptRequest ReceiptRequest::read(const JSONValue& root, const QString& currency)
{
    const std::optional<JSONObject> object = root.object();
    if (object && hasText(*object, "documentType", "label"))
        return {readLabelJob(*object), std::nullopt};
    return readInvoiceJob(object, currency);
}

QString ReceiptRequest::fingerprint() const
{
    if (receipt.labelDocument)
        return receipt.labelDocument->fingerprint();
    if (receipt.document)
        return receipt.document->fingerprint();
    return sha256Hex(canonicalJSON(invoice.value()));
}

} // namespace harrowmint
