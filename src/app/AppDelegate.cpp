#include "app/AppDelegate.h"

#include "base/PrinterError.h"
#include "render/RasterReceipt.h"
#include "server/Authorize.h"

namespace harrowmint {

namespace {

const auto workerLabel = QStringLiteral("com.harrowmint.printer.usb");
const auto settingsUnreadableText =
    QStringLiteral("Local settings could not be read. Website printing is disabled until this is resolved.");
const auto cannotOpenPortText = QStringLiteral("Unable to open local printer port.");
const auto invalidPairingText = QStringLiteral("Invalid connection request.");
const auto connectedText = QStringLiteral("Store connected.");
const auto cannotPairText =
    QStringLiteral("Connection unavailable. Wait, or disconnect an unused store in the printer app.");

constexpr int statusOk = 200;
constexpr int statusBadRequest = 400;
constexpr int statusConflict = 409;
constexpr int statusTooManyRequests = 429;

template <class... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <class... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

} // namespace

AppDelegate::AppDelegate(SerialQueue& main, AgentConfiguration configuration, FileSystem& files)
    : m_main(main)
    , m_configuration(std::move(configuration))
    , m_files(files)
    , m_worker(workerLabel)
    , m_runner(m_worker, m_configuration.transports, nullptr)
    , m_server(main, m_configuration.port)
{
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    loadSettings();
    m_guardStore = loadGuard(false);
    m_labelGuardStore = loadGuard(true);
    m_dispatch.emplace(
        m_main, m_runner, static_cast<JobPresentation&>(*this), m_guardStore.get(), m_labelGuardStore.get());
    startServer();
    // Behind the listener: the port is open early, and a request that comes meanwhile finds warm fonts.
    m_main.async([] { warmFonts(); });
    if (!m_settingsAreReadable)
        showStatus(settingsUnreadableText, false);
}

void AppDelegate::loadSettings()
{
    try {
        m_settings = PrinterSettings::load(m_configuration.directory, m_files);
    } catch (const std::exception&) {
        m_settingsAreReadable = false;
    }
}

std::unique_ptr<PrintGuard> AppDelegate::loadGuard(bool labels)
{
    try {
        return std::make_unique<PrintGuard>(labels, m_configuration.directory, m_files);
    } catch (const std::exception&) {
        return nullptr; // dispatch refuses jobs of this kind and says why
    }
}

void AppDelegate::startServer()
{
    m_server.handler = [this](const HTTPRequest& request, const ReplyCallback& reply) { handle(request, reply); };
    m_server.status = [this](const QString& text, bool isWell) {
        // Unreadable settings outrank a listener that is well: nothing can be printed.
        if (m_settingsAreReadable || !isWell)
            showStatus(text, isWell);
    };
    try {
        m_server.start();
    } catch (const std::exception&) {
        showStatus(cannotOpenPortText, false);
    }
}

void AppDelegate::handle(const HTTPRequest& request, const ReplyCallback& reply)
{
    std::visit(Overloaded{
                   [&](const HTTPReply& decided) { reply(decided); },
                   [&](const PrintReceipt& decided) { print(request, decided.origin, reply); },
                   [&](const Pair& decided) { pair(request, decided.origin, reply); },
               },
        authorize(request, m_settings, m_server.port()));
}

void AppDelegate::print(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply)
{
    std::optional<Receipt> receipt;
    try {
        receipt = Receipt::decode(request.body, m_settings.currency);
    } catch (const std::exception& error) {
        reply({statusBadRequest, errorText(error), origin});
        return;
    }
    m_dispatch->send(
        *receipt, m_settings, origin, JobDispatch::Answer([reply, origin](bool success, const QString& text) {
            reply({success ? statusOk : statusConflict, text, origin});
        }));
}

void AppDelegate::pair(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply)
{
    if (request.body != R"({"action":"pair"})")
        reply({statusBadRequest, invalidPairingText, origin});
    else if (m_settings.origins.contains(origin))
        reply({statusOk, connectedText, origin});
    else // there is no window to ask the user in
        reply({statusTooManyRequests, cannotPairText, origin});
}

void AppDelegate::showStatus(const QString& text, bool isWell)
{
    m_statusText = text;
    m_statusIsWell = isWell;
    if (m_configuration.log)
        m_configuration.log(text);
}

void AppDelegate::showActivity(const QString& text)
{
    m_activityText = text;
    if (m_configuration.log)
        m_configuration.log(text);
}

void AppDelegate::showBusy(bool) { }

} // namespace harrowmint
