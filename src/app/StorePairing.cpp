#include "app/StorePairing.h"

#include <exception>

namespace harrowmint {

namespace {

constexpr std::string_view pairingBody = R"({"action":"pair"})";

constexpr int statusOk = 200;
constexpr int statusBadRequest = 400;
constexpr int statusForbidden = 403;
constexpr int statusTooManyRequests = 429;
constexpr int statusUnavailable = 503;

const auto invalidText = QStringLiteral("Invalid connection request.");
const auto connectedText = QStringLiteral("Store connected.");
const auto unavailableText =
    QStringLiteral("Connection unavailable. Wait, or disconnect an unused store in the printer app.");
const auto notSavedText = QStringLiteral("Could not save the store connection.");
const auto cancelledText = QStringLiteral("Store connection was cancelled.");
const auto notDisconnectedText = QStringLiteral("Could not disconnect stores.");

SheetText approvalText(const QString& origin)
{
    return {
        .message = QStringLiteral("Allow this store to print?"),
        .informative = origin
            + QStringLiteral("\n\nAllow only your own Harrowmint store. It can send receipts and labels to your saved "
                             "printers on this Mac."),
        .buttons = {QStringLiteral("Allow store"), QStringLiteral("Cancel")},
        .safe = SheetResponse::second,
        .isDeliberate = true,
    };
}

SheetText disconnectText()
{
    return {
        .message = QStringLiteral("Disconnect approved stores?"),
        .informative = QStringLiteral("Each store will need your approval on this Mac the next time it prints. Printer "
                                      "selections are kept."),
        .buttons = {QStringLiteral("Cancel"), QStringLiteral("Disconnect")},
        .safe = SheetResponse::first,
    };
}

} // namespace

StorePairing::StorePairing(
    SerialQueue& main, SavedSettings& settings, SheetWindow* window, std::function<bool()> mayAsk)
    : m_main(main)
    , m_settings(settings)
    , m_window(window)
    , m_mayAsk(std::move(mayAsk))
{
}

StorePairing::~StorePairing()
{
    cancel();
}

void StorePairing::pair(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply)
{
    Q_ASSERT(m_main.isCurrent());
    if (std::string_view(request.body.constData(), static_cast<std::size_t>(request.body.size())) != pairingBody)
        reply({statusBadRequest, invalidText, origin});
    else if (m_settings.value().origins.contains(origin))
        reply({statusOk, connectedText, origin});
    else if (!mayOpenSheet())
        reply({statusTooManyRequests, unavailableText, origin});
    else
        openSheet(origin, reply);
}

bool StorePairing::mayOpenSheet() const
{
    return m_mayAsk() && !pairing() && (!m_lastPair || m_main.now() - *m_lastPair >= sheetInterval)
        && m_settings.value().origins.size() < maximumStores;
}

void StorePairing::openSheet(const QString& origin, const ReplyCallback& reply)
{
    m_lastPair = m_main.now();
    if (!m_window) {
        reply({statusTooManyRequests, unavailableText, origin});
        return;
    }
    auto timeLimit = m_main.after(answerTime, [this] { answered(SheetResponse::second); });
    m_request.emplace(Request{origin, reply, std::move(timeLimit), nullptr});
    m_window->bringToFront();
    m_request->sheet =
        m_window->showSheet(approvalText(origin), [this](SheetResponse response) { answered(response); });
}

void StorePairing::answered(SheetResponse response)
{
    if (!m_request)
        return;
    const Request request = std::move(*m_request);
    m_request.reset();
    request.reply(response == SheetResponse::first ? approve(request.origin)
                                                   : HTTPReply{statusForbidden, cancelledText, request.origin});
}

HTTPReply StorePairing::approve(const QString& origin)
{
    PrinterSettings settings = m_settings.value();
    settings.origins.append(origin);
    try {
        m_settings.save(settings);
    } catch (const std::exception&) {
        return {statusUnavailable, notSavedText, origin};
    }
    return {statusOk, connectedText, origin};
}

void StorePairing::disconnectStores()
{
    Q_ASSERT(m_main.isCurrent());
    if (!m_window || m_disconnectSheet)
        return;
    m_disconnectSheet = m_window->showSheet(disconnectText(), [this](SheetResponse response) {
        m_disconnectSheet.reset();
        if (response == SheetResponse::second)
            forgetStores();
    });
}

void StorePairing::forgetStores()
{
    PrinterSettings settings = m_settings.value();
    settings.origins.clear();
    try {
        m_settings.save(settings);
    } catch (const std::exception&) {
        m_window->showError(notDisconnectedText);
    }
}

void StorePairing::cancel()
{
    answered(SheetResponse::second);
    m_disconnectSheet.reset();
}

} // namespace harrowmint
