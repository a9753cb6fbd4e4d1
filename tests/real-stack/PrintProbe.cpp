// Prints files through the transports over the system's own bluetoothd, and says how each job ended:
//   print_probe [receipt PORT FILE | label PORT FILE | serial PORT FILE | find | paired | wait MILLISECONDS]...
// A label's FILE holds its pixels, 48 bytes a row, and FILE.stream gets what the printer should; the other files hold
// the bytes that the printer gets. A line per step: seconds since the start, the step, how long it took, and the
// sentence
// ("sent" when all is well).
#include "base/PrinterError.h"
#include "base/QtQueue.h"
#include "documents/LabelDocument.h"
#include "transports/LabelBackend.h"
#include "transports/ReceiptBLEBackend.h"
#include "transports/ReceiptSerialBackend.h"
#include "transports/linux/bluez/BluezLECentral.h"
#include "transports/linux/bluez/BluezSerialBluetooth.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <cstdio>
#include <future>
#include <thread>

using namespace harrowmint;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    if (!file.open(QFile::ReadOnly))
        throw PrinterError(QStringLiteral("%1 cannot be read").arg(path));
    return file.readAll();
}

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::System | QDir::AllEntries)
        .size();
}

/// The agent's transports on queues as in the agent: the serial one on the main thread, each LE one on its own.
class Probe {
public:
    explicit Probe(SerialQueue& mainQueue)
        : m_receipts(m_receiptQueue, m_centrals.on(m_receiptQueue))
        , m_labels(m_labelQueue, m_centrals.on(m_labelQueue))
        , m_serial(mainQueue, [&mainQueue] { return std::make_unique<BluezSerialBluetooth>(mainQueue); })
    {
        m_clock.start();
    }

    /// Takes a step's words from the list and carries it out; blocks. Never on the main thread.
    void step(QStringList& words)
    {
        const QString verb = words.takeFirst();
        const qint64 start = m_clock.elapsed();
        QString result = QStringLiteral("sent");
        try {
            if (verb == QLatin1String("find"))
                result = find();
            else if (verb == QLatin1String("paired"))
                result = listed(m_serial.discover());
            else if (verb == QLatin1String("wait"))
                std::this_thread::sleep_for(std::chrono::milliseconds(words.takeFirst().toInt()));
            else
                print(verb, words);
        } catch (const PrinterError& error) {
            result = error.message();
        }
        std::printf("%8.3f %s (%.3f s, %d descriptors): %s\n", static_cast<double>(m_clock.elapsed()) / 1000,
            qPrintable(verb), static_cast<double>(m_clock.elapsed() - start) / 1000,
            static_cast<int>(openDescriptors()), qPrintable(result));
        std::fflush(stdout);
    }

private:
    void print(const QString& verb, QStringList& words)
    {
        const QString port = words.takeFirst();
        const QString path = words.takeFirst();
        const QByteArray bytes = contents(path);
        if (verb == QLatin1String("receipt"))
            m_receipts.print(bytes, port);
        else if (verb == QLatin1String("label"))
            printLabel(bytes, port, path + QStringLiteral(".stream"));
        else if (verb == QLatin1String("serial"))
            m_serial.print(bytes, port);
        else
            throw PrinterError(QStringLiteral("No such step"));
    }

    void printLabel(const QByteArray& pixels, const QString& port, const QString& streamPath)
    {
        constexpr int width = 384;
        const LabelDocument label{1, width, static_cast<int>(pixels.size() / (width / 8)), pixels.toBase64()};
        QFile stream(streamPath);
        if (!stream.open(QFile::WriteOnly) || stream.write(label.bytes()) < 0)
            throw PrinterError(QStringLiteral("%1 cannot be written").arg(streamPath));
        m_labels.print(label, port);
    }

    QString find()
    {
        std::promise<std::vector<USBPrinter>> found;
        m_receipts.discover(
            std::nullopt, [&found](const std::vector<USBPrinter>& printers) { found.set_value(printers); });
        return listed(found.get_future().get());
    }

    static QString listed(const std::vector<USBPrinter>& printers)
    {
        QStringList lines;
        for (const USBPrinter& printer : printers)
            lines.append(printer.uri + QStringLiteral(" = ") + printer.name);
        return lines.isEmpty() ? QStringLiteral("none") : lines.join(QStringLiteral(", "));
    }

    QElapsedTimer m_clock;
    BluezLECentrals m_centrals;
    WorkerQueue m_receiptQueue{QStringLiteral("com.harrowmint.printer.receipts")};
    WorkerQueue m_labelQueue{QStringLiteral("com.harrowmint.printer.labels")};
    ReceiptBLEBackend m_receipts;
    LabelBackend m_labels;
    ReceiptSerialBackend m_serial;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QtQueue mainQueue;
    Probe probe(mainQueue);
    QStringList words = QCoreApplication::arguments().mid(1);
    std::thread worker([&] {
        while (!words.isEmpty())
            probe.step(words);
        mainQueue.async([] { QCoreApplication::quit(); });
    });
    const int status = QCoreApplication::exec();
    worker.join();
    return status;
}
