// How long requests take to decode. A full-size invoice is one of 60 items and just under the limit of 128 KiB, in
// Latin script (with fields that nobody reads) or in vowelled Arabic, where every character is two scalars and must be
// looked at. The baseline is the JSON parser alone over the same bytes.
#include "documents/Receipt.h"
#include "documents/ReceiptRequest.h"

#include <QFile>
#include <benchmark/benchmark.h>
#include <simdjson.h>

namespace harrowmint {
namespace {

constexpr qsizetype bodyBytes = 131072;
constexpr int items = 60;

QByteArray itemWith(const QString& title, const QString& meta)
{
    return "{\"title\":\"" + title.toUtf8() + "\",\"quantity\":2,\"priceEach\":4.75,\"lineTotal\":9.5,\"meta\":\""
        + meta.toUtf8() + "\",\"note\":\"\"}";
}

/// A request whose items carry notes that fill it up to `bodyBytes`.
QByteArray filledUp(const QByteArray& item, const QString& address)
{
    QByteArray body = "{\"action\":\"print\",\"documentType\":\"invoice\",\"printer_name\":\"POSPrinter\",\"invoice\":{"
                      "\"currencyCode\":\"AED\",\"actualAmount\":570,\"totalAmount\":570,\"branchAddress\":\""
        + address.toUtf8() + "\",\"lineItems\":[" + QByteArrayList(items, item).join(',') + "]}}";
    const QByteArray emptyNote = "\"note\":\"\"";
    const QByteArray note = "\"note\":\"" + QByteArray((bodyBytes - body.size()) / items, 'n') + '"';
    return body.replace(emptyNote, note);
}

QString repeated(const QString& text, qsizetype length)
{
    return text.repeated(length / text.size() + 1).first(length);
}

const QByteArray& latinInvoice()
{
    const auto words = QStringLiteral("Fresh orange juice with ginger, mint ");
    static const QByteArray body =
        filledUp(itemWith(repeated(words, 240), repeated(words, 160)), repeated(words, 2000));
    return body;
}

const QByteArray& arabicInvoice()
{
    const auto letters = QStringLiteral("مَقْهَى").first(6);
    static const QByteArray body =
        filledUp(itemWith(repeated(letters, 480), repeated(letters, 320)), repeated(letters, 2000));
    return body;
}

QByteArray sample(const char* name)
{
    QFile file(QStringLiteral(HARROWMINT_SAMPLES "/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", name);
    return file.readAll();
}

void parserAlone(benchmark::State& state, const QByteArray& body)
{
    for ([[maybe_unused]] auto _ : state) {
        simdjson::dom::parser parser;
        benchmark::DoNotOptimize(parser.parse(body.constData(), static_cast<std::size_t>(body.size())).error());
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}

void parserKept(benchmark::State& state, const QByteArray& body)
{
    simdjson::dom::parser parser;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(parser.parse(body.constData(), static_cast<std::size_t>(body.size())).error());
    state.SetBytesProcessed(state.iterations() * body.size());
}

void parsedAndRead(benchmark::State& state, const QByteArray& body)
{
    for ([[maybe_unused]] auto _ : state) {
        const JSONDocument json(body);
        benchmark::DoNotOptimize(ReceiptRequest::read(json.root(), QStringLiteral("USD")));
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}

void decoded(benchmark::State& state, const QByteArray& body)
{
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Receipt::decode(body, QStringLiteral("USD")));
    state.SetBytesProcessed(state.iterations() * body.size());
}

BENCHMARK_CAPTURE(parserAlone, latin128KiB, latinInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parserKept, latin128KiB, latinInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parsedAndRead, latin128KiB, latinInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decoded, latin128KiB, latinInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parserAlone, arabic128KiB, arabicInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parserKept, arabic128KiB, arabicInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parsedAndRead, arabic128KiB, arabicInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decoded, arabic128KiB, arabicInvoice())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parsedAndRead, invoice60, sample("invoice-60.json"))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decoded, invoice60, sample("invoice-60.json"))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parsedAndRead, receiptDocument, sample("receipt-document.json"))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decoded, receiptDocument, sample("receipt-document.json"))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parsedAndRead, label, sample("label.json"))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decoded, label, sample("label.json"))->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace harrowmint
