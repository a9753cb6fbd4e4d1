#pragma once

#include "e2e/AgentProcess.h"
#include "support/bluez/PrivateBus.h"
#include "support/bluez/SimulatedBluez.h"

#include <future>
#include <optional>

namespace harrowmint::test {

/// The ways of a job to a Bluetooth printer.
enum class Way { ReceiptLE, Label, ReceiptSerial };

/// A computer with the agent, a system bus, a bluetoothd that is not started yet, and three printers that it knows: a
/// receipt printer and a label printer over LE, and a paired serial one.
class BluetoothRig {
public:
    static const QString adapter; ///< the path of the computer's Bluetooth adapter
    static const QByteArray store; ///< the approved one

    /// `program` is the agent; it listens on `port`, of which it is told in its first argument.
    explicit BluetoothRig(QString program, std::uint16_t port = freePort());

    /// Makes the adapter and the printers known to bluetoothd, and starts it.
    void publish();
    /// bluetoothd is another process now, and no link has survived.
    void restartBluez();
    void setPowered(bool powered);

    /// Starts the agent with receipts going out `way` (labels: over LE in any case).
    void startAgent(Way way, const QStringList& arguments = {});
    /// What the page hears about a job.
    [[nodiscard]] HttpResponse print(const QByteArray& body) const;
    [[nodiscard]] std::future<HttpResponse> printMeanwhile(const QByteArray& body) const;
    [[nodiscard]] HttpResponse health() const;
    /// What the printer at the end of this way has been sent, and in what packets.
    [[nodiscard]] QByteArray received(Way way) { return bluez.received(receiver(way)); }
    [[nodiscard]] QList<int> packets(Way way) { return bluez.packets(receiver(way)); }
    /// Waits until that printer has got more than `count` bytes.
    void waitForBytes(Way way, qsizetype count);

    PrivateBus bus;
    SimulatedBluez bluez{bus.address()};
    std::optional<AgentProcess> agent;

private:
    void addPrinter(Way way);
    void saveSettings(Way way) const;
    /// Where bluetoothd keeps what a printer was sent: a characteristic, or the serial device.
    [[nodiscard]] static QString receiver(Way way);

    QString m_program;
    TemporaryDirectory m_home;
    std::uint16_t m_port;
};

/// A print request for this way that no other resembles, of `rows` rows on paper of 58 mm or a little more.
[[nodiscard]] QByteArray jobFor(Way way, int rows);
/// The stream that such a request is to become.
[[nodiscard]] QByteArray streamOf(const QByteArray& body);

} // namespace harrowmint::test
