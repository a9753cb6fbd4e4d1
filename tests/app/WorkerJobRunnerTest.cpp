#include "app/WorkerJobRunner.h"

#include "base/PrinterError.h"
#include "base/QtQueue.h"

#include <future>
#include <gtest/gtest.h>
#include <system_error>

using namespace harrowmint;

namespace {

/// Counts the tokens that are alive.
class CountedActivity final : public ProcessActivity {
public:
    std::unique_ptr<Token> begin(const QString& reason) override
    {
        lastReason = reason;
        return std::make_unique<CountedToken>(alive);
    }

    QString lastReason;
    int alive = 0;

private:
    class CountedToken final : public Token {
    public:
        explicit CountedToken(int& alive)
            : m_alive(alive)
        {
            ++m_alive;
        }
        ~CountedToken() override { --m_alive; }

    private:
        int& m_alive;
    };
};

class WorkerJobRunnerTest : public ::testing::Test {
protected:
    Transports recordedTransports()
    {
        return {
            [this](const QByteArray& bytes, const QString& uri, const JobRunner::Transferred& transferred) {
                called(QStringLiteral("usb"), bytes, uri);
                transferred();
            },
            [this](const QByteArray& bytes, const QString& port) { called(QStringLiteral("ble"), bytes, port); },
            [this](const QByteArray& bytes, const QString& port) { called(QStringLiteral("spp"), bytes, port); },
            [this](
                const LabelDocument& label, const QString& port) { called(QStringLiteral("label"), label.rows, port); },
        };
    }

    void called(const QString& route, const QByteArray& bytes, const QString& port)
    {
        call = route + QLatin1Char(' ') + QString::fromLatin1(bytes) + QLatin1Char(' ') + port;
        aliveDuringCall = activity.alive;
        if (failure)
            std::rethrow_exception(failure);
    }

    std::optional<QString> run(const PrinterJob& job)
    {
        std::promise<std::optional<QString>> result;
        WorkerJobRunner runner(worker, recordedTransports(), &activity);
        runner.run(
            job, [this] { ++notices; }, [&](const std::optional<QString>& text) { result.set_value(text); });
        return result.get_future().get();
    }

    WorkerQueue worker{QStringLiteral("com.harrowmint.printer.usb")};
    CountedActivity activity;
    QString call;
    int aliveDuringCall = 0;
    int notices = 0;
    std::exception_ptr failure;
};

} // namespace

TEST_F(WorkerJobRunnerTest, CallsTheTransportOfTheRoute)
{
    EXPECT_EQ(run({PrinterJob::Route::USB, QStringLiteral("u"), "bytes", {}}), std::nullopt);
    EXPECT_EQ(call, QStringLiteral("usb bytes u"));
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(run({PrinterJob::Route::ReceiptBLE, QStringLiteral("b"), "bytes", {}}), std::nullopt);
    EXPECT_EQ(call, QStringLiteral("ble bytes b"));
    EXPECT_EQ(run({PrinterJob::Route::ReceiptSerial, QStringLiteral("s"), "bytes", {}}), std::nullopt);
    EXPECT_EQ(call, QStringLiteral("spp bytes s"));
    const LabelDocument label{.version = 1, .width = 8, .height = 1, .rows = "gA=="};
    EXPECT_EQ(run({PrinterJob::Route::Label, QStringLiteral("l"), {}, label}), std::nullopt);
    EXPECT_EQ(call, QStringLiteral("label gA== l"));
    EXPECT_EQ(notices, 1);
}

TEST_F(WorkerJobRunnerTest, HandsOnThePrinterErrorsSentence)
{
    failure = std::make_exception_ptr(PrinterError(QStringLiteral("Paper is out.")));
    EXPECT_EQ(run({PrinterJob::Route::USB, {}, {}, {}}), QStringLiteral("Paper is out."));
}

TEST_F(WorkerJobRunnerTest, HandsOnThePlatformsText)
{
    failure = std::make_exception_ptr(std::system_error(ENOENT, std::generic_category()));
    EXPECT_EQ(run({PrinterJob::Route::USB, {}, {}, {}}), QStringLiteral("No such file or directory"));
}

TEST_F(WorkerJobRunnerTest, HoldsAnActivityAroundTheTransportOnEveryPath)
{
    EXPECT_EQ(run({PrinterJob::Route::USB, {}, {}, {}}), std::nullopt);
    EXPECT_EQ(aliveDuringCall, 1);
    EXPECT_EQ(activity.alive, 0);
    EXPECT_EQ(activity.lastReason, QStringLiteral("Sending a printer job"));
    failure = std::make_exception_ptr(PrinterError(QStringLiteral("no")));
    EXPECT_NE(run({PrinterJob::Route::USB, {}, {}, {}}), std::nullopt);
    EXPECT_EQ(aliveDuringCall, 1);
    EXPECT_EQ(activity.alive, 0);
}
