#pragma once

#include "app/SavedSettings.h"
#include "app/window/Sheet.h"
#include "base/SerialQueue.h"
#include "server/HTTPRequest.h"
#include "server/PrinterServer.h"

#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace harrowmint {

/// Approves stores, one at a time, by asking the user in a sheet on the settings window; and forgets them all. Lives on
/// the main queue, whose clock counts; owned by the delegate. Whatever happens, each request gets one reply.
class StorePairing {
public:
    /// At least this long from the opening of one approval sheet to that of the next.
    static constexpr std::chrono::seconds sheetInterval{10};
    /// How long the user has for an answer.
    static constexpr std::chrono::seconds answerTime{45};
    /// Approved at the same time.
    static constexpr qsizetype maximumStores = 8;

    /// `window` may be null: then no store can be approved. `mayAsk` tells whether the agent as a whole is in a state
    /// to approve a store (the receipt guard is there, no job runs). Everything passed in outlives the pairing.
    StorePairing(SerialQueue& main, SavedSettings& settings, SheetWindow* window, std::function<bool()> mayAsk);
    /// As `cancel`.
    ~StorePairing();
    StorePairing(const StorePairing&) = delete;
    StorePairing& operator=(const StorePairing&) = delete;

    /// Handles the pairing request of `origin`, a normalised store address. Replies within this call unless a sheet
    /// opens; then when that is answered, or after `answerTime`.
    void pair(const HTTPRequest& request, const QString& origin, const ReplyCallback& reply);
    /// Asks the user whether to forget all approved stores, and does it. Nothing happens while that is being asked.
    void disconnectStores();
    /// Closes what is open; a page that waits gets its cancellation.
    void cancel();
    /// Whether an approval sheet is open.
    [[nodiscard]] bool pairing() const { return m_request.has_value(); }

private:
    /// The request whose sheet is open.
    struct Request {
        QString origin;
        ReplyCallback reply;
        Timer timeLimit;
        std::unique_ptr<OpenSheet> sheet;
    };

    [[nodiscard]] bool mayOpenSheet() const;
    void openSheet(const QString& origin, const ReplyCallback& reply);
    void answered(SheetResponse response);
    [[nodiscard]] HTTPReply approve(const QString& origin);
    void forgetStores();

    SerialQueue& m_main;
    SavedSettings& m_settings;
    SheetWindow* m_window;
    std::function<bool()> m_mayAsk;
    std::optional<std::chrono::steady_clock::time_point> m_lastPair; ///< absent: in the distant past
    std::optional<Request> m_request;
    std::unique_ptr<OpenSheet> m_disconnectSheet;
};

} // namespace harrowmint
