#include "e2e/BluetoothRig.h"

#include "documents/Receipt.h"
#include "render/RasterReceipt.h"
#include "settings/PrinterSettings.h"
#include "support/Samples.h"

#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <QUuid>
#include <stdexcept>

namespace harrowmint::test {

namespace {

constexpr ushort mtu = 185;
constexpr int narrowPaper = 58;
constexpr int labelWidth = 384;
const auto deviceInterface = QStringLiteral("org.bluez.Device1");

/// Of one printer: its device address, the path of its device, and the numbers of its channel ("" for a serial one).
struct Place {
    QString address;
    QString service;
    QString characteristic;

    [[nodiscard]] QString device() const
    {
        return BluetoothRig::adapter + QStringLiteral("/dev_")
            + QString(address).replace(QLatin1Char(':'), QLatin1Char('_'));
    }
    [[nodiscard]] QString servicePath() const { return device() + QStringLiteral("/service0010"); }
    [[nodiscard]] QString writePath() const { return servicePath() + QStringLiteral("/char0011"); }
    [[nodiscard]] bool isSerial() const { return service.isEmpty(); }
};

Place placeOf(Way way)
{
    switch (way) {
    case Way::ReceiptLE:
        return {QStringLiteral("AA:BB:CC:DD:EE:01"), QStringLiteral("18f0"), QStringLiteral("2af1")};
    case Way::Label:
        return {QStringLiteral("AA:BB:CC:DD:EE:02"), QStringLiteral("ff00"), QStringLiteral("ff02")};
    case Way::ReceiptSerial:
        break;
    }
    return {QStringLiteral("AA:BB:CC:DD:EE:03"), {}, {}};
}

QString uuid(const QString& number)
{
    return QStringLiteral("0000%1-0000-1000-8000-00805f9b34fb").arg(number);
}

QString port(Way way)
{
    const QString digits = QString(placeOf(way).address).remove(QLatin1Char(':'));
    return way == Way::ReceiptSerial ? QStringLiteral("spp:") + digits
                                     : QStringLiteral("ble:00000000-0000-0000-0000-") + digits;
}

constexpr Way allWays[] = {Way::ReceiptLE, Way::Label, Way::ReceiptSerial};

} // namespace

const QString BluetoothRig::adapter = QStringLiteral("/org/bluez/hci0");
const QByteArray BluetoothRig::store = "https://shop.example.com";

BluetoothRig::BluetoothRig(QString program, std::uint16_t port)
    : m_program(std::move(program))
    , m_port(port)
{
}

QString BluetoothRig::receiver(Way way)
{
    const Place place = placeOf(way);
    return place.isSerial() ? place.device() : place.writePath();
}

void BluetoothRig::publish()
{
    bluez.add(adapter,
        {{QStringLiteral("org.bluez.Adapter1"),
            {{QStringLiteral("Address"), QStringLiteral("00:00:00:00:00:01")}, {QStringLiteral("Powered"), true}}}});
    for (const Way way : allWays)
        addPrinter(way);
    bluez.start();
}

void BluetoothRig::addPrinter(Way way)
{
    const Place place = placeOf(way);
    QVariantMap device{{QStringLiteral("Address"), place.address}, {QStringLiteral("Alias"), QStringLiteral("Printer")},
        {QStringLiteral("Adapter"), QVariant::fromValue(QDBusObjectPath(adapter))},
        {QStringLiteral("Connected"), false}, {QStringLiteral("ServicesResolved"), false}};
    if (place.isSerial()) {
        device.insert(
            {{QStringLiteral("Paired"), true}, {QStringLiteral("UUIDs"), QStringList{uuid(QStringLiteral("1101"))}}});
    } else {
        bluez.stage(place.servicePath(),
            {{QStringLiteral("org.bluez.GattService1"),
                {{QStringLiteral("UUID"), uuid(place.service)},
                    {QStringLiteral("Device"), QVariant::fromValue(QDBusObjectPath(place.device()))}}}});
        bluez.stage(place.writePath(),
            {{QStringLiteral("org.bluez.GattCharacteristic1"),
                {{QStringLiteral("UUID"), uuid(place.characteristic)},
                    {QStringLiteral("Flags"), QStringList{QStringLiteral("write-without-response")}},
                    {QStringLiteral("MTU"), QVariant::fromValue(mtu)},
                    {QStringLiteral("Service"), QVariant::fromValue(QDBusObjectPath(place.servicePath()))}}}});
    }
    bluez.add(place.device(), {{deviceInterface, device}});
}

void BluetoothRig::restartBluez()
{
    bluez.stop();
    for (const Way way : allWays)
        bluez.change(placeOf(way).device(), deviceInterface,
            {{QStringLiteral("Connected"), false}, {QStringLiteral("ServicesResolved"), false}});
    bluez.start();
}

void BluetoothRig::setPowered(bool powered)
{
    bluez.change(adapter, QStringLiteral("org.bluez.Adapter1"), {{QStringLiteral("Powered"), powered}});
}

void BluetoothRig::saveSettings(Way way) const
{
    PrinterSettings settings;
    settings.printerURI = QStringLiteral("usb://Acme/TM?serial=1");
    settings.printerName = QStringLiteral("Acme");
    settings.paperWidth = narrowPaper;
    settings.origins = {QString::fromLatin1(store)};
    settings.receiptConnection = QStringLiteral("bluetooth");
    settings.bluetoothReceiptURI = port(way == Way::Label ? Way::ReceiptLE : way);
    settings.bluetoothReceiptName = QStringLiteral("Printer");
    settings.labelPrinterURI = port(Way::Label);
    settings.labelPrinterName = QStringLiteral("Printer");
    settings.save(m_home.filePath(QStringLiteral("Library/Application Support/Harrowmint Printer")));
}

void BluetoothRig::startAgent(Way way, const QStringList& arguments)
{
    saveSettings(way);
    agent.emplace(
        m_program, m_home.path(), AgentPlace{m_port, bus.address(), QStringList{QString::number(m_port)} + arguments});
}

HttpResponse BluetoothRig::print(const QByteArray& body) const
{
    return post(store, body, m_port);
}

std::future<HttpResponse> BluetoothRig::printMeanwhile(const QByteArray& body) const
{
    return std::async(std::launch::async, [this, body] { return print(body); });
}

HttpResponse BluetoothRig::health() const
{
    return exchange(m_port, pageRequest(m_port, "GET", "/health", {}));
}

void BluetoothRig::waitForBytes(Way way, qsizetype count)
{
    const QDeadlineTimer deadline(std::chrono::minutes(1));
    while (received(way).size() <= count) {
        if (deadline.hasExpired())
            throw std::runtime_error("no bytes come: " + agent->log().toStdString());
        QThread::msleep(5);
    }
}

// Jobs

namespace {

QByteArray labelJob(int rows)
{
    // The first bytes make it a label of its own.
    const QByteArray pixels =
        QUuid::createUuid().toRfc4122() + QByteArray(qsizetype(rows) * labelWidth / 8 - 16, '\x5a');
    return QJsonDocument(QJsonObject{{QStringLiteral("action"), QStringLiteral("print")},
                             {QStringLiteral("documentType"), QStringLiteral("label")},
                             {QStringLiteral("printer_name"), QStringLiteral("LabelPrinter")},
                             {QStringLiteral("labelDocument"),
                                 QJsonObject{{QStringLiteral("version"), 1}, {QStringLiteral("width"), labelWidth},
                                     {QStringLiteral("height"), rows},
                                     {QStringLiteral("data"), QString::fromLatin1(pixels.toBase64())}}}})
        .toJson();
}

QByteArray receiptJob(int rows)
{
    QJsonObject body = QJsonDocument::fromJson(sample(QStringLiteral("receipt-document.json"))).object();
    QJsonArray blocks;
    for (int i = 0; i * 24 < rows; ++i)
        blocks.append(QJsonObject{{QStringLiteral("type"), QStringLiteral("text")}, {QStringLiteral("size"), 20},
            {QStringLiteral("text"), QStringLiteral("Line %1").arg(i)}});
    body[QStringLiteral("receiptDocument")] =
        QJsonObject{{QStringLiteral("version"), 1}, {QStringLiteral("blocks"), blocks}};
    body[QStringLiteral("printRequestId")] = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return QJsonDocument(body).toJson();
}

} // namespace

QByteArray jobFor(Way way, int rows)
{
    return way == Way::Label ? labelJob(rows) : receiptJob(rows);
}

QByteArray streamOf(const QByteArray& body)
{
    const Receipt receipt = Receipt::decode(body, QStringLiteral("USD"));
    return receipt.labelDocument ? receipt.labelDocument->bytes() : RasterReceipt::render(receipt, narrowPaper).bytes();
}

} // namespace harrowmint::test
