#pragma once

#include "documents/Receipt.h"
#include "documents/Samples.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

// The smallest valid request, taken apart for tests to change.
inline const Members item{{"title", "\"Tea\""}, {"quantity", "2"}, {"priceEach", "1.5"}, {"lineTotal", "3"}};
inline const Members invoice{
    {"lineItems", '[' + item.json() + ']'}, {"actualAmount", "3"}, {"totalAmount", "3"}, {"currencyCode", "\"AED\""}};
inline const Members envelope{{"action", "\"print\""}, {"documentType", "\"invoice\""},
    {"printer_name", "\"POSPrinter\""}, {"invoice", invoice.json()}};

[[nodiscard]] inline Receipt receipt(const QByteArray& body)
{
    return Receipt::decode(body, QStringLiteral("USD"));
}

[[nodiscard]] inline Receipt receiptOf(const Members& invoice)
{
    return receipt(envelope.with("invoice", invoice.json()).json());
}

[[nodiscard]] inline Members withItem(const Members& item)
{
    return invoice.with("lineItems", '[' + item.json() + ']');
}

[[nodiscard]] inline QString requestFailure(const QByteArray& body)
{
    return failureOf([&] { (void)receipt(body); });
}

[[nodiscard]] inline QString invoiceFailure(const Members& invoice)
{
    return failureOf([&] { (void)receiptOf(invoice); });
}

[[nodiscard]] inline QStringList texts(const Receipt& receipt)
{
    QStringList list;
    for (const ReceiptLine& line : receipt.lines)
        list << line.text;
    return list;
}

} // namespace harrowmint::test
