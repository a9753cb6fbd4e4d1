#include "simulator/VirtualSerial.h"

#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/VirtualBluetooth.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWaiter.h"
#include "transports/ReceiptSerialBackend.h"

#include <QDir>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

const QByteArray receipt = QByteArray::fromHex("1b40 1b6100 1d763000 0100 0200 f00f 1b6404");

class VirtualSerial : public ::testing::Test {
protected:
    /// The sentence of the failure, "" for success.
    QString print(const QByteArray& bytes, const QString& port = virtualSerialPort)
    {
        try {
            backend.print(bytes, port);
        } catch (const PrinterError& error) {
            return error.message();
        }
        return {};
    }

    [[nodiscard]] QImage picture(int number) const
    {
        return QImage(QDir(folder()).filePath(QStringLiteral("receipt-%1.png").arg(number)));
    }
    [[nodiscard]] QString folder() const { return directory.filePath(QStringLiteral("Papers")); }

    TemporaryDirectory directory;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    VirtualWaiter waiter{*clock};
    ReceiptSerialBackend backend{queue, [this] { return virtualBluetooth(folder()).serial(queue); }, waiter};
};

TEST_F(VirtualSerial, PrintsEveryReceiptOnAPaperOfItsOwnThatIsThereWhenTheJobIsDone)
{
    for (int number = 1; number <= 3; ++number) {
        EXPECT_EQ(print(receipt), QString());
        EXPECT_EQ(picture(number), paper(receipt));
    }
}

TEST_F(VirtualSerial, PrintsAReceiptOfManyPackets)
{
    QByteArray stream = QByteArray::fromHex("1b40");
    for (int band = 0; band < 5; ++band)
        stream += QByteArray::fromHex("1d763000 4800 0001") + QByteArray(qsizetype(256) * 72, '\x55');
    EXPECT_EQ(print(stream), QString());
    EXPECT_EQ(picture(1), paper(stream));
}

TEST_F(VirtualSerial, IsListed)
{
    const std::vector<USBPrinter> expected{{virtualSerialPort, virtualSerialName + QStringLiteral(" (paired serial)")}};
    EXPECT_EQ(backend.discover(), expected);
}

TEST_F(VirtualSerial, IsTheOnlyPairedDevice)
{
    EXPECT_EQ(print(receipt, QStringLiteral("spp:0200000000FF")),
        QStringLiteral("Pair this receipt printer in macOS Bluetooth settings first. No receipt data was sent."));
    EXPECT_FALSE(QDir(folder()).exists());
}

TEST_F(VirtualSerial, SaysWhyNoPaperComesOut)
{
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(print(receipt.chopped(5)), QString()) << "over a serial line nobody hears of it";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
        "virtual printer: nothing came out. The stream ends inside the command at byte 5.\n");
    EXPECT_FALSE(QDir(folder()).exists());
    EXPECT_EQ(print(receipt), QString());
    EXPECT_EQ(picture(1), paper(receipt));
}

} // namespace
} // namespace harrowmint::test
