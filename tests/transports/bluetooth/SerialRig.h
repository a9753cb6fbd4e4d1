#pragma once

#include "FakeSerial.h"
#include "LERig.h"
#include "support/BorrowedSerial.h"
#include "transports/ReceiptSerialBackend.h"

#include <gtest/gtest.h>

namespace harrowmint::test {

inline const QString serialPort = QStringLiteral("spp:AABBCCDDEEFF");
inline const QString nothingSent = QStringLiteral(" No receipt data was sent.");
inline const QString serialPaperWarning = QStringLiteral(" Check the paper before retrying; part may have printed.");

/// A serial transport over the fake devices.
class Serial : public testing::Test {
public:
    Serial() = default;
    Serial(const Serial&) = delete;
    Serial& operator=(const Serial&) = delete;
    ~Serial() override
    {
        backend.reset();
        clock->runDue();
        EXPECT_EQ(world.links, 0);
    }

protected:
    std::shared_ptr<std::optional<Ended>> start(const QByteArray& data = jobBytes(3000))
    {
        auto ended = std::make_shared<std::optional<Ended>>();
        backend->start(data, serialPort, TransferCompletion([ended, this](const TransferOutcome& outcome) {
            EXPECT_FALSE(ended->has_value()) << "a second result for one job";
            *ended = Ended{outcome ? outcome->message() : QString(), clock->elapsed()};
        }));
        return ended;
    }

    Ended run(const QByteArray& data = jobBytes(3000))
    {
        const auto ended = start(data);
        clock->runUntil([&ended] { return ended->has_value(); }, std::chrono::seconds(60));
        return ended->value_or(Ended{QStringLiteral("never ended"), {}});
    }

    QString print(const QByteArray& data, const QString& to)
    {
        try {
            backend->print(data, to);
        } catch (const PrinterError& error) {
            return error.message();
        }
        return {};
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    VirtualWaiter waiter{*clock};
    FakeSerial world{queue};
    std::unique_ptr<ReceiptSerialBackend> backend = std::make_unique<ReceiptSerialBackend>(queue, lend(world), waiter);
};

} // namespace harrowmint::test
