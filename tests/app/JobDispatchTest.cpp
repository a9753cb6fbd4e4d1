#include "app/JobDispatch.h"

#include "base/PrinterError.h"
#include "support/FaultyFileSystem.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

const auto store = QStringLiteral("https://shop.example.com");
const auto usbPort = QStringLiteral("usb://Acme/TM?serial=1");
const auto blePort = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
const auto sppPort = QStringLiteral("spp:00112233AABB");
const auto busyText = QStringLiteral("Printer is busy. Wait for the current receipt to finish.");
const auto slowText = QStringLiteral("Transfer is taking longer than expected. Check the printer app and paper before "
                                     "retrying; it may have printed.");
const auto usbSentText = QStringLiteral("Sent to USB printer. Please check the paper.");
const auto uncertainText = QStringLiteral("The previous transfer has an uncertain outcome. Check the paper before "
                                          "reprinting. You can retry after 90 seconds.");

/// A printer that does nothing by itself: the test says when its events come.
class ScriptedRunner final : public JobRunner {
public:
    struct Call {
        PrinterJob job;
        Transferred transferred;
        Finished finished;
    };

    void run(PrinterJob job, Transferred transferred, Finished finished) override
    {
        if (broken)
            throw std::system_error(EMFILE, std::generic_category());
        calls.push_back({std::move(job), std::move(transferred), std::move(finished)});
    }

    std::vector<Call> calls;
    bool broken = false;
};

class RecordedPresentation final : public JobPresentation {
public:
    void showActivity(const QString& text) override { activities.append(text); }
    void showBusy(bool busy) override { this->busy.push_back(busy); }

    QStringList activities;
    std::vector<bool> busy;
};

struct Outcome {
    bool success;
    QString message;
    SerialQueue::Duration at;
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << (outcome.success ? "success " : "failure ") << outcome.message.toStdString() << " at "
         << std::chrono::duration<double>(outcome.at).count() << " s";
}

Receipt receipt(const QString& fingerprint)
{
    Receipt result;
    result.lines = {{.text = QStringLiteral("Tea 3.25")}};
    result.fingerprint = fingerprint;
    return result;
}

Receipt label(const QString& fingerprint)
{
    Receipt result;
    result.fingerprint = fingerprint;
    result.labelDocument = LabelDocument{.version = 1, .width = 8, .height = 1, .rows = "gA=="};
    return result;
}

class JobDispatchTest : public ::testing::Test {
protected:
    JobDispatchTest()
    {
        usb.printerURI = usbPort;
        usb.labelPrinterURI = blePort;
        bluetooth = usb;
        bluetooth.receiptConnection = QStringLiteral("bluetooth");
        bluetooth.bluetoothReceiptURI = blePort;
    }

    JobDispatch::Answer answer()
    {
        return JobDispatch::Answer([this](bool success, const QString& message) {
            outcomes.push_back({success, message, clock->elapsed()});
        });
    }

    void send(const Receipt& receipt, const PrinterSettings& settings)
    {
        dispatch->send(receipt, settings, store, answer());
    }

    ScriptedRunner::Call& call(std::size_t index = 0) { return runner.calls.at(index); }
    void finish(std::size_t index = 0, std::optional<QString> failure = {})
    {
        call(index).finished(std::move(failure));
        clock->runDue();
    }
    void makeGuardUnwritable() { files.failOperation(files.operations() + 1, true); }

    const QString directory = QStringLiteral("/data");
    FaultyFileSystem files;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue main{clock};
    ScriptedRunner runner;
    RecordedPresentation presentation;
    PrintGuard receiptGuard{false, directory, files};
    PrintGuard labelGuard{true, directory, files};
    std::optional<JobDispatch> dispatch{
        std::in_place, main, runner, static_cast<JobPresentation&>(presentation), &receiptGuard, &labelGuard};
    PrinterSettings usb;
    PrinterSettings bluetooth;
    std::vector<Outcome> outcomes;
};

} // namespace

