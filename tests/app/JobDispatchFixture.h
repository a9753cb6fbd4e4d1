#pragma once

#include "app/JobDispatch.h"

#include "base/PrinterError.h"
#include "support/FaultyFileSystem.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

namespace harrowmint::test::jobs {

using namespace std::chrono_literals;

inline const auto store = QStringLiteral("https://shop.example.com");
inline const auto usbPort = QStringLiteral("usb://Acme/TM?serial=1");
inline const auto blePort = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
inline const auto sppPort = QStringLiteral("spp:00112233AABB");
inline const auto busyText = QStringLiteral("Printer is busy. Wait for the current receipt to finish.");
inline const auto slowText =
    QStringLiteral("Transfer is taking longer than expected. Check the printer app and paper before "
                   "retrying; it may have printed.");
inline const auto usbSentText = QStringLiteral("Sent to USB printer. Please check the paper.");
inline const auto uncertainText =
    QStringLiteral("The previous transfer has an uncertain outcome. Check the paper before "
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

inline void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << (outcome.success ? "success " : "failure ") << outcome.message.toStdString() << " at "
         << std::chrono::duration<double>(outcome.at).count() << " s";
}

inline Receipt receipt(const QString& fingerprint)
{
    Receipt result;
    result.lines = {{.text = QStringLiteral("Tea 3.25")}};
    result.fingerprint = fingerprint;
    return result;
}

inline Receipt label(const QString& fingerprint)
{
    Receipt result;
    result.fingerprint = fingerprint;
    result.labelDocument = LabelDocument{.version = 1, .width = 8, .height = 1, .rows = "gA=="};
    return result;
}

/// A dispatch on virtual time between a scripted printer and a recorded presentation, with guards on a file system that
/// can be made to fail.
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

} // namespace harrowmint::test::jobs
