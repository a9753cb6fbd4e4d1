// What a Bluetooth receipt of 100 kB costs beside the pauses that it has to make, with the whole agent on a system bus
// with a simulated bluetoothd: the job, from the agent's word that it is sending to its word that it has sent; the
// request, from the page's first byte to the answer's last; the agent's processor time on the way.
//   bench_bluetooth [RUNS]
// Takes port 9100. The pauses are computed from the packets that the printer got.
#include "e2e/BluetoothRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <vector>

using namespace harrowmint::test;

namespace {

constexpr qsizetype jobBytes = 100'000;
constexpr double toMilliseconds = 1e-6;

double lePauses(const QList<int>& packets)
{
    constexpr double settle = 500;
    double sum = settle;
    for (qsizetype i = 0; i + 1 < packets.size(); ++i)
        sum += std::max((packets[i] + 11) / 12, 2);
    return sum;
}

/// The printer's end sees a stream, and not its packets; the agent's are of 1024 bytes.
double serialPauses(qsizetype bytes)
{
    constexpr qsizetype packet = 1024;
    constexpr double pause = 10;
    return static_cast<double>((bytes + packet - 1) / packet) * pause;
}

/// The time that all threads of a process have run so far.
double processorMilliseconds(qint64 process)
{
    double sum = 0;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(process));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + QStringLiteral("/schedstat")));
        if (file.open(QFile::ReadOnly))
            sum += file.readAll().split(' ').value(0).toDouble() * toMilliseconds;
    }
    return sum;
}

QByteArray largeJob(Way way)
{
    int rows = 1000;
    QByteArray body = jobFor(way, rows);
    while (streamOf(body).size() < jobBytes)
        body = jobFor(way, rows += 12);
    return body;
}

struct Figures {
    double pauses;
    double job;
    double request;
    double processor;

    [[nodiscard]] double ratio() const { return job / pauses; }
    [[nodiscard]] double load() const { return 100 * processor / job; }
};

double milliseconds(const QElapsedTimer& clock)
{
    return static_cast<double>(clock.nsecsElapsed()) * toMilliseconds;
}

/// Waits until the agent has said `text` `count` times; when that was.
double whenSaid(BluetoothRig& rig, const QByteArray& text, int count, const QElapsedTimer& clock)
{
    constexpr unsigned long pollMicroseconds = 500;
    constexpr qint64 patienceMilliseconds = 120'000;
    while (rig.agent->log().count(text) < count) {
        if (clock.hasExpired(patienceMilliseconds))
            qFatal("the agent does not say: %s", text.constData());
        QThread::usleep(pollMicroseconds);
    }
    return milliseconds(clock);
}

/// The `number`th job of the rig's agent.
Figures measure(BluetoothRig& rig, Way way, int number)
{
    const QByteArray body = largeJob(way);
    const qsizetype before = rig.packets(way).size();
    const qsizetype bytesBefore = rig.received(way).size();
    const double processor = processorMilliseconds(rig.agent->processId());
    QElapsedTimer clock;
    clock.start();
    auto answer = rig.printMeanwhile(body);
    Figures figures{};
    const double begun = whenSaid(rig, "Sending receipt to Bluetooth printer", number, clock);
    figures.job = whenSaid(rig, "Receipt sent to Bluetooth printer", number, clock) - begun;
    const HttpResponse response = answer.get();
    figures.request = milliseconds(clock);
    figures.processor = processorMilliseconds(rig.agent->processId()) - processor;
    if (response.status != 200)
        qFatal("not printed: %s", response.body.constData());
    const QByteArray received = rig.received(way).mid(bytesBefore);
    if (received != streamOf(body))
        qFatal("the printer got something else");
    figures.pauses = way == Way::ReceiptSerial ? serialPauses(received.size()) : lePauses(rig.packets(way).mid(before));
    return figures;
}

void report(const char* name, Way way, int runs)
{
    BluetoothRig rig(QStringLiteral("harrowmint-printer"), AgentProcess::port);
    rig.publish();
    rig.startAgent(way, {QStringLiteral("--background")}); // as on every day: no window is drawn
    std::vector<Figures> all;
    for (int i = 0; i < runs; ++i) {
        all.push_back(measure(rig, way, i + 1));
        std::printf("%-7s run %d: pauses %.0f ms, job %.1f ms = %.4f x, request %.1f ms, processor %.1f ms = %.2f %%\n",
            name, i + 1, all.back().pauses, all.back().job, all.back().ratio(), all.back().request,
            all.back().processor, all.back().load());
        std::fflush(stdout);
    }
    std::sort(all.begin(), all.end(), [](const Figures& a, const Figures& b) { return a.ratio() < b.ratio(); });
    const Figures& median = all[all.size() / 2];
    std::printf("%-8s median: %.4f x the pauses, %.2f %% of a core\n", name, median.ratio(), median.load());
}

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    const int runs = std::clamp(QCoreApplication::arguments().value(1, QStringLiteral("5")).toInt(), 1, 7);
    report("LE", Way::ReceiptLE, runs);
    report("serial", Way::ReceiptSerial, runs);
}