TEST_F(JobDispatchTest, AnswersUsbSuccessWithTheFinalText)
{
    send(receipt(QStringLiteral("a")), usb);
    ASSERT_EQ(runner.calls.size(), 1u);
    EXPECT_EQ(call().job.route, PrinterJob::Route::USB);
    EXPECT_EQ(call().job.port, usbPort);
    EXPECT_TRUE(call().job.bytes.startsWith(QByteArray::fromHex("1b401b6100")));
    clock->advance(1s);
    finish();
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{true, usbSentText, 1s}}));
    EXPECT_EQ(presentation.activities, (QStringList{QStringLiteral("Sending receipt to USB printer…"), usbSentText}));
}

TEST_F(JobDispatchTest, AnswersTheUsbNoticeWhileTheBackendTakesTwentySecondsToExit)
{
    send(receipt(QStringLiteral("a")), usb);
    clock->advance(2s);
    call().transferred();
    clock->advance(18s);
    const std::vector<Outcome> expected{{true, QStringLiteral("Receipt data sent to USB printer."), 2s}};
    EXPECT_EQ(outcomes, expected);
    EXPECT_EQ(presentation.activities.last(), QStringLiteral("Sent to USB printer. Finishing connection cleanup…"));
    EXPECT_TRUE(dispatch->busy());
    finish();
    EXPECT_EQ(outcomes, expected);
    EXPECT_EQ(presentation.activities.last(), usbSentText);
    EXPECT_FALSE(dispatch->busy());
}

TEST_F(JobDispatchTest, RefusesASecondJobAtOnceWhileTheFirstPrints)
{
    send(receipt(QStringLiteral("a")), usb);
    send(receipt(QStringLiteral("b")), usb);
    send(label(QStringLiteral("c")), usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, busyText, 0s}, {false, busyText, 0s}}));
    EXPECT_EQ(runner.calls.size(), 1u);
    EXPECT_EQ(receiptGuard.recent().size(), 1u);
    EXPECT_TRUE(labelGuard.recent().empty());
}

TEST_F(JobDispatchTest, AcceptsTheNextJobWithinTheSameTurnAsTheResult)
{
    send(receipt(QStringLiteral("a")), usb);
    finish();
    send(receipt(QStringLiteral("b")), usb);
    EXPECT_EQ(runner.calls.size(), 2u);
}

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

TEST_F(JobDispatchTest, RefusesAReceiptWithoutAPrinterForTheActiveConnection)
{
    const auto expected = QStringLiteral("Select a printer for the active receipt connection in Harrowmint Printer.");
    usb.printerURI.clear();
    send(receipt(QStringLiteral("a")), usb);
    bluetooth.bluetoothReceiptURI.reset(); // a USB printer is chosen, but it is not the active connection
    send(receipt(QStringLiteral("b")), bluetooth);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, expected, 0s}, {false, expected, 0s}}));
    EXPECT_TRUE(receiptGuard.recent().empty());
    EXPECT_FALSE(dispatch->busy());
}

TEST_F(JobDispatchTest, RefusesALabelWithoutALabelPrinter)
{
    const auto expected = QStringLiteral("Select a Bluetooth label printer in Harrowmint Printer.");
    usb.labelPrinterURI = QString();
    send(label(QStringLiteral("a")), usb);
    usb.labelPrinterURI.reset();
    send(label(QStringLiteral("a")), usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, expected, 0s}, {false, expected, 0s}}));
    EXPECT_TRUE(labelGuard.recent().empty());
}

TEST_F(JobDispatchTest, RefusesOnlyTheKindWhoseGuardIsMissing)
{
    const auto expected =
        QStringLiteral("Local print protection could not be loaded. Reopen the app after checking its settings.");
    dispatch.emplace(main, runner, static_cast<JobPresentation&>(presentation), &receiptGuard, nullptr);
    send(label(QStringLiteral("a")), usb);
    send(receipt(QStringLiteral("b")), usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, expected, 0s}}));
    ASSERT_EQ(runner.calls.size(), 1u);
    EXPECT_EQ(call().job.route, PrinterJob::Route::USB);
}

