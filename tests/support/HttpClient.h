#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <cstdint>

namespace harrowmint::test {

/// A response as it came over the wire, taken apart.
struct HttpResponse {
    QByteArray raw;
    int status = 0; ///< 0 when nothing (or nothing readable) came
    QByteArrayList headerLines;
    QByteArray body;

    /// The value of a header line, or a null array.
    [[nodiscard]] QByteArray header(const QByteArray& name) const;
};

/// Sends `request` to 127.0.0.1:`port` over a connection of its own and reads until the peer closes. Blocks; gives up
/// after 60 s without a byte.
[[nodiscard]] HttpResponse exchange(std::uint16_t port, const QByteArray& request);

/// The bytes of a request as a store page's browser sends it.
[[nodiscard]] QByteArray pageRequest(std::uint16_t port, const QByteArray& method, const QByteArray& path,
    const QByteArray& origin, const QByteArray& body = {}, const QByteArray& moreHeaderLines = {});

} // namespace harrowmint::test
