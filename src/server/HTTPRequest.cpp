#include "server/HTTPRequest.h"

#include "base/PrinterError.h"
#include "server/Blanks.h"

#include <algorithm>
#include <string_view>

namespace harrowmint {

namespace {

constexpr qsizetype maximumHeaderBytes = 8'192; // request line and header lines, without the blank line
constexpr qsizetype maximumBodyBytes = 131'072;
constexpr qsizetype maximumLengthDigits = 6;

constexpr QByteArrayView lineEnd("\r\n");
constexpr QByteArrayView headerEnd("\r\n\r\n");

constexpr QStringView requestTooLarge = u"Request too large.";
constexpr QStringView headersTooLarge = u"Headers too large.";
constexpr QStringView invalidHeaders = u"Invalid headers.";
constexpr QStringView unsupportedRequest = u"Unsupported request.";
constexpr QStringView invalidHeader = u"Invalid header.";
constexpr QStringView duplicateOrInvalidHeader = u"Duplicate or invalid header.";
constexpr QStringView unsupportedTransferEncoding = u"Unsupported transfer encoding.";
constexpr QStringView invalidBodyLength = u"Invalid body length.";
constexpr QStringView bodyRequired = u"A JSON body is required.";
constexpr QStringView unexpectedBody = u"Unexpected request body.";
constexpr QStringView onlyOneRequest = u"Only one request is allowed.";

void require(bool condition, QStringView otherwise)
{
    if (!condition)
        throw PrinterError(otherwise.toString());
}

bool isHeaderText(char c)
{
    return c == '\r' || c == '\n' || (c >= 32 && c <= 126);
}

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool isNameCharacter(QChar c)
{
    return (c >= u'a' && c <= u'z') || isDigit(c) || c == u'-';
}

/// Like QByteArrayView::indexOf, which prepares a search that texts as short as these do not repay.
qsizetype position(QByteArrayView text, QByteArrayView searched)
{
    const auto found = std::string_view(text.data(), static_cast<std::size_t>(text.size()))
                           .find(std::string_view(searched.data(), static_cast<std::size_t>(searched.size())));
    return found == std::string_view::npos ? -1 : static_cast<qsizetype>(found);
}

/// Takes the text before the first `separator`, and the separator, off `rest`; all of it when there is none.
QByteArrayView takeUntil(QByteArrayView& rest, QByteArrayView separator)
{
    const qsizetype end = position(rest, separator);
    const QByteArrayView taken = end < 0 ? rest : rest.first(end);
    rest = end < 0 ? QByteArrayView() : rest.sliced(end + separator.size());
    return taken;
}

void readRequestLine(HTTPRequest& request, QByteArrayView line)
{
    require(std::count(line.begin(), line.end(), ' ') == 2, unsupportedRequest);
    const QByteArrayView method = takeUntil(line, " ");
    const QByteArrayView path = takeUntil(line, " ");
    require(line == "HTTP/1.1" && (method == "GET" || method == "POST" || method == "OPTIONS"), unsupportedRequest);
    request.method = QString::fromLatin1(method);
    request.path = QString::fromLatin1(path);
}

void readHeaderLine(HTTPRequest& request, QByteArrayView line)
{
    require(line.contains(':'), invalidHeader);
    const QString name = QString::fromLatin1(takeUntil(line, ":")).toLower();
    require(!name.isEmpty() && std::all_of(name.begin(), name.end(), isNameCharacter), duplicateOrInvalidHeader);
    const auto [position, added] =
        request.headers.try_emplace(name, withoutBlanks(QString::fromLatin1(line)).toString());
    require(added, duplicateOrInvalidHeader);
}

/// Reads `block`: the request line and the header lines, without the last line's end.
HTTPRequest readHeaders(QByteArrayView block)
{
    require(
        block.size() <= maximumHeaderBytes && std::all_of(block.begin(), block.end(), isHeaderText), invalidHeaders);
    HTTPRequest request;
    readRequestLine(request, takeUntil(block, lineEnd));
    while (!block.isEmpty())
        readHeaderLine(request, takeUntil(block, lineEnd));
    return request;
}

qsizetype declaredBodyLength(const HTTPRequest& request)
{
    require(!request.header(QStringLiteral("transfer-encoding")) && !request.header(QStringLiteral("expect")),
        unsupportedTransferEncoding);
    const QString text = request.header(QStringLiteral("content-length")).value_or(QStringLiteral("0"));
    require(!text.isEmpty() && text.size() <= maximumLengthDigits && std::all_of(text.begin(), text.end(), isDigit),
        invalidBodyLength);
    const qsizetype length = text.toInt();
    require(length <= maximumBodyBytes, invalidBodyLength);
    if (request.method == QStringLiteral("POST"))
        require(length != 0, bodyRequired);
    else
        require(length == 0, unexpectedBody);
    return length;
}

} // namespace

std::optional<QString> HTTPRequest::header(const QString& name) const
{
    const auto found = headers.find(name);
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

std::optional<HTTPRequest> HTTPRequest::parse(QByteArrayView data)
{
    Progress none;
    return parse(data, none);
}

std::optional<HTTPRequest> HTTPRequest::parse(QByteArrayView data, Progress& progress)
{
    require(data.size() <= maximumBytes, requestTooLarge);
    if (data.size() < progress.awaited)
        return std::nullopt;
    const qsizetype found = position(data.sliced(progress.searched), headerEnd);
    if (found < 0) {
        require(data.size() <= maximumHeaderBytes, headersTooLarge);
        progress.searched = std::max<qsizetype>(0, data.size() - headerEnd.size() + 1);
        return std::nullopt;
    }
    progress.searched += found;
    HTTPRequest request = readHeaders(data.first(progress.searched));
    const qsizetype length = declaredBodyLength(request);
    const QByteArrayView body = data.sliced(progress.searched + headerEnd.size());
    if (body.size() < length) {
        progress.awaited = data.size() - body.size() + length;
        return std::nullopt;
    }
    require(body.size() == length, onlyOneRequest);
    request.body = body.toByteArray();
    return request;
}

} // namespace harrowmint
