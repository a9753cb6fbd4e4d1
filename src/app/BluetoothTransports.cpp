#include "app/BluetoothTransports.h"

namespace harrowmint {

namespace {

const auto receiptQueueLabel = QStringLiteral("com.harrowmint.printer.receipts");
const auto labelQueueLabel = QStringLiteral("com.harrowmint.printer.labels");

} // namespace

BluetoothTransports::BluetoothTransports(SerialQueue& main, const BluetoothPorts& ports)
    : m_receiptQueue(receiptQueueLabel)
    , m_labelQueue(labelQueueLabel)
    , m_receipts(m_receiptQueue, ports.lowEnergy(m_receiptQueue))
    , m_labels(m_labelQueue, ports.lowEnergy(m_labelQueue))
    , m_serialReceipts(main, [&main, make = ports.serial] { return make(main); })
{
}

void BluetoothTransports::disconnect()
{
    m_receipts.disconnect();
    m_labels.disconnect();
}

void BluetoothTransports::addTo(Transports& transports)
{
    transports.receiptBLE = [this](const QByteArray& bytes, const QString& port) { m_receipts.print(bytes, port); };
    transports.receiptSerial = [this](const QByteArray& bytes, const QString& port) {
        m_serialReceipts.print(bytes, port);
    };
    transports.labels = [this](const LabelDocument& label, const QString& port) { m_labels.print(label, port); };
}

} // namespace harrowmint
