// Rendering against its baselines: the same receipt by Pango and Cairo, and the plain copying of as many pixels.
#include "PangoReceipt.h"
#include "render/RasterReceipt.h"

#include <QFile>
#include <QGuiApplication>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <utility>
#include <vector>

using namespace harrowmint;

namespace {

constexpr int widePaper = 80;

QByteArray invoice()
{
    QFile file(QStringLiteral(HARROWMINT_SOURCE_DIR "/tests/samples/invoice-60.json"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("The sample invoice is missing.");
    return file.readAll();
}

Receipt decoded()
{
    return Receipt::decode(invoice(), QStringLiteral("AED"));
}

/// By how many rows the line lengthens a receipt.
int advanceOf(const ReceiptLine& line)
{
    const auto height = [](std::vector<ReceiptLine> lines) {
        Receipt receipt;
        receipt.lines = std::move(lines);
        return RasterReceipt::render(receipt, widePaper).bitmap().height();
    };
    return height({line}) - height({});
}

/// The lines of the invoice, over and over, as many as fit a receipt of the greatest length.
Receipt longest()
{
    const std::vector<ReceiptLine> lines = decoded().lines;
    Receipt receipt;
    int rows = 24 + 24 + 160;
    for (std::size_t i = 0;; ++i) {
        const ReceiptLine& line = lines[i % lines.size()];
        rows += advanceOf(line);
        if (rows > RasterReceipt::maximumHeight)
            return receipt;
        receipt.lines.push_back(line);
    }
}

/// A figure of the process's memory in kilobytes.
long memory(const char* name)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith(name))
            return line.mid(qsizetype(std::strlen(name)) + 1).simplified().split(' ').first().toLong();
    }
    return 0;
}

void resetPeakMemory()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

void invoiceByUs(benchmark::State& state)
{
    const QByteArray body = invoice();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            RasterReceipt::render(Receipt::decode(body, QStringLiteral("AED")), widePaper).bytes().size());
}

void invoiceByPango(benchmark::State& state, bench::PangoSurface surface)
{
    const QByteArray body = invoice();
    for (auto _ : state)
        benchmark::DoNotOptimize(bench::pangoReceipt(Receipt::decode(body, QStringLiteral("AED")), surface).size());
}

void decodingAlone(benchmark::State& state)
{
    const QByteArray body = invoice();
    for (auto _ : state)
        benchmark::DoNotOptimize(Receipt::decode(body, QStringLiteral("AED")).lines.size());
}

/// What the process takes at most while it renders the longest receipt, beyond what it took before, in kilobytes.
long peakOfTheLongestReceipt()
{
    const Receipt receipt = longest();
    malloc_trim(0);
    resetPeakMemory();
    const long idle = memory("VmRSS:");
    benchmark::DoNotOptimize(RasterReceipt::render(receipt, widePaper).bytes().size());
    return memory("VmHWM:") - idle;
}

void longestReceipt(benchmark::State& state)
{
    const Receipt receipt = longest();
    for (auto _ : state)
        benchmark::DoNotOptimize(RasterReceipt::render(receipt, widePaper).bytes().size());
    state.counters["bytes"] = double(RasterReceipt::render(receipt, widePaper).bytes().size());
}

void longestReceiptByPango(benchmark::State& state, bench::PangoSurface surface)
{
    const Receipt receipt = longest();
    for (auto _ : state)
        benchmark::DoNotOptimize(bench::pangoReceipt(receipt, surface).size());
}

/// What a threshold over the picture of the longest receipt would have to read, copied and nothing else.
void copyOfTheLongestPicture(benchmark::State& state)
{
    const std::vector<char> from(std::size_t(576) * 12000 * 4, 'x');
    std::vector<char> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(from.size()));
}

} // namespace

BENCHMARK(longestReceipt)->Unit(benchmark::kMicrosecond);
BENCHMARK(copyOfTheLongestPicture)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(longestReceiptByPango, RGB, bench::PangoSurface::RGB)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(longestReceiptByPango, Alpha, bench::PangoSurface::Alpha)->Unit(benchmark::kMicrosecond);
BENCHMARK(invoiceByUs)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(invoiceByPango, RGB, bench::PangoSurface::RGB)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(invoiceByPango, Alpha, bench::PangoSurface::Alpha)->Unit(benchmark::kMicrosecond);
BENCHMARK(decodingAlone)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    warmFonts();
    std::printf("Longest receipt: %ld KB at most above idle\n", peakOfTheLongestReceipt());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
