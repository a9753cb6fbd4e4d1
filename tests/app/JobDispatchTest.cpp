#include "app/JobDispatchFixture.h"

using namespace harrowmint;
using namespace harrowmint::test;
using namespace harrowmint::test::jobs;

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
