#include "LERig.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

namespace {

constexpr int receiptBytes = 500;
constexpr int labelWidth = 48;
constexpr int labelHeight = 40;

TransferCompletion recorder(const std::shared_ptr<std::optional<Ended>>& into, VirtualClock& clock)
{
    return TransferCompletion([into, &clock](const TransferOutcome& outcome) {
        EXPECT_FALSE(into->has_value()) << "a second result for one job";
        *into = Ended{outcome ? outcome->message() : QString(), clock.elapsed()};
    });
}

} // namespace

QByteArray jobBytes(int bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    for (int i = 0; i < bytes; ++i)
        data[i] = static_cast<char>(i * 31 + i / 251);
    return data;
}

LabelDocument label(int width, int height)
{
    return {1, width, height, jobBytes(width / 8 * height).toBase64()};
}

QString portOf(int printer)
{
    return QStringLiteral("ble:") + FakeLE::identifier(printer).toString(QUuid::WithoutBraces).toUpper();
}

LERig::LERig(Kind kind)
    : m_kind(kind)
{
    if (kind == Kind::receipts)
        m_receipts = std::make_unique<ReceiptBLEBackend>(queue, world.factory(), m_waiter);
    else
        m_labels = std::make_unique<LabelBackend>(queue, world.factory(), m_waiter);
    FakePeripheral& printer = world.addPrinter();
    printer.services[0xFF00] = {{.uuid = 0xFF02, .write = true, .writeWithoutResponse = true}};
}

LERig::~LERig()
{
    destroy();
    clock->runDue();
}

std::shared_ptr<std::optional<Ended>> LERig::start(int printer)
{
    return m_kind == Kind::receipts ? start(stream(), printer) : start(label(labelWidth, labelHeight), printer);
}

std::shared_ptr<std::optional<Ended>> LERig::start(const QByteArray& receipt, int printer)
{
    auto ended = std::make_shared<std::optional<Ended>>();
    m_receipts->start(receipt, portOf(printer), recorder(ended, *clock));
    return ended;
}

std::shared_ptr<std::optional<Ended>> LERig::start(const LabelDocument& document, int printer)
{
    auto ended = std::make_shared<std::optional<Ended>>();
    m_labels->start(document, portOf(printer), recorder(ended, *clock));
    return ended;
}

Ended LERig::run(int printer)
{
    const auto ended = start(printer);
    clock->runUntil([&ended] { return ended->has_value(); }, std::chrono::seconds(60));
    EXPECT_TRUE(ended->has_value()) << "the job never ended";
    return ended->value_or(Ended{QStringLiteral("never ended"), clock->elapsed()});
}

QByteArray LERig::stream() const
{
    return m_kind == Kind::receipts ? jobBytes(receiptBytes) : label(labelWidth, labelHeight).bytes();
}

QString LERig::print(const QString& port)
{
    try {
        if (m_kind == Kind::receipts)
            m_receipts->print(jobBytes(receiptBytes), port);
        else
            m_labels->print(label(labelWidth, labelHeight), port);
    } catch (const PrinterError& error) {
        return error.message();
    }
    return {};
}

void LERig::discover(const std::optional<QString>& selected)
{
    const auto completion = [this](const std::vector<USBPrinter>& printers) {
        found = printers;
        foundAt = clock->elapsed();
        ++discoveries;
    };
    if (m_kind == Kind::receipts)
        m_receipts->discover(selected, completion);
    else
        m_labels->discover(selected, completion);
}

void LERig::disconnect()
{
    if (m_kind == Kind::receipts)
        m_receipts->disconnect();
    else
        m_labels->disconnect();
}

void LERig::destroy()
{
    m_receipts.reset();
    m_labels.reset();
}

} // namespace harrowmint::test
