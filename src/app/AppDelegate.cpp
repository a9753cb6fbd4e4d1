#include "app/AppDelegate.h"

#include "base/PrinterError.h"
#include "render/RasterReceipt.h"
#include "server/Authorize.h"

#include <QApplication>
#include <future>
#include <variant>

namespace harrowmint {

namespace {

const auto workerLabel = QStringLiteral("com.harrowmint.printer.usb");
const auto listingLabel = QStringLiteral("com.harrowmint.printer.listing");
const auto testOrigin = QStringLiteral("native-test");
const auto startingText = QStringLiteral("Starting");
const auto settingsUnreadableText =
    QStringLiteral("Local settings could not be read. Website printing is disabled until this is resolved.");
const auto cannotOpenPortText = QStringLiteral("Unable to open local printer port.");
const auto quitRefusedText = QStringLiteral("Wait for the current receipt to finish before quitting.");
const auto terminationRefusedText = QStringLiteral("Wait for the current printer operation to finish before quitting.");
const auto endingText = QStringLiteral("Harrowmint Printer is closing. Nothing was sent.");

constexpr int statusOk = 200;
constexpr int statusBadRequest = 400;
constexpr int statusConflict = 409;

template <class... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <class... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

} // namespace

bool startedInBackground()
{
    return QCoreApplication::arguments().contains(QStringLiteral("--background"));
}

AppDelegate::AppDelegate(SerialQueue& main, AgentConfiguration configuration, FileSystem& files)
    : m_main(main)
    , m_configuration(std::move(configuration))
    , m_files(files)
    , m_settings(m_configuration.directory, files)
    , m_activityText(startingText)
    , m_worker(workerLabel)
    , m_listing(listingLabel)
    , m_runner(m_worker, m_configuration.transports, m_configuration.activity.get())
    , m_server(main, m_configuration.port)
    , m_shutdown(main, *this)
    , m_self(std::make_shared<AppDelegate*>(this))
{
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    m_settings.load();
    loadGuards();
    makeStatusItem();
    buildWindow();
    setLoginBox();
    startServer();
    observeWake();
    m_window->refreshDevices();
    // Behind the listener: the port is open early, and a request that comes meanwhile finds warm fonts.
    m_main.async([] { warmFonts(); });
    if (!m_settings.areReadable())
        showStatus(settingsUnreadableText, false);
    if (!mayStayHidden())
        showWindow();
}

void AppDelegate::loadGuards()
{
    for (const bool labels : {false, true}) {
        std::unique_ptr<PrintGuard>& guard = labels ? m_labelGuardStore : m_guardStore;
        try {
            if (!guard)
                guard = std::make_unique<PrintGuard>(labels, m_configuration.directory, m_files);
        } catch (const std::exception&) {
            continue; // dispatch refuses jobs of this kind and says why
        }
    }
    if (m_dispatch)
        m_dispatch->setGuards(m_guardStore.get(), m_labelGuardStore.get());
    else
        m_dispatch.emplace(
            m_main, m_runner, static_cast<JobPresentation&>(*this), m_guardStore.get(), m_labelGuardStore.get());
}

void AppDelegate::loadMissingGuards()
{
    if (!m_guardStore)
        m_guardStore = std::make_unique<PrintGuard>(false, m_configuration.directory, m_files);
    m_dispatch->setGuards(m_guardStore.get(), m_labelGuardStore.get());
    if (!m_labelGuardStore)
        m_labelGuardStore = std::make_unique<PrintGuard>(true, m_configuration.directory, m_files);
    m_dispatch->setGuards(m_guardStore.get(), m_labelGuardStore.get());
}

void AppDelegate::makeStatusItem()
{
    if (m_configuration.applicationIcon)
        QApplication::setWindowIcon(m_configuration.applicationIcon());
    if (m_configuration.statusItem)
        m_statusItem = m_configuration.statusItem({
            .open = [this] { showWindow(); },
            .printTest =
                [this] {
                    if (m_window)
                        m_window->printTest();
                },
            .quit = [this] { quit(); },
        });
}

void AppDelegate::buildWindow()
{
    const auto& discovery = m_configuration.discovery;
    m_window.emplace(
        m_main, m_settings, discovery ? discovery(m_main, m_listing) : PrinterDiscovery(), windowServices());
    m_window->window().showActivity(m_activityText);
    m_quitRequests.emplace([this] {
        if (applicationShouldTerminate())
            m_shutdown.request();
    });
    m_pairing.emplace(m_main, m_settings, static_cast<SheetWindow*>(&*m_window),
        [this] { return m_guardStore && !busy() && !m_isEnding; });
    m_settings.changed = [this] { settingsChanged(); };
}

WindowServices AppDelegate::windowServices()
{
    return {
        .busy = [this] { return busy(); },
        .loadMissingGuards = [this] { loadMissingGuards(); },
        .configureLogin = m_configuration.configureLogin,
        .printTest = [this](const PrinterSettings& settings,
                         const JobDispatch::Answer& answer) { printTest(settings, answer); },
        .disconnectStores = [this] { m_pairing->disconnectStores(); },
        .quit = [this] { quit(); },
        .showActivity = [this](const QString& text) { showActivity(text); },
        .activate = m_configuration.activate,
    };
}

void AppDelegate::setLoginBox()
{
    bool exists = false;
    try {
        exists = m_configuration.loginItemExists && m_configuration.loginItemExists();
    } catch (const std::exception&) {
        exists = false; // saving tells what is wrong with it
    }
    // The first start proposes it.
    m_window->window().showLogin(exists || !m_settings.fileExists());
}

void AppDelegate::startServer()
{
    m_server.handler = [this](const HTTPRequest& request, const ReplyCallback& reply) { handle(request, reply); };
    m_server.status = [this](const QString& text, bool isWell) { serverStatusChanged(text, isWell); };
    try {
        m_server.start();
    } catch (const std::exception&) {
        serverStatusChanged(cannotOpenPortText, false);
    }
}

void AppDelegate::observeWake()
{
    if (m_configuration.observeWake)
        m_wakeObservation = m_configuration.observeWake([this] { refreshAfterWake(); });
}

void AppDelegate::refreshAfterWake()
{
    // On the worker, so that nothing is let go under a running job.
    m_worker.async([&main = m_main, disconnect = m_configuration.disconnectBluetooth, weak = std::weak_ptr(m_self)] {
        if (disconnect)
            disconnect();
        main.async([weak] {
            if (const auto self = weak.lock())
                (*self)->m_window->refreshAfterWake();
        });
    });
}

bool AppDelegate::mayStayHidden() const
{
    const PrinterSettings& settings = m_settings.value();
    const bool hasPrinter =
        !settings.activeReceiptURI().isEmpty() || !settings.labelPrinterURI.value_or(QString()).isEmpty();
    return m_configuration.background && m_settings.areReadable() && hasPrinter;
}

void AppDelegate::showWindow()
{
    if (m_window)
        m_window->bringToFront();
}

bool AppDelegate::applicationShouldHandleReopen()
{
    // Who was told to put something right and to reopen the agent has done so.
    if (m_window) {
        loadGuards();
        if (!m_serverIsWell)
            startServer();
    }
    showWindow();
    return true;
}

bool AppDelegate::applicationShouldTerminate()
{
    if (!busy())
        return true;
    showWindow();
    m_window->showError(terminationRefusedText);
    return false;
}

void AppDelegate::quit()
{
    if (busy())
        m_window->showError(quitRefusedText);
    else
        m_shutdown.request();
}

bool AppDelegate::cancelPairing()
{
    const bool pageWaits = m_pairing && m_pairing->pairing();
    if (m_pairing)
        m_pairing->cancel();
    return pageWaits;
}

void AppDelegate::end()
{
    if (m_configuration.terminate)
        m_configuration.terminate();
    else
        QCoreApplication::exit();
}

bool AppDelegate::isIdle()
{
    constexpr std::chrono::milliseconds patience{25};
    const auto isFree = [patience](SerialQueue& queue) {
        const auto turn = std::make_shared<std::promise<void>>();
        queue.async([turn] { turn->set_value(); });
        return turn->get_future().wait_for(patience) == std::future_status::ready;
    };
    return isFree(m_worker) && isFree(m_listing);
}

void AppDelegate::printTest(const PrinterSettings& settings, const JobDispatch::Answer& answer)
{
    if (m_isEnding)
        answer(false, endingText);
    else
        m_dispatch->send(m_configuration.testReceipt(), settings, testOrigin, answer);
}

void AppDelegate::handle(const HTTPRequest& request, const ReplyCallback& reply)
{
    std::visit(Overloaded{
                   [&](const HTTPReply& decided) { reply(decided); },
                   [&](const PrintReceipt& decided) { print(request, decided.origin, reply); },
                   [&](const Pair& decided) { m_pairing->pair(request, decided.origin, reply); },
               },
        authorize(request, m_settings.value(), m_server.port()));
}

void AppDelegate::print(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply)
{
    if (m_isEnding) {
        reply({statusConflict, endingText, origin});
        return;
    }
    std::optional<Receipt> receipt;
    try {
        receipt = Receipt::decode(request.body, m_settings.value().currency);
    } catch (const std::exception& error) {
        reply({statusBadRequest, errorText(error), origin});
        return;
    }
    m_dispatch->send(
        *receipt, m_settings.value(), origin, JobDispatch::Answer([reply, origin](bool success, const QString& text) {
            reply({success ? statusOk : statusConflict, text, origin});
        }));
}

void AppDelegate::settingsChanged()
{
    m_window->showSaved();
    showServerStatus(); // what could not be read has been replaced
}

void AppDelegate::serverStatusChanged(const QString& text, bool isWell)
{
    m_serverStatusText = text;
    m_serverIsWell = isWell;
    showServerStatus();
    if (m_activityText == startingText)
        showActivity({});
}

void AppDelegate::showServerStatus()
{
    // Unreadable settings outrank a listener that is well: nothing can be printed.
    if (!m_settings.areReadable() && m_serverIsWell)
        return;
    if (m_serverStatusText != m_statusText || m_serverIsWell != m_statusIsWell)
        showStatus(m_serverStatusText, m_serverIsWell);
}

void AppDelegate::showStatus(const QString& text, bool isWell)
{
    m_statusText = text;
    m_statusIsWell = isWell;
    m_window->window().showStatus(text, isWell);
    if (m_configuration.log)
        m_configuration.log(text);
}

void AppDelegate::showActivity(const QString& text)
{
    m_activityText = text;
    m_window->window().showActivity(text);
    if (m_configuration.log && !text.isEmpty())
        m_configuration.log(text);
}

void AppDelegate::showBusy(bool busy)
{
    m_window->window().showBusy(busy);
    if (!busy)
        m_shutdown.jobEnded();
}

} // namespace harrowmint
