#pragma once

#include "base/PrinterError.h"
#include "server/HTTPRequest.h"

#include <QByteArrayView>
#include <QString>
#include <ostream>

namespace harrowmint::test {

/// What the parser says about some bytes: a request, "more", or a sentence. Comparable.
struct RequestVerdict {
    std::optional<HTTPRequest> request;
    QString error;

    bool operator==(const RequestVerdict&) const = default;
    [[nodiscard]] bool isIncomplete() const { return !request && error.isEmpty(); }
};

inline RequestVerdict verdictOn(QByteArrayView data, HTTPRequest::Progress& progress)
{
    try {
        return {HTTPRequest::parse(data, progress), {}};
    } catch (const PrinterError& error) {
        return {std::nullopt, error.message()};
    }
}

inline RequestVerdict verdictOn(QByteArrayView data)
{
    HTTPRequest::Progress none;
    return verdictOn(data, none);
}

inline void PrintTo(const RequestVerdict& verdict, std::ostream* out)
{
    if (verdict.request)
        *out << "request " << verdict.request->method.toStdString() << ' ' << verdict.request->path.toStdString()
             << " with " << verdict.request->headers.size() << " headers and " << verdict.request->body.size()
             << " body bytes";
    else
        *out << (verdict.isIncomplete() ? "incomplete" : verdict.error.toStdString());
}

} // namespace harrowmint::test
