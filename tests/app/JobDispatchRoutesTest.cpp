// Which transport each job goes to, and what it then says.
#include "app/JobDispatchFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace harrowmint::test::jobs;

namespace {

struct RouteCase {
    const char* name;
    bool isLabel;
    QString receiptConnection;
    QString bluetoothURI;
    PrinterJob::Route route;
    QString port;
    QString sending;
    QString sent;
    std::chrono::seconds answerTime;
};

class JobDispatchRoutes : public JobDispatchTest, public ::testing::WithParamInterface<RouteCase> {
protected:
    void sendJob()
    {
        auto settings = usb;
        if (!GetParam().receiptConnection.isEmpty())
            settings.receiptConnection = GetParam().receiptConnection;
        settings.bluetoothReceiptURI = GetParam().bluetoothURI;
        send(GetParam().isLabel ? label(QStringLiteral("x")) : receipt(QStringLiteral("x")), settings);
    }
};

TEST_P(JobDispatchRoutes, GoesToItsTransportWithItsTexts)
{
    sendJob();
    ASSERT_EQ(runner.calls.size(), 1u);
    EXPECT_EQ(call().job.route, GetParam().route);
    EXPECT_EQ(call().job.port, GetParam().port);
    EXPECT_EQ(call().job.label.has_value(), GetParam().isLabel);
    EXPECT_EQ(call().job.bytes.isEmpty(), GetParam().isLabel);
    finish();
    EXPECT_EQ(presentation.activities, (QStringList{GetParam().sending, GetParam().sent}));
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{true, GetParam().sent, 0s}}));
}

TEST_P(JobDispatchRoutes, TellsThePageWhenTheTransferTakesTooLongAndGoesOn)
{
    sendJob();
    clock->advance(GetParam().answerTime - 1ns);
    EXPECT_TRUE(outcomes.empty());
    clock->advance(1ns);
    const std::vector<Outcome> expected{{false, slowText, GetParam().answerTime}};
    EXPECT_EQ(outcomes, expected);
    EXPECT_TRUE(dispatch->busy());
    clock->advance(5s);
    finish();
    EXPECT_EQ(outcomes, expected);
    EXPECT_FALSE(dispatch->busy());
    EXPECT_EQ(presentation.activities.last(), GetParam().sent);
    const auto& guard = GetParam().isLabel ? labelGuard : receiptGuard;
    EXPECT_EQ(guard.recent().at(0).transferred, true);
}

INSTANTIATE_TEST_SUITE_P(All, JobDispatchRoutes,
    ::testing::Values(RouteCase{"Usb", false, {}, {}, PrinterJob::Route::USB, usbPort,
                          QStringLiteral("Sending receipt to USB printer…"), usbSentText, 6s},
        RouteCase{"UsbNamed", false, QStringLiteral("usb"), blePort, PrinterJob::Route::USB, usbPort,
            QStringLiteral("Sending receipt to USB printer…"), usbSentText, 6s},
        RouteCase{"ReceiptBLE", false, QStringLiteral("bluetooth"), blePort, PrinterJob::Route::ReceiptBLE, blePort,
            QStringLiteral("Sending receipt to Bluetooth printer…"),
            QStringLiteral("Receipt sent to Bluetooth printer. Please check the paper."), 55s},
        RouteCase{"ReceiptSerial", false, QStringLiteral("bluetooth"), sppPort, PrinterJob::Route::ReceiptSerial,
            sppPort, QStringLiteral("Sending receipt to Bluetooth printer…"),
            QStringLiteral("Receipt sent to Bluetooth printer. Please check the paper."), 55s},
        RouteCase{"Label", true, {}, {}, PrinterJob::Route::Label, blePort,
            QStringLiteral("Sending label to Bluetooth printer…"),
            QStringLiteral("Label sent to Bluetooth printer. Please check the paper."), 35s}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
