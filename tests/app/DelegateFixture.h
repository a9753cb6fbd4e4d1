#pragma once

#include "app/AppDelegate.h"

#include "base/PrinterError.h"
#include "base/QtQueue.h"
#include "support/Files.h"
#include "support/HttpClient.h"
#include "support/TemporaryDirectory.h"

#include <QCoreApplication>
#include <QDialog>
#include <QEventLoop>
#include <QLabel>
#include <QPushButton>
#include <future>
#include <gtest/gtest.h>

namespace harrowmint::test {

inline const QByteArray store = "https://shop.example.com";
inline const auto settingsUnreadableText =
    QStringLiteral("Local settings could not be read. Website printing is disabled until this is resolved.");

/// A launched delegate on a port of the system's choice, with printers that remember what they got.
class DelegateFixture : public ::testing::Test {
protected:
    void saveSettings()
    {
        PrinterSettings settings;
        settings.printerURI = QStringLiteral("usb://Acme/TM?serial=1");
        settings.labelPrinterURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
        settings.origins = {QString::fromLatin1(store)};
        change(settings);
        settings.save(directory.path());
    }

    void launch()
    {
        makeDelegate();
        delegate->applicationDidFinishLaunching();
    }
    void launchInBackground()
    {
        configure = [](AgentConfiguration& configuration) { configuration.background = true; };
        launch();
    }

    void makeDelegate()
    {
        AgentConfiguration configuration;
        configuration.directory = directory.path();
        configuration.port = port;
        configuration.log = [this](const QString& text) { log.append(text); };
        configuration.transports.usb = [this](const QByteArray& bytes, const QString&, const JobRunner::Transferred&) {
            printed.append(bytes);
            if (whilePrinting)
                whilePrinting();
        };
        configuration.transports.receiptBLE = [](const QByteArray&, const QString&) {};
        configuration.transports.receiptSerial = [](const QByteArray&, const QString&) {};
        configuration.transports.labels = [this](const LabelDocument& label, const QString&) {
            printed.append(label.bytes());
        };
        configuration.terminate = [this] { terminated = true; };
        if (configure)
            configure(configuration);
        delegate = std::make_unique<AppDelegate>(main, std::move(configuration));
    }

    /// Exchanges on another thread while the main queue runs here.
    HttpResponse request(const QByteArray& method, const QByteArray& path, const QByteArray& origin,
        const QByteArray& body = {}, const QByteArray& headers = {})
    {
        const QByteArray bytes = pageRequest(delegate->port(), method, path, origin, body, headers);
        bool done = false;
        auto response = std::async(std::launch::async, [&, at = delegate->port()] {
            const HttpResponse result = exchange(at, bytes);
            main.async([&done] { done = true; });
            return result;
        });
        runUntil([&] { return done; });
        return response.get();
    }

    template <class Condition>
    static void runUntil(Condition&& condition)
    {
        while (!condition())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    /// Has the till send a receipt whose transport does not end before `endJob`.
    void beginJob()
    {
        whilePrinting = [this] {
            began.set_value();
            mayEnd.get_future().wait();
        };
        jobReply = std::async(std::launch::async,
            [bytes = pageRequest(delegate->port(), "POST", "/print", store, sample(QStringLiteral("invoice-10.json"))),
                at = delegate->port()] { return exchange(at, bytes); });
        const auto running = began.get_future();
        runUntil([&] {
            main.async([] {}); // keeps the loop turning
            return running.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
    }
    /// Ends that job and returns what the till was answered.
    HttpResponse endJob()
    {
        mayEnd.set_value();
        runUntil([this] {
            main.async([] {});
            return jobReply.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        return jobReply.get();
    }

    template <class Control>
    Control& find(const char* name)
    {
        return *delegate->window().findChild<Control*>(QString::fromLatin1(name));
    }
    /// The text of the sheet that is open; empty when none is.
    QString sheetText()
    {
        for (const auto* sheet : delegate->window().findChildren<QDialog*>()) {
            if (sheet->isVisible())
                return sheet->findChild<QLabel*>(QStringLiteral("message"))->text();
        }
        return {};
    }
    /// Presses a button of the sheet that is open.
    void pressInSheet(const QString& title)
    {
        for (auto* const button : delegate->window().findChildren<QPushButton*>()) {
            if (button->text() == title && button->window() != &delegate->window() && button->isVisible())
                return button->click();
        }
        ADD_FAILURE() << "no sheet has the button " << title.toStdString();
    }

    /// Runs what is due on the main queue.
    void runDue()
    {
        bool done = false;
        main.async([&done] { done = true; });
        runUntil([&done] { return done; });
    }

    std::function<void(AgentConfiguration&)> configure;
    bool terminated = false;
    std::function<void(PrinterSettings&)> change = [](PrinterSettings&) {};
    std::uint16_t port = 0;
    TemporaryDirectory directory;
    QtQueue main;
    QStringList log;
    QByteArrayList printed;
    std::function<void()> whilePrinting;
    std::promise<void> began;
    std::promise<void> mayEnd;
    std::future<HttpResponse> jobReply;
    std::unique_ptr<AppDelegate> delegate;
};

inline QByteArray json(bool success, const QByteArray& message)
{
    return QByteArray("{\"success\":") + (success ? "true" : "false") + ",\"message\":\"" + message + "\"}";
}

} // namespace harrowmint::test
