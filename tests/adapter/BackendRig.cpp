#include "adapter/BackendRig.h"

namespace adapter {

using namespace harrowmint;

namespace {

TransferCompletion completionOf(const Outcome& outcome)
{
    return TransferCompletion(
        [outcome](const TransferOutcome& error) { *outcome = error ? error->message() : QString(); });
}

} // namespace

Outcome BackendTest::printReceipt(const QByteArray& bytes)
{
    if (!m_receipts)
        m_receipts = std::make_unique<ReceiptBLEBackend>(m_queue, m_centrals.on(m_queue));
    const auto outcome = std::make_shared<std::optional<QString>>();
    m_receipts->start(bytes, lePort, completionOf(outcome));
    return outcome;
}

Outcome BackendTest::printSerially(const QByteArray& bytes)
{
    if (!m_serial)
        makeSerial();
    if (!m_serialReceipts)
        m_serialReceipts = std::make_unique<ReceiptSerialBackend>(m_queue, test::lend(*m_serial));
    const auto outcome = std::make_shared<std::optional<QString>>();
    m_serialReceipts->start(bytes, serialPortName, completionOf(outcome));
    return outcome;
}

QString BackendTest::sentence(const Outcome& outcome)
{
    return waitFor([&] { return outcome->has_value(); }) ? **outcome : QStringLiteral("(no result)");
}

void BackendTest::waitForBytes(const QString& path, int count)
{
    ASSERT_TRUE(waitFor([&] { return m_bluez.received(path).size() >= count; }));
}

void BackendTest::forgetLink()
{
    m_bluez.change(printerPath, QStringLiteral("org.bluez.Device1"),
        {{QStringLiteral("Connected"), false}, {QStringLiteral("ServicesResolved"), false}});
}

} // namespace adapter