TEST_F(JobDispatchTest, ChecksTheGuardBeforeThePrinter)
{
    dispatch.emplace(main, runner, static_cast<JobPresentation&>(presentation), nullptr, &labelGuard);
    send(receipt(QStringLiteral("a")), PrinterSettings{});
    EXPECT_EQ(outcomes.at(0).message,
        QStringLiteral("Local print protection could not be loaded. Reopen the app after checking its settings."));
}

TEST_F(JobDispatchTest, AnswersARenderFailureWithoutReserving)
{
    auto tooLong = receipt(QStringLiteral("a"));
    tooLong.lines.assign(400, {.text = QStringLiteral("x"), .size = 40});
    send(tooLong, usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, QStringLiteral("Receipt is too long to print safely."), 0s}}));
    EXPECT_TRUE(receiptGuard.recent().empty());
    EXPECT_TRUE(runner.calls.empty());
}

TEST_F(JobDispatchTest, ReservesBeforeAnyByteLeaves)
{
    send(receipt(QStringLiteral("a")), usb);
    ASSERT_EQ(runner.calls.size(), 1u);
    FaultyFileSystem disk(files.disk());
    const PrintGuard afterCrash(false, directory, disk);
    ASSERT_EQ(afterCrash.recent().size(), 1u);
    EXPECT_EQ(afterCrash.recent()[0].key, receipt(QStringLiteral("a")).jobKey(store));
    EXPECT_EQ(afterCrash.recent()[0].transferred, std::nullopt);
}

TEST_F(JobDispatchTest, DoesNotPrintWhenTheReservationCannotBeSaved)
{
    makeGuardUnwritable();
    send(receipt(QStringLiteral("a")), usb);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_FALSE(outcomes[0].success);
    EXPECT_FALSE(outcomes[0].message.isEmpty());
    EXPECT_TRUE(runner.calls.empty());
    EXPECT_FALSE(dispatch->busy());
}

TEST_F(JobDispatchTest, RefusesARetryOfAFailedTransferAndPrintsItAfterNinetySeconds)
{
    const auto failure = QStringLiteral("USB transfer failed. Check the cable, power and paper before retrying.");
    send(receipt(QStringLiteral("a")), usb);
    finish(0, failure);
    EXPECT_EQ(presentation.activities.last(), failure);
    send(receipt(QStringLiteral("a")), usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, failure, 0s}, {false, uncertainText, 0s}}));
    clock->advance(90s);
    send(receipt(QStringLiteral("a")), usb);
    EXPECT_EQ(outcomes.back(), (Outcome{false, uncertainText, 90s}));
    clock->advance(1ms);
    send(receipt(QStringLiteral("a")), usb);
    EXPECT_EQ(runner.calls.size(), 2u);
}

TEST_F(JobDispatchTest, KeepsTheSuccessAnsweredAtTheNoticeWhenTheBackendThenFails)
{
    send(receipt(QStringLiteral("a")), usb);
    call().transferred();
    finish(0, QStringLiteral("USB transfer failed. Check the cable, power and paper before retrying."));
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{true, QStringLiteral("Receipt data sent to USB printer."), 0s}}));
    EXPECT_EQ(presentation.activities.last(),
        QStringLiteral("USB transfer failed. Check the cable, power and paper before retrying."));
}

TEST_F(JobDispatchTest, TellsThatTheNoticeCouldNotBeSaved)
{
    send(receipt(QStringLiteral("a")), usb);
    makeGuardUnwritable();
    call().transferred();
    finish();
    EXPECT_EQ(outcomes,
        (std::vector<Outcome>{{false,
            QStringLiteral("Receipt was sent but its local confirmation could not be saved. Check the paper before "
                           "retrying."),
            0s}}));
    EXPECT_EQ(presentation.activities, QStringList{QStringLiteral("Sending receipt to USB printer…")});
    EXPECT_FALSE(dispatch->busy());
}

TEST_F(JobDispatchTest, TellsThatTheResultCouldNotBeSavedAndLeavesTheActivityLine)
{
    send(receipt(QStringLiteral("a")), bluetooth);
    makeGuardUnwritable();
    finish();
    EXPECT_EQ(outcomes,
        (std::vector<Outcome>{{false,
            QStringLiteral("The job was sent but its local confirmation could not be saved. Check the paper before "
                           "retrying."),
            0s}}));
    EXPECT_EQ(presentation.activities, QStringList{QStringLiteral("Sending receipt to Bluetooth printer…")});
    EXPECT_EQ(receiptGuard.recent().at(0).transferred, std::nullopt);
}

TEST_F(JobDispatchTest, DisablesTheControlsFromReservationToResult)
{
    send(receipt(QStringLiteral("a")), usb);
    EXPECT_EQ(presentation.busy, std::vector<bool>{true});
    call().transferred();
    clock->runDue();
    EXPECT_EQ(presentation.busy, std::vector<bool>{true});
    finish();
    EXPECT_EQ(presentation.busy, (std::vector<bool>{true, false}));
}

TEST_F(JobDispatchTest, IgnoresEventsOfAnEarlierJob)
{
    send(receipt(QStringLiteral("a")), usb);
    const auto late = call();
    finish();
    send(receipt(QStringLiteral("b")), usb);
    late.transferred();
    late.finished(QStringLiteral("late"));
    clock->runDue();
    EXPECT_TRUE(dispatch->busy());
    EXPECT_EQ(outcomes.size(), 1u);
}

TEST_F(JobDispatchTest, TheAnswerTimerOfAFinishedJobSaysNothing)
{
    send(receipt(QStringLiteral("a")), usb);
    finish();
    clock->advance(60s);
    EXPECT_EQ(outcomes.size(), 1u);
}

TEST_F(JobDispatchTest, SurvivesCallbacksAfterItsEnd)
{
    send(receipt(QStringLiteral("a")), usb);
    dispatch.reset();
    call().transferred();
    call().finished({});
    clock->advance(60s);
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(JobDispatchTest, GuardsReceiptsAndLabelsApart)
{
    for (int i = 0; i < 8; ++i) {
        send(receipt(QString::number(i)), usb);
        finish(runner.calls.size() - 1);
    }
    send(receipt(QStringLiteral("ninth")), usb);
    EXPECT_EQ(outcomes.back().message, QStringLiteral("Too many recent print requests. Please wait a moment."));
    send(label(QStringLiteral("a label")), usb);
    EXPECT_EQ(call(8).job.route, PrinterJob::Route::Label);
}

TEST_F(JobDispatchTest, RecordsATransferNoticeThatComesAfterThePageHasBeenAnswered)
{
    send(receipt(QStringLiteral("a")), usb);
    clock->advance(6s);
    call().transferred();
    clock->runDue();
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, slowText, 6s}}));
    EXPECT_EQ(receiptGuard.recent().at(0).transferred, true);
    EXPECT_EQ(presentation.activities.last(), QStringLiteral("Sent to USB printer. Finishing connection cleanup…"));
}

TEST_F(JobDispatchTest, IsFreeAgainWhenAJobCannotEvenBegin)
{
    runner.broken = true;
    send(receipt(QStringLiteral("a")), usb);
    EXPECT_EQ(outcomes, (std::vector<Outcome>{{false, QStringLiteral("Too many open files"), 0s}}));
    EXPECT_FALSE(dispatch->busy());
    EXPECT_EQ(presentation.busy, (std::vector<bool>{true, false}));
    runner.broken = false;
    send(receipt(QStringLiteral("b")), usb);
    EXPECT_EQ(runner.calls.size(), 1u);
}

TEST_F(JobDispatchTest, NamesNoFileToThePage)
{
    const PrinterError ours(QStringLiteral("ours"));
    EXPECT_EQ(errorText(ours), QStringLiteral("ours"));
    EXPECT_EQ(errorText(std::system_error(EACCES, std::generic_category(), "/home/someone/file")),
        QStringLiteral("Permission denied"));
}
